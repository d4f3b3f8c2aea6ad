#include "core/dialectcore.h"

#include <QDateTime>
#include <QLocale>
#include <QMutexLocker>
#include <QVarLengthArray>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <type_traits>

#include "Model/objectmodel.h"
#include "core/connectioncore.h"
#include "core/datetimetext_p.h"
#include "core/propertyplan.h"

namespace Tessark {

DialectCore::DialectCore(const DialectTraits& traits, ConnectionCore& connection)
    : m_dialect(traits)
    , m_connection(connection)
{
}

DialectCore::~DialectCore() = default;

void DialectCore::Close()
{
    QMutexLocker locker(&m_executionLock);
    m_connection.Close();
}

QString DialectCore::GetSign() const
{
    return m_connection.GetSign();
}

QString DialectCore::ContainsColumn(QStringList columns, QString name) const
{
    return PropertyPlan::containsColumn(columns, name);
}

QString DialectCore::table(const QString& name) const
{
    return m_dialect.quoteTables ? QLatin1Char('"') + name + QLatin1Char('"') : name;
}

QString DialectCore::column(const QString& name) const
{
    return m_dialect.quoteColumns ? QLatin1Char('"') + name + QLatin1Char('"') : name;
}

void DialectCore::appendName(QString& sql, const QString& name, bool quote)
{
    if (quote)
        sql += QLatin1Char('"');
    sql += name;
    if (quote)
        sql += QLatin1Char('"');
}

// A value never leaves its quotes: the quote (and where it escapes, the backslash) is doubled.
void DialectCore::appendQuoted(QString& sql, const QString& value) const
{
    sql += QLatin1Char('\'');
    const QChar* run = value.constData();
    const QChar* const end = run + value.size();
    for (const QChar* c = run; c != end; ++c) {
        if (*c == QLatin1Char('\'') || (m_dialect.escapeBackslash && *c == QLatin1Char('\\'))) {
            sql.append(run, int(c - run + 1));
            sql += *c;
            run = c + 1;
        }
    }
    sql.append(run, int(end - run));
    sql += QLatin1Char('\'');
}

QString DialectCore::quoted(const QString& value) const
{
    QString text;
    text.reserve(value.size() + 2);
    appendQuoted(text, value);
    return text;
}

SqlValue DialectCore::dateTimeValue(const QVariant& value) const
{
    return {isoDateTimeText(value.toDateTime()), false};
}

void DialectCore::appendValue(QString& sql, const SqlValue& value) const
{
    if (value.literal)
        sql += value.text;
    else
        appendQuoted(sql, value.text);
}

namespace {

// As QVariant::toString writes numbers; they never hold a quote.
void appendInteger(QString& sql, qlonglong value)
{
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    sql += QLatin1Char('\'');
    sql += QLatin1String(digits, int(end - digits));
    sql += QLatin1Char('\'');
}

// Qt's shortest 'g' text. Where that is plain decimal notation it has the
// same digits as std::to_chars's shortest round trip, which is several times
// faster; exponents, infinities and NaN keep Qt's own spelling.
void appendDouble(QString& sql, double value)
{
    sql += QLatin1Char('\'');
    char digits[32];
    const char* end = nullptr;
    if (value == 0) {
        digits[0] = '0'; // Qt writes -0.0 as "0" too
        end = digits + 1;
    } else if (std::fabs(value) < 1e15) {
        end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        if (std::find(static_cast<const char*>(digits), end, 'e') != end)
            end = nullptr;
    }
    if (end)
        sql += QLatin1String(digits, int(end - digits));
    else
        sql += QString::number(value, 'g', QLocale::FloatingPointShortest);
    sql += QLatin1Char('\'');
}

} // namespace

// A date-time that is no date is NULL in every dialect: an empty text is
// refused by MySQL in strict mode and stored by SQLite as a text that is no date.
void DialectCore::appendDateTime(QString& sql, const QDateTime& value) const
{
    if (!value.isValid())
        sql += QLatin1String("NULL");
    else
        appendValue(sql, dateTimeValue(QVariant(value)));
}

// A property's value: a date-time as the dialect writes it, anything else as
// its variant's text, quoted.
void DialectCore::appendRendered(QString& sql, const QVariant& value) const
{
    switch (value.userType()) {
    case QMetaType::QString:
        appendQuoted(sql, *static_cast<const QString*>(value.constData()));
        return;
    case QMetaType::Int:
    case QMetaType::LongLong:
        appendInteger(sql, value.toLongLong());
        return;
    case QMetaType::Double:
        appendDouble(sql, *static_cast<const double*>(value.constData()));
        return;
    case QMetaType::QDateTime:
        appendDateTime(sql, *static_cast<const QDateTime*>(value.constData()));
        return;
    default:
        appendQuoted(sql, value.toString());
    }
}

// What appendRendered writes for the variant QMetaProperty::read would give;
// the common types are read into a value of their own, not a variant.
void DialectCore::appendProperty(QString& sql, const PropertyPlan::Column& c, QObject* obj) const
{
    PropertyPlan::read(obj, c, [&](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, int> || std::is_same_v<T, qlonglong>)
            appendInteger(sql, value);
        else if constexpr (std::is_same_v<T, double>)
            appendDouble(sql, value);
        else if constexpr (std::is_same_v<T, QString>)
            appendQuoted(sql, value);
        else if constexpr (std::is_same_v<T, QDateTime>)
            appendDateTime(sql, value);
        else
            appendRendered(sql, value);
    });
}

