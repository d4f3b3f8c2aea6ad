// Everything that tells MySQL (and MariaDB) from the other databases.

#include <QSqlError>

#include "core/dialect.h"
#include "core/rules.h"
#include "mysql/mysqlhelp.h"
#include "mysql/mysqlsession_p.h"

namespace Tessark {

namespace {

QString tableSql(const Dialect& dialect, const QString& databaseName)
{
    return QStringLiteral("SELECT A.TABLE_NAME, A.TABLE_COMMENT FROM information_schema.tables A "
                          "WHERE TABLE_SCHEMA=%1 ORDER BY A.TABLE_NAME ")
        .arg(dialect.quoted(databaseName));
}

QString columnSql(const Dialect& dialect, const QString& databaseName, const QString& tableName)
{
    return QStringLiteral("SELECT COLUMN_NAME, COLUMN_COMMENT, COLUMN_COMMENT FROM "
                          "information_schema.`COLUMNS` WHERE TABLE_SCHEMA=%1 AND TABLE_NAME=%2 ")
        .arg(dialect.quoted(databaseName), dialect.quoted(tableName));
}

// MyISAM and the like keep the rows of a failed statement whatever the
// transaction does; a table has at most one AUTO_INCREMENT column.
QString tableFactsSql(const Dialect& dialect, const QString& databaseName, const QString& tableName)
{
    return QStringLiteral("SELECT e.TRANSACTIONS AS TRANSACTIONS, (SELECT c.COLUMN_NAME FROM "
                          "information_schema.`COLUMNS` c WHERE c.TABLE_SCHEMA=t.TABLE_SCHEMA AND "
                          "c.TABLE_NAME=t.TABLE_NAME AND c.EXTRA LIKE '%auto_increment%' LIMIT 1) AS GENERATED_COLUMN "
                          "FROM information_schema.TABLES t JOIN information_schema.ENGINES e "
                          "ON e.ENGINE = t.ENGINE WHERE t.TABLE_SCHEMA=%1 AND t.TABLE_NAME=%2")
        .arg(dialect.quoted(databaseName), dialect.quoted(tableName));
}

bool connectionLost(const QSqlError& error)
{
    // 2006 server has gone away, 2013 lost connection during query,
    // 1927 connection killed (MariaDB), 4031 disconnected for inactivity.
    static const QStringList codes = {QStringLiteral("2006"), QStringLiteral("2013"), QStringLiteral("1927"),
                                      QStringLiteral("4031")};
    return codes.contains(error.nativeErrorCode());
}

} // namespace

const BackendRules mysqlRules = {
    Kind::MySQL,
    {
        /* driver */ "QMYSQL",
        /* displayName */ "MySql",
        /* initialName */ "defaultMySql",
        /* idBatchBeginFailure */ "MySql执行SQL语出创建失败，请检查驱动版本是否正确\n",
        /* failedCommitEndsTransaction */ false,
        /* fileDatabase */ false,
        /* addressInDatabaseName */ false,
        // Qt's driver asks the client library for utf8mb4 only when it reports
        // a MySQL client version that MariaDB Connector/C never does, so
        // sessions start in 3-byte utf8 and refuse characters outside the
        // basic plane. Qt encodes UTF-8 itself; the session only has to be told.
        /* sessionStatement */ "SET NAMES utf8mb4",
        connectionLost,
        /* serverVersionSql */ "SELECT CONCAT('MariaDB/MySQL ', VERSION())",
    },
    {
        /* quoteTables */ false,
        /* quoteColumns */ false,
        /* objectUpdateWhere */ " WHERE ",
        /* fieldUpdateKeyUpper */ true,
        /* fieldInsertTrailingBlank */ true,
        /* returningKey */ false,
        /* escapeBackslash */ true,
        /* quoteFieldDeleteValue */ false,
        /* dateTime */ DateTimeStyle::Iso,
        /* pageSql */ nullptr,
    },
    {
        /* schemaSql */ nullptr,
        /* schemaRowKey */ nullptr,
        tableSql,
        columnSql,
        /* tableRowKey */ "TABLE_NAME",
        /* columnRowKey */ "COLUMN_NAME",
        tableFactsSql,
    },
    {
        /* fromReturningRow */ false,
        /* lastIdHead */ "SELECT LAST_INSERT_ID() as ",
        /* fieldInsertReadsKey */ false,
        /* listsContinueOnError */ true,
        /* emptyInsertStoresDefaults */ true,
    },
    {
        // Qt's driver resets a prepared statement on the server before every
        // execution, a round trip more than the text costs.
        /* binding */ Binding::None,
        /* leadingBomLost */ false,
        /* multiRowInsert */ true,
        /* maxRows */ 1024,
        /* maxParameters: the protocol's 65535, halved */ 32767,
        /* maxBytes */ 16 << 20,
        /* packetLimitSql */ "SELECT @@max_allowed_packet",
        /* listStatements */ nullptr,
        mysqlCommitsAlone,
        /* executePrepared */ nullptr,
    },
    /* generator */ nullptr,
    /* dateTimeFormat: none, callers rely on that */ nullptr,
    []() -> ConnectionCore* { return new MySqlHelp; },
};

} // namespace Tessark
