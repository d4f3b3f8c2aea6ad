#ifndef TESSARK_ORACLE_ORACLEQUERY_H
#define TESSARK_ORACLE_ORACLEQUERY_H

#include "oracle/oraclemodel.h"

// Stores, changes, deletes and reads records in a Oracle database.
class BRELVANSHARED_EXPORT OracleQuery : public OracleModel
{
    Q_OBJECT
public:
    OracleQuery();
    ~OracleQuery() override;

    void InitInfo(QString host, int port, QString userName, QString password, QString databaseName,
                  QString connectTag)
    {
        initServer(m_help, host, port, userName, password, databaseName, connectTag);
    }

    TESSARK_PERSISTENCE_OPERATIONS
    using PersistenceCore::Delete;
    using PersistenceCore::UpdateByKey;
};

#endif // TESSARK_ORACLE_ORACLEQUERY_H