// Written straight into one string: batches build thousands of these.
QString DialectCore::GetInsertSql(QString tableName, QStringList columns, ObjectModel* obj, QString key,
                                  bool generatedKey, QStringList excluded)
{
    std::shared_ptr<const PropertyPlan> plan;
    QVarLengthArray<const PropertyPlan::Column*, 32> taken;
    int size = 48 + 2 * tableName.size() + key.size();
    if (obj) {
        plan = PropertyPlan::get(obj->metaObject(), columns);
        const QString lowerKey = generatedKey ? key.toLower() : QString();
        for (const PropertyPlan::Column& c : plan->matched) {
            if (excluded.contains(c.column))
                continue;
            if (generatedKey && c.lowerColumn == lowerKey)
                continue;
            taken.append(&c);
            size += c.quotedColumn.size() + 32;
        }
    }
    QString sql;
    sql.reserve(size);
    sql += QLatin1String("INSERT INTO ");
    appendName(sql, tableName, m_dialect.quoteTables);
    sql += QLatin1String(" (");
    for (const PropertyPlan::Column* c : taken) {
        sql += m_dialect.quoteColumns ? c->quotedColumn : c->column;
        sql += QLatin1Char(',');
    }
    if (!taken.isEmpty())
        sql.chop(1);
    sql += QLatin1String(") VALUES (");
    for (const PropertyPlan::Column* c : taken) {
        appendProperty(sql, *c, obj);
        sql += QLatin1Char(',');
    }
    if (!taken.isEmpty())
        sql.chop(1);
    sql += QLatin1Char(')');
    if (m_dialect.returningKey) {
        sql += QLatin1String(" RETURNING ");
        sql += key;
    }
    return sql;
}

