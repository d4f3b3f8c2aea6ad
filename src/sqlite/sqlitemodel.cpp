#include "sqlite/sqlitemodel.h"

#include <QDateTime>

#include "core/datetimetext_p.h"

namespace {
const Tessark::DialectTraits dialect = {
    /* quoteTables */ true,
    /* quoteColumns */ true,
    /* objectUpdateWhere */ " where ",
    /* fieldUpdateKeyUpper */ false,
    /* fieldInsertTrailingBlank */ false,
    /* returningKey */ false,
    /* escapeBackslash */ false,
    /* quoteFieldDeleteValue */ true,
    /* tableRowKey */ "TableName",
    /* columnRowKey */ "name",
    /* keyFromReturningRow */ false,
    /* lastIdHead */ "SELECT LAST_INSERT_ROWID() as ",
    /* fieldInsertReadsKey */ true,
    /* listsContinueOnError */ true,
    /* emptyInsertStoresDefaults */ false,
};
}

SQLiteModel::SQLiteModel() : PersistenceCore(dialect, m_help) {}

SQLiteModel::~SQLiteModel() = default;

QString SQLiteModel::GetColumnSql(QString tableName)
{
    return QStringLiteral("PRAGMA table_info(%1)").arg(quoted(tableName));
}

QString SQLiteModel::GetTableSql()
{
    return QStringLiteral("SELECT name as  TableName FROM sqlite_master WHERE type='table' ORDER BY name ");
}

Tessark::SqlValue SQLiteModel::dateTimeValue(const QVariant& value) const
{
    return {Tessark::dateTimeText(value.toDateTime(), true), false};
}

void SQLiteModel::appendDateTime(QString& sql, const QDateTime& value) const
{
    if (!Tessark::appendQuotedDateTimeText(sql, value, true))
        PersistenceCore::appendDateTime(sql, value);
}
