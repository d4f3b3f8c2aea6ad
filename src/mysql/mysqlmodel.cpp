#include "mysql/mysqlmodel.h"

#include "core/datetimetext_p.h"

namespace {
const Tessark::DialectTraits dialect = {
    /* quoteTables */ false,
    /* quoteColumns */ false,
    /* objectUpdateWhere */ " WHERE ",
    /* fieldUpdateKeyUpper */ true,
    /* fieldInsertTrailingBlank */ true,
    /* returningKey */ false,
    /* escapeBackslash */ true,
    /* quoteFieldDeleteValue */ false,
    /* tableRowKey */ "TABLE_NAME",
    /* columnRowKey */ "COLUMN_NAME",
    /* keyFromReturningRow */ false,
    /* lastIdHead */ "SELECT LAST_INSERT_ID() as ",
    /* fieldInsertReadsKey */ false,
    /* listsContinueOnError */ true,
    /* emptyInsertStoresDefaults */ true,
};
}

MySqlModel::MySqlModel() : PersistenceCore(dialect, m_help) {}

MySqlModel::~MySqlModel() = default;

// The default date-time text (the variant's), without Qt's general formatter.
void MySqlModel::appendDateTime(QString& sql, const QDateTime& value) const
{
    if (!Tessark::appendQuotedIsoDateTimeText(sql, value))
        PersistenceCore::appendDateTime(sql, value);
}

QString MySqlModel::GetTableSql(QString databaseName)
{
    return QStringLiteral("SELECT A.TABLE_NAME, A.TABLE_COMMENT FROM information_schema.tables A "
                          "WHERE TABLE_SCHEMA=%1 ORDER BY A.TABLE_NAME ")
        .arg(quoted(databaseName));
}

QString MySqlModel::GetColumnSql(QString databaseName, QString tableName)
{
    return QStringLiteral("SELECT COLUMN_NAME, COLUMN_COMMENT, COLUMN_COMMENT FROM "
                          "information_schema.`COLUMNS` WHERE TABLE_SCHEMA=%1 AND TABLE_NAME=%2 ")
        .arg(quoted(databaseName), quoted(tableName));
}
