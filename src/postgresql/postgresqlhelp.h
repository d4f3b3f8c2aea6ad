#ifndef TESSARK_POSTGRESQL_POSTGRESQLHELP_H
#define TESSARK_POSTGRESQL_POSTGRESQLHELP_H

#include "core/serverconnection.h"

/// A PostgreSQL connection running statement text.
class BRELVANSHARED_EXPORT PostgreSQLHelp : public Tessark::ServerConnection
{
    Q_OBJECT
public:
    PostgreSQLHelp();

    /// ExecutionList() under another name.
    bool InsertList(QStringList sqls, bool continueOnError) { return ExecutionList(sqls, continueOnError); }
};

#endif // TESSARK_POSTGRESQL_POSTGRESQLHELP_H
