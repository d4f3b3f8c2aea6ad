#ifndef TESSARK_ORACLE_ORACLEHELP_H
#define TESSARK_ORACLE_ORACLEHELP_H

#include "core/serverconnection.h"

/// An Oracle connection running statement text.
class BRELVANSHARED_EXPORT OracleHelp : public Tessark::ServerConnection
{
    Q_OBJECT
public:
    OracleHelp();

    /// ExecutionList() under another name.
    bool InsertList(QStringList sqls, bool continueOnError) { return ExecutionList(sqls, continueOnError); }

    /// The address folded into the database name: "host:port/service".
    QString connectDatabaseName() const;
};

#endif // TESSARK_ORACLE_ORACLEHELP_H