QString DialectCore::GetInsertSql(QString tableName, QStringList columns, QList<FieldPair> fields,
                                  QString key, bool generatedKey)
{
    QString names;
    QString values;
    const QString lowerKey = key.toLower();
    for (const FieldPair& field : qAsConst(fields)) {
        const QString c = ContainsColumn(columns, field.first);
        if (c.isEmpty())
            continue;
        if (generatedKey && field.first.toLower() == lowerKey)
            continue;
        appendName(names, c, m_dialect.quoteColumns);
        names += QLatin1Char(',');
        appendQuoted(values, field.second);
        values += QLatin1Char(',');
    }
    names.chop(1);
    values.chop(1);
    QString sql = QLatin1String("INSERT INTO ") + table(tableName) + QLatin1String(" (") + names
                  + QLatin1String(") VALUES (") + values + QLatin1Char(')');
    if (m_dialect.returningKey)
        sql += QLatin1String(" RETURNING ") + key;
    else if (m_dialect.fieldInsertTrailingBlank)
        sql += QLatin1Char(' ');
    return sql;
}

void DialectCore::appendUpdateHead(QString& sql, const QString& tableName) const
{
    sql += QLatin1String("UPDATE ");
    appendName(sql, tableName, m_dialect.quoteTables);
    sql += QLatin1String(" set ");
}

// What c.property.read(obj).toString() gives, without the variant for the
// types whose text is plain.
QString DialectCore::columnText(const PropertyPlan::Column& c, QObject* obj)
{
    QString text;
    PropertyPlan::read(obj, c, [&](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, int> || std::is_same_v<T, qlonglong>)
            text = QString::number(value);
        else if constexpr (std::is_same_v<T, QString>)
            text = value;
        else
            text = QVariant(value).toString();
    });
    return text;
}

// The SET list of a record UPDATE, trailing comma cut, and the key's text: the
// last column property named key ignoring case, or with anyProperty the last
// property of that name whether it is a column or not.
QString DialectCore::recordUpdate(const QString& tableName, const QStringList& columns, ObjectModel* obj,
                                  const QString& key, bool anyProperty, QString& keyValue) const
{
    QString sql;
    if (obj) {
        const auto plan = PropertyPlan::get(obj->metaObject(), columns);
        int size = 64 + 2 * tableName.size() + 2 * key.size();
        for (const PropertyPlan::Column& c : plan->matched)
            size += c.quotedColumn.size() + 36;
        sql.reserve(size);
        appendUpdateHead(sql, tableName);
        const QString lowerKey = key.toLower();
        const PropertyPlan::Column* keyColumn = nullptr;
        for (const PropertyPlan::Column& c : plan->matched) {
            if (c.isObjectName)
                continue;
            sql += m_dialect.quoteColumns ? c.quotedColumn : c.column;
            sql += QLatin1String(" = ");
            appendProperty(sql, c, obj);
            sql += QLatin1Char(',');
            if (c.lowerName == lowerKey)
                keyColumn = &c;
        }
        if (anyProperty) {
            const int index = plan->lowerProperties.lastIndexOf(lowerKey);
            if (index >= 0)
                keyValue = plan->meta->property(index).read(obj).toString();
        } else if (keyColumn) {
            keyValue = columnText(*keyColumn, obj);
        }
    } else {
        appendUpdateHead(sql, tableName);
    }
    sql.chop(1);
    return sql;
}

QString DialectCore::GetUpdateSql(QString tableName, QStringList columns, ObjectModel* obj, QString key)
{
    QString keyValue;
    QString sql = recordUpdate(tableName, columns, obj, key, false, keyValue);
    sql += QLatin1String(m_dialect.objectUpdateWhere);
    appendName(sql, key, m_dialect.quoteColumns);
    sql += QLatin1Char('=');
    appendQuoted(sql, keyValue);
    return sql;
}

QString DialectCore::GetUpdateSqlByKey(QString tableName, QString key, QStringList columns, ObjectModel* obj)
{
    QString keyValue;
    QString sql = recordUpdate(tableName, columns, obj, key, true, keyValue);
    sql += QLatin1String(" where ");
    appendName(sql, ContainsColumn(columns, key), m_dialect.quoteColumns);
    sql += QLatin1Char('=');
    appendQuoted(sql, keyValue);
    sql += QLatin1Char(' ');
    return sql;
}

