#ifndef TESSARK_ORACLE_ORACLEHELP_H
#define TESSARK_ORACLE_ORACLEHELP_H

#include "core/serverconnection.h"

class BRELVANSHARED_EXPORT OracleHelp : public Tessark::ServerConnection
{
    Q_OBJECT
public:
    OracleHelp();

    bool InsertList(QStringList sqls, bool continueOnError) { return ExecutionList(sqls, continueOnError); }

    // The address folded into the database name: "host:port/service".
    QString connectDatabaseName() const;
};

#endif // TESSARK_ORACLE_ORACLEHELP_H
