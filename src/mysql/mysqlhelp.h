#ifndef TESSARK_MYSQL_MYSQLHELP_H
#define TESSARK_MYSQL_MYSQLHELP_H

#include "core/serverconnection.h"

class BRELVANSHARED_EXPORT MySqlHelp : public Tessark::ServerConnection
{
    Q_OBJECT
public:
    MySqlHelp();

    QString GetDatabaseName() const { return m_databaseName; }

    using ServerConnection::ExecutionList;
    bool ExecutionList(QStringList sqls, QList<FieldPair> idQueries, QList<QVariant>& ids,
                       bool continueOnError);
    bool InsertList(QStringList sqls, QList<FieldPair> idQueries, QList<QVariant>& ids,
                    bool continueOnError);
};

#endif // TESSARK_MYSQL_MYSQLHELP_H
