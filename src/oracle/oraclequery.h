#ifndef TESSARK_ORACLE_ORACLEQUERY_H
#define TESSARK_ORACLE_ORACLEQUERY_H

#include "oracle/oraclemodel.h"

/// Stores, changes, deletes and reads records in an Oracle database.
class BRELVANSHARED_EXPORT OracleQuery : public OracleModel
{
    Q_OBJECT
public:
    OracleQuery();
    ~OracleQuery() override;

    TESSARK_SERVER_PERSISTENCE_OPERATIONS
    using BackendObject::Delete;
    using BackendObject::UpdateByKey;
};

#endif // TESSARK_ORACLE_ORACLEQUERY_H
