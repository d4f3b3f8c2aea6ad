#ifndef TESSARK_MYSQL_MYSQLHELP_H
#define TESSARK_MYSQL_MYSQLHELP_H

#include "core/serverconnection.h"

/// A MySQL (MariaDB) connection running statement text.
class BRELVANSHARED_EXPORT MySqlHelp : public Tessark::ServerConnection
{
    Q_OBJECT
public:
    MySqlHelp();

    /// The database name InitInfo() was given.
    QString GetDatabaseName() const { return description().DatabaseName; }

    /// Both batch forms; InsertList is the id-collecting one.
    using ServerConnection::ExecutionList;
    using ServerConnection::InsertList;
};

#endif // TESSARK_MYSQL_MYSQLHELP_H
