#ifndef TESSARK_MYSQL_MYSQLHELP_H
#define TESSARK_MYSQL_MYSQLHELP_H

#include "core/serverconnection.h"

class BRELVANSHARED_EXPORT MySqlHelp : public Tessark::ServerConnection
{
    Q_OBJECT
public:
    MySqlHelp();

    QString GetDatabaseName() const { return description().DatabaseName; }

    // Both batch forms; InsertList is the id-collecting one.
    using ServerConnection::ExecutionList;
    using ServerConnection::InsertList;
};

#endif // TESSARK_MYSQL_MYSQLHELP_H
