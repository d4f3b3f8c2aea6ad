// Everything that tells Oracle from the other databases.

#include <QSqlError>

#include "core/dialect.h"
#include "core/rules.h"
#include "oracle/oraclehelp.h"

namespace Tessark {

namespace {

QString tableSql(const Dialect&, const QString&)
{
    return QStringLiteral("SELECT A.TABLE_NAME, A.COMMENTS FROM USER_TAB_COMMENTS A ORDER BY A.TABLE_NAME ");
}

QString columnSql(const Dialect& dialect, const QString&, const QString& tableName)
{
    return QStringLiteral("SELECT A.TABLE_NAME, A.COLUMN_NAME, A.DATA_TYPE, A.DATA_LENGTH, A.DATA_PRECISION, "
                          "A.DATA_SCALE, B.COMMENTS FROM USER_TAB_COLUMNS A ")
           + QStringLiteral("LEFT JOIN USER_COL_COMMENTS B ON A.TABLE_NAME=B.TABLE_NAME AND "
                            "A.COLUMN_NAME=B.COLUMN_NAME ")
           + QStringLiteral("WHERE A.TABLE_NAME=%1 ORDER BY A.COLUMN_NAME").arg(dialect.quoted(tableName));
}

// rownum bounds around the caller's table text (which may be a subquery).
QString pageSql(const QString& tableName, int offset, int count)
{
    return QStringLiteral("Select * From ") + QStringLiteral("(select a.*,rownum r from  (%1) a) ").arg(tableName)
           + QStringLiteral("where r>%1 and r<=%2").arg(offset).arg(offset + count);
}

bool connectionLost(const QSqlError& error)
{
    // ORA-03113 end-of-file on channel, ORA-03114 not connected, ORA-03135 connection lost.
    static const QStringList codes = {QStringLiteral("3113"), QStringLiteral("3114"), QStringLiteral("3135")};
    return codes.contains(error.nativeErrorCode());
}

} // namespace

const BackendRules oracleRules = {
    Kind::Oracle,
    {
        /* driver */ "QOCI",
        /* displayName */ "Oracle",
        /* initialName */ "defaultOracle",
        /* idBatchBeginFailure */ nullptr,
        /* failedCommitEndsTransaction */ false,
        /* fileDatabase */ false,
        /* addressInDatabaseName */ true,
        /* sessionStatement */ nullptr,
        connectionLost,
        /* serverVersionSql */ "SELECT banner FROM v$version WHERE ROWNUM = 1",
    },
    {
        /* quoteTables */ true,
        /* quoteColumns */ true,
        /* objectUpdateWhere */ " WHERE ",
        /* fieldUpdateKeyUpper */ true,
        /* fieldInsertTrailingBlank */ true,
        /* returningKey */ false,
        /* escapeBackslash */ false,
        /* quoteFieldDeleteValue */ true,
        /* dateTime */ DateTimeStyle::OracleToDate,
        pageSql,
    },
    {
        /* schemaSql */ nullptr,
        /* schemaRowKey */ nullptr,
        tableSql,
        columnSql,
        /* tableRowKey */ "TABLE_NAME",
        /* columnRowKey */ "COLUMN_NAME",
        /* tableFactsSql */ nullptr,
    },
    {
        /* fromReturningRow */ true,
        /* lastIdHead */ "",
        /* fieldInsertReadsKey */ false,
        /* listsContinueOnError */ true,
        /* emptyInsertStoresDefaults */ false,
    },
    {
        // Its dates are to_date(...) calls, not values that could be bound.
        /* binding */ Binding::None,
        /* leadingBomLost */ false,
        /* multiRowInsert */ false,
        /* maxRows */ 1,
        /* maxParameters */ 0,
        /* maxBytes */ 0,
        /* packetLimitSql */ nullptr,
        /* listStatements */ nullptr,
        /* commitsAlone */ nullptr,
        /* executePrepared */ nullptr,
    },
    /* generator */ nullptr,
    /* dateTimeFormat */ "yyyy-MM-dd HH:mm:ss",
    []() -> ConnectionCore* { return new OracleHelp; },
};

} // namespace Tessark
