#include "postgresql/postgresqlmodel.h"

#include <QMutexLocker>

#include "core/datetimetext_p.h"

namespace {
const Tessark::DialectTraits dialect = {
    /* quoteTables */ false,
    /* quoteColumns */ true,
    /* objectUpdateWhere */ " where ",
    /* fieldUpdateKeyUpper */ false,
    /* fieldInsertTrailingBlank */ false,
    /* returningKey */ true,
    /* escapeBackslash */ false,
    /* quoteFieldDeleteValue */ true,
    /* tableRowKey */ "tablename",
    /* columnRowKey */ "column_name",
    /* keyFromReturningRow */ true,
    /* lastIdHead */ "",
    /* fieldInsertReadsKey */ false,
    /* listsContinueOnError */ false,
    /* emptyInsertStoresDefaults */ false,
};
}

PostgreSQLModel::PostgreSQLModel() : PersistenceCore(dialect, m_help) {}

PostgreSQLModel::~PostgreSQLModel() = default;

QString PostgreSQLModel::GetModeSql()
{
    return QStringLiteral("SELECT * FROM pg_catalog.pg_namespace Where nspname != 'pg_toast' And "
                          "nspname != 'pg_temp_1' And nspname != 'pg_toast_temp_1' And nspname != "
                          "'pg_catalog' And nspname != 'information_schema' ");
}

QString PostgreSQLModel::GetTableSql(QString schema)
{
    return QStringLiteral("SELECT * FROM pg_tables WHERE schemaname = %1 ORDER BY tablename ").arg(quoted(schema));
}

QString PostgreSQLModel::GetColumnSql(QString tableName)
{
    return QStringLiteral("SELECT * FROM information_schema.columns WHERE table_name = %1 ORDER BY "
                          "column_name ")
        .arg(quoted(tableName));
}

QString PostgreSQLModel::GetColumnInfoSql(QString tableName)
{
    return QStringLiteral("select a.attnum,a.attname,concat_ws('',t.typname,SUBSTRING(format_type(a.atttypid,"
                          "a.atttypmod) from '(.*)')) as type,d.description ")
           + QStringLiteral("from pg_class c, pg_attribute a , pg_type t, pg_description d ")
           + QStringLiteral("where  c.relname = %1 and a.attnum>0 and a.attrelid = c.oid and a.atttypid = "
                            "t.oid and  d.objoid=a.attrelid and d.objsubid=a.attnum ")
                 .arg(quoted(tableName));
}

// Years Qt writes no ISO text for (before 0, after 9999) are NULL too.
Tessark::SqlValue PostgreSQLModel::dateTimeValue(const QVariant& value) const
{
    const QString text = Tessark::isoDateTimeText(value.toDateTime());
    if (text.isEmpty())
        return {QStringLiteral("NULL"), true};
    return {text, false};
}

void PostgreSQLModel::appendDateTime(QString& sql, const QDateTime& value) const
{
    if (!Tessark::appendQuotedIsoDateTimeText(sql, value))
        PersistenceCore::appendDateTime(sql, value);
}

// Schemas in the order the catalogue lists them, each with its tables.
Tessark::DialectCore::SchemaTables PostgreSQLModel::fetchTables()
{
    SchemaTables tables;
    for (const Row& schemaRow : catalogue(GetModeSql())) {
        const QString schema = schemaRow.value(QStringLiteral("nspname")).toString();
        QStringList names;
        for (const Row& row : catalogue(GetTableSql(schema)))
            names.append(row.value(QLatin1String(m_dialect.tableRowKey)).toString());
        tables.append({schema, names});
    }
    return tables;
}

QString PostgreSQLModel::GetModelName(QString tableName)
{
    bool cached;
    {
        QMutexLocker locker(&m_tableLock);
        cached = m_tables.contains(GetSign());
    }
    if (!cached)
        GetTable();
    const QString lower = tableName.toLower();
    QMutexLocker locker(&m_tableLock);
    for (const auto& schema : m_tables.value(GetSign())) {
        for (const QString& table : schema.second) {
            if (table.toLower() == lower)
                return QStringLiteral("\"%1\".\"%2\"").arg(schema.first, tableName);
        }
    }
    return QStringLiteral("\"%1\"").arg(tableName);
}
