#include "mysql/mysqlhelp.h"

#include <QSqlError>
#include <QSqlQuery>

#include "core/lostconnection.h"

namespace {
const Tessark::ConnectionTraits backend = {
    /* driver */ "QMYSQL",
    /* displayName */ "MySql",
    /* type */ 3,
    /* initialName */ "defaultMySql",
    /* idBatchBeginFailure */ "MySql执行SQL语出创建失败，请检查驱动版本是否正确\n",
    /* failedCommitEndsTransaction */ false,
    /* connectionLost */ Tessark::mysqlConnectionLost,
};
}

MySqlHelp::MySqlHelp() : ServerConnection(backend) {}

// Qt's driver asks the client library for utf8mb4 only when it reports a MySQL
// client version that MariaDB Connector/C never does, so sessions start in
// 3-byte utf8 and refuse characters outside the basic plane (emoji). Qt
// encodes and decodes UTF-8 itself; the session only has to be told.
void MySqlHelp::sessionOpened(QSqlDatabase& db)
{
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("SET NAMES utf8mb4")))
        log(QStringLiteral("连接MySql数据库失败 错误信息：\n") + query.lastError().text());
}