QString DialectCore::GetUpdateSql(QString tableName, QString key, QStringList columns, QList<FieldPair> fields)
{
    QString sql;
    appendUpdateHead(sql, tableName);
    QString keyValue;
    const QString lowerKey = key.toLower();
    for (const FieldPair& field : qAsConst(fields)) {
        const QString c = ContainsColumn(columns, field.first);
        if (c.isEmpty())
            continue;
        sql += column(c) + QLatin1String(" = ") + quoted(field.second) + QLatin1Char(',');
        if (field.first.toLower() == lowerKey)
            keyValue = field.second;
    }
    sql.chop(1);
    const QString keyName = m_dialect.fieldUpdateKeyUpper ? key.toUpper() : lowerKey;
    return sql + QLatin1String(" where ") + column(keyName) + QLatin1Char('=') + quoted(keyValue);
}

QString DialectCore::GetDeleteSql(QString tableName, QString key, QVariant value)
{
    return GetDeleteAllSql(tableName) + QLatin1String("where ") + column(key) + QLatin1Char('=')
           + quoted(value.toString());
}

QString DialectCore::GetDeleteSql(QString tableName, QString key, QList<FieldPair> fields)
{
    QString value;
    const QString lowerKey = key.toLower();
    for (const FieldPair& field : qAsConst(fields)) {
        if (field.first.toLower() == lowerKey) {
            value = field.second;
            break;
        }
    }
    QString sql = GetDeleteAllSql(tableName) + QLatin1String("where ") + column(key) + QLatin1Char('=');
    if (!m_dialect.quoteFieldDeleteValue)
        return sql + value; // the caller's own SQL literal, by design
    // A value, never a name: in double quotes PostgreSQL and Oracle read it as
    // a column, and SQLite does whenever it names one ("id" = "id" is every row).
    appendQuoted(sql, value);
    return sql;
}

QString DialectCore::GetDeleteAllSql(QString tableName)
{
    return QLatin1String("DELETE FROM ") + table(tableName) + QLatin1Char(' ');
}

QString DialectCore::GetQuerySql(QString tableName)
{
    return QLatin1String("select * from ") + table(tableName) + QLatin1Char(' ');
}

QString DialectCore::GetQueryIndexSql(QString tableName, int offset, int count)
{
    return QLatin1String("select * from ") + table(tableName) + QLatin1String(" t LIMIT ")
           + QString::number(count) + QLatin1String(" OFFSET ") + QString::number(offset)
           + QLatin1Char(' ');
}

QString DialectCore::GetQueryRowSql(QString tableName)
{
    return QLatin1String("select COUNT(*) as rowCount from ") + table(tableName) + QLatin1Char(' ');
}

RowList DialectCore::catalogue(const QString& sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.Query(sql);
}

DialectCore::SchemaTables DialectCore::fetchTables()
{
    QStringList names;
    const QString key = QLatin1String(m_dialect.tableRowKey);
    for (const Row& row : catalogue(tableSql()))
        names.append(row.value(key).toString());
    if (names.isEmpty())
        return SchemaTables();
    return SchemaTables{{QString(), names}};
}

void DialectCore::GetTable()
{
    const QString sign = GetSign();
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
    m_tables.insert(GetSign(), tables);
}

QStringList DialectCore::GetColumn(QString tableName)
{
    QMutexLocker locker(&m_columnLock);
    const QString sign = GetSign();
    const auto bySign = m_columns.constFind(sign);
    if (bySign != m_columns.constEnd()) {
        const QStringList cached = bySign->value(tableName);
        if (!cached.isEmpty())
            return cached;
    }
    QStringList names;
    const QString key = QLatin1String(m_dialect.columnRowKey);
    for (const Row& row : catalogue(columnSql(tableName)))
        names.append(row.value(key).toString());
    if (!names.isEmpty())
        m_columns[sign].insert(tableName, names);
    return names;
}

} // namespace Tessark
