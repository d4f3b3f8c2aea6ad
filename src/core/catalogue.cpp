#include "core/catalogue.h"

#include <QMutexLocker>

#include "core/connectioncore.h"
#include "core/dialect.h"
#include "core/rules.h"

namespace Tessark {

Catalogue::Catalogue(const CatalogueRules& rules, ConnectionCore& connection, const Dialect& dialect,
                     QMutex& executionLock)
    : m_rules(rules)
    , m_connection(connection)
    , m_dialect(dialect)
    , m_executionLock(executionLock)
{
}

RowList Catalogue::read(const QString& sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.Query(sql);
}

// Databases without schemas read their tables in the connection's database.
QString Catalogue::scope() const
{
    return m_connection.description().DatabaseName;
}

QString Catalogue::tableSql(const QString& scope) const
{
    return m_rules.tableSql(m_dialect, scope);
}

QString Catalogue::columnSql(const QString& tableName) const
{
    return m_rules.columnSql(m_dialect, scope(), tableName);
}

Catalogue::SchemaTables Catalogue::fetchTables()
{
    const QString tableKey = QLatin1String(m_rules.tableRowKey);
    auto namesIn = [&](const QString& scope) {
        QStringList names;
        for (const Row& row : read(tableSql(scope)))
            names.append(row.value(tableKey).toString());
        return names;
    };
    SchemaTables tables;
    if (!m_rules.schemaSql) {
        const QStringList names = namesIn(scope());
        if (!names.isEmpty())
            tables.append({QString(), names});
        return tables;
    }
    // Schemas in the order the catalogue lists them, each with its tables.
    for (const Row& schemaRow : read(QLatin1String(m_rules.schemaSql))) {
        const QString schema = schemaRow.value(QLatin1String(m_rules.schemaRowKey)).toString();
        tables.append({schema, namesIn(schema)});
    }
    return tables;
}

// Each record operation starts here: the names are read once per connection
// and kept until CleanTable, so this costs a hash lookup after the first call.
void Catalogue::refreshTables()
{
    const QString sign = m_connection.GetSign();
    {
        QMutexLocker locker(&m_tableLock);
        if (m_tables.contains(sign))
            return;
    }
    const SchemaTables tables = fetchTables();
    // A failed or empty read is not cached, so the next call asks again.
    if (tables.isEmpty())
        return;
    QMutexLocker locker(&m_tableLock);
    m_tables.insert(sign, tables);
}

QStringList Catalogue::columns(const QString& tableName)
{
    QMutexLocker locker(&m_columnLock);
    const QString sign = m_connection.GetSign();
    const auto bySign = m_columns.constFind(sign);
    if (bySign != m_columns.constEnd()) {
        const QStringList cached = bySign->value(tableName);
        if (!cached.isEmpty())
            return cached;
    }
    QStringList names;
    const QString key = QLatin1String(m_rules.columnRowKey);
    for (const Row& row : read(columnSql(tableName)))
        names.append(row.value(key).toString());
    if (!names.isEmpty())
        m_columns[sign].insert(tableName, names);
    return names;
}

QStringList Catalogue::tableNames()
{
    refreshTables();
    QStringList names;
    QMutexLocker locker(&m_tableLock);
    for (const auto& schema : m_tables.value(m_connection.GetSign()))
        names += schema.second;
    return names;
}

QString Catalogue::realTableName(const QString& name)
{
    const QString lower = name.toLower();
    for (const QString& table : tableNames()) {
        if (table.toLower() == lower)
            return table;
    }
    return QString();
}

QString Catalogue::qualifiedName(const QString& tableName)
{
    if (m_rules.schemaSql) {
        refreshTables();
        const QString lower = tableName.toLower();
        QMutexLocker locker(&m_tableLock);
        for (const auto& schema : m_tables.value(m_connection.GetSign())) {
            for (const QString& table : schema.second) {
                if (table.toLower() == lower)
                    return QStringLiteral("\"%1\".\"%2\"").arg(schema.first, tableName);
            }
        }
    }
    return QStringLiteral("\"%1\"").arg(tableName);
}

void Catalogue::cleanTables()
{
    QMutexLocker locker(&m_tableLock);
    m_tables.remove(m_connection.GetSign());
}

void Catalogue::cleanColumns()
{
    QMutexLocker locker(&m_columnLock);
    m_columns.remove(m_connection.GetSign());
    m_facts.remove(m_connection.GetSign());
}

Catalogue::TableFacts Catalogue::tableFacts(const QString& tableName)
{
    if (!m_rules.tableFactsSql)
        return TableFacts();
    // Held while reading, as for the columns: one thread reads a table's facts
    // and no cached entry is ever overwritten under another's copy.
    QMutexLocker locker(&m_columnLock);
    const QString sign = m_connection.GetSign();
    const auto tables = m_facts.constFind(sign);
    if (tables != m_facts.constEnd()) {
        const auto facts = tables->constFind(tableName);
        if (facts != tables->constEnd())
            return facts.value();
    }
    const RowList rows = read(m_rules.tableFactsSql(m_dialect, scope(), tableName));
    TableFacts facts;
    // An unknown table: nothing to rely on.
    if (!rows.isEmpty()) {
        const Row& row = rows.first();
        facts.transactional = row.value(QStringLiteral("TRANSACTIONS")).toString() == QLatin1String("YES");
        facts.generatedColumn = row.value(QStringLiteral("GENERATED_COLUMN")).toString();
    } else {
        facts.transactional = false;
    }
    m_facts[sign].insert(tableName, facts);
    return facts;
}

} // namespace Tessark
