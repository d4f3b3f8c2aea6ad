#include "core/dialect.h"

#include <QDateTime>
#include <QLocale>
#include <QVarLengthArray>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <type_traits>

#include "Model/objectmodel.h"
#include "core/datetimetext_p.h"
#include "core/propertyplan.h"

namespace Tessark {

QString Dialect::table(const QString& name) const
{
    return m_rules.quoteTables ? QLatin1Char('"') + name + QLatin1Char('"') : name;
}

QString Dialect::column(const QString& name) const
{
    return m_rules.quoteColumns ? QLatin1Char('"') + name + QLatin1Char('"') : name;
}

namespace {

// A value never leaves its quotes: the quote (and where it escapes, the backslash) is doubled.
void appendQuotedText(QString& sql, const QString& value, bool escapeBackslash)
{
    sql += QLatin1Char('\'');
    const QChar* run = value.constData();
    const QChar* const end = run + value.size();
    for (const QChar* c = run; c != end; ++c) {
        if (*c == QLatin1Char('\'') || (escapeBackslash && *c == QLatin1Char('\\'))) {
            sql.append(run, int(c - run + 1));
            sql += *c;
            run = c + 1;
        }
    }
    sql.append(run, int(end - run));
    sql += QLatin1Char('\'');
}

// Where the builders put a value: into the text, between its quotes ...
struct Literal
{
    static constexpr bool text = true;
    QString& sql;
    bool escapeBackslash;

    void quoted(const QString& value) { appendQuotedText(sql, value, escapeBackslash); }
    // Digits and signs that never hold a quote.
    void plain(QLatin1String value)
    {
        sql += QLatin1Char('\'');
        sql += value;
        sql += QLatin1Char('\'');
    }
    void plain(const QString& value)
    {
        sql += QLatin1Char('\'');
        sql += value;
        sql += QLatin1Char('\'');
    }
    void null() { sql += QLatin1String("NULL"); }
    void verbatim(const QString& value) { sql += value; }
};

// ... or apart from it, a '?' in its place and the text it would have had
// between its quotes in the list of values.
struct Placeholders
{
    static constexpr bool text = false;
    QString& sql;
    BoundStatement& bound;
    bool bindable = true;

    void mark()
    {
        bound.marks.append(sql.size());
        sql += QLatin1Char('?');
    }
    void quoted(const QString& value)
    {
        mark();
        // A null QString is still the text '': never bound as NULL.
        bound.values.append(value.isNull() ? QStringLiteral("") : value);
    }
    void plain(QLatin1String value)
    {
        mark();
        bound.values.append(QString(value));
    }
    void plain(const QString& value) { quoted(value); }
    void null()
    {
        mark();
        bound.values.append(QVariant());
    }
    // A call such as to_date(...) is text of its own, no value.
    void verbatim(const QString&) { bindable = false; }
};

void appendName(QString& sql, const QString& name, bool quote)
{
    if (quote)
        sql += QLatin1Char('"');
    sql += name;
    if (quote)
        sql += QLatin1Char('"');
}

// What c.property.read(obj).toString() gives, without the variant for the
// types whose text is plain.
QString columnText(const PropertyPlan::Column& c, QObject* obj)
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

// As QVariant::toString writes numbers.
template <class Out>
void appendInteger(Out& out, qlonglong value)
{
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.plain(QLatin1String(digits, int(end - digits)));
}

// Qt's shortest 'g' text. Where that is plain decimal notation it has the
// same digits as std::to_chars's shortest round trip, which is several times
// faster; exponents, infinities and NaN keep Qt's own spelling.
template <class Out>
void appendDouble(Out& out, double value)
{
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
        out.plain(QLatin1String(digits, int(end - digits)));
    else
        out.plain(QString::number(value, 'g', QLocale::FloatingPointShortest));
}

} // namespace

void Dialect::appendQuoted(QString& sql, const QString& value) const
{
    appendQuotedText(sql, value, m_rules.escapeBackslash);
}

QString Dialect::quoted(const QString& value) const
{
    QString text;
    text.reserve(value.size() + 2);
    appendQuoted(text, value);
    return text;
}

// A date-time as the database reads it; one that is no date is NULL in every
// dialect (an empty text is refused by MySQL in strict mode and stored by
// SQLite as a text that is no date). The fast paths write the same text as
// the general formatters for the plain-digit values most records hold.
template <class Out>
void Dialect::appendDateTime(Out& out, const QDateTime& value) const
{
    if (!value.isValid()) {
        out.null();
        return;
    }
    switch (m_rules.dateTime) {
    case DateTimeStyle::Iso: {
        if constexpr (Out::text) {
            if (appendQuotedIsoDateTimeText(out.sql, value))
                return;
        }
        // ISO text is empty for years it cannot write: no date either.
        const QString text = isoDateTimeText(value);
        if (text.isEmpty())
            out.null();
        else
            out.quoted(text);
        return;
    }
    case DateTimeStyle::SpaceMillis:
        if constexpr (Out::text) {
            if (appendQuotedDateTimeText(out.sql, value, true))
                return;
        }
        out.quoted(dateTimeText(value, true));
        return;
    case DateTimeStyle::OracleToDate:
        out.verbatim(QLatin1String("to_date('") + dateTimeText(value, false)
                     + QLatin1String("', 'yyyy/mm/dd hh24:mi:ss')"));
        return;
    }
}

// A property's value: a date-time as the dialect writes it, anything else as
// its variant's text, quoted.
template <class Out>
void Dialect::appendRendered(Out& out, const QVariant& value) const
{
    switch (value.userType()) {
    case QMetaType::QString:
        out.quoted(*static_cast<const QString*>(value.constData()));
        return;
    case QMetaType::Int:
    case QMetaType::LongLong:
        appendInteger(out, value.toLongLong());
        return;
    case QMetaType::Double:
        appendDouble(out, *static_cast<const double*>(value.constData()));
        return;
    case QMetaType::QDateTime:
        appendDateTime(out, *static_cast<const QDateTime*>(value.constData()));
        return;
    default:
        out.quoted(value.toString());
    }
}

// What appendRendered writes for the variant QMetaProperty::read would give;
// the common types are read into a value of their own, not a variant.
template <class Out>
void Dialect::appendProperty(Out& out, const PropertyPlan::Column& c, QObject* obj) const
{
    PropertyPlan::read(obj, c, [&](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, int> || std::is_same_v<T, qlonglong>)
            appendInteger(out, value);
        else if constexpr (std::is_same_v<T, double>)
            appendDouble(out, value);
        else if constexpr (std::is_same_v<T, QString>)
            out.quoted(value);
        else if constexpr (std::is_same_v<T, QDateTime>)
            appendDateTime(out, value);
        else
            appendRendered(out, value);
    });
}

// Written straight into one string: batches build thousands of these.
template <class Out>
void Dialect::writeInsert(Out& out, const QString& tableName, const QStringList& columns, ObjectModel* obj,
                          const QString& key, bool generatedKey, const QStringList& excluded) const
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
    QString& sql = out.sql;
    sql.reserve(size);
    sql += QLatin1String("INSERT INTO ");
    appendName(sql, tableName, m_rules.quoteTables);
    sql += QLatin1String(" (");
    for (const PropertyPlan::Column* c : taken) {
        sql += m_rules.quoteColumns ? c->quotedColumn : c->column;
        sql += QLatin1Char(',');
    }
    if (!taken.isEmpty())
        sql.chop(1);
    sql += QLatin1String(") VALUES ");
    const int rowAt = sql.size();
    sql += QLatin1Char('(');
    for (const PropertyPlan::Column* c : taken) {
        appendProperty(out, *c, obj);
        sql += QLatin1Char(',');
    }
    if (!taken.isEmpty())
        sql.chop(1);
    sql += QLatin1Char(')');
    if constexpr (!Out::text) {
        out.bound.rowAt = rowAt;
        out.bound.rowEnd = sql.size();
    }
    if (m_rules.returningKey) {
        sql += QLatin1String(" RETURNING ");
        sql += key;
    }
}

QString Dialect::GetInsertSql(const QString& tableName, const QStringList& columns, ObjectModel* obj,
                              const QString& key, bool generatedKey, const QStringList& excluded) const
{
    QString sql;
    Literal out{sql, m_rules.escapeBackslash};
    writeInsert(out, tableName, columns, obj, key, generatedKey, excluded);
    return sql;
}

bool Dialect::bindInsert(const QString& tableName, const QStringList& columns, ObjectModel* obj,
                         const QString& key, bool generatedKey, const QStringList& excluded,
                         BoundStatement& bound) const
{
    bound = BoundStatement();
    bound.marks.reserve(columns.size() + 1); // every column and a key at most
    bound.values.reserve(columns.size() + 1);
    Placeholders out{bound.shape, bound};
    writeInsert(out, tableName, columns, obj, key, generatedKey, excluded);
    return out.bindable;
}

QString Dialect::GetInsertSql(const QString& tableName, const QStringList& columns,
                              const QList<FieldPair>& fields, const QString& key, bool generatedKey) const
{
    QString names;
    QString values;
    const QString lowerKey = key.toLower();
    for (const FieldPair& field : qAsConst(fields)) {
        const QString c = PropertyPlan::containsColumn(columns, field.first);
        if (c.isEmpty())
            continue;
        if (generatedKey && field.first.toLower() == lowerKey)
            continue;
        appendName(names, c, m_rules.quoteColumns);
        names += QLatin1Char(',');
        appendQuoted(values, field.second);
        values += QLatin1Char(',');
    }
    names.chop(1);
    values.chop(1);
    QString sql = QLatin1String("INSERT INTO ") + table(tableName) + QLatin1String(" (") + names
                  + QLatin1String(") VALUES (") + values + QLatin1Char(')');
    if (m_rules.returningKey)
        sql += QLatin1String(" RETURNING ") + key;
    else if (m_rules.fieldInsertTrailingBlank)
        sql += QLatin1Char(' ');
    return sql;
}

void Dialect::appendUpdateHead(QString& sql, const QString& tableName) const
{
    sql += QLatin1String("UPDATE ");
    appendName(sql, tableName, m_rules.quoteTables);
    sql += QLatin1String(" set ");
}


// The SET list of a record UPDATE, trailing comma cut, and the key's text: the
// last column property named key ignoring case, or with anyProperty the last
// property of that name whether it is a column or not.
template <class Out>
void Dialect::recordUpdate(Out& out, const QString& tableName, const QStringList& columns, ObjectModel* obj,
                           const QString& key, bool anyProperty, QString& keyValue) const
{
    QString& sql = out.sql;
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
            sql += m_rules.quoteColumns ? c.quotedColumn : c.column;
            sql += QLatin1String(" = ");
            appendProperty(out, c, obj);
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
}

template <class Out>
void Dialect::writeUpdate(Out& out, const QString& tableName, const QStringList& columns, ObjectModel* obj,
                          const QString& key) const
{
    QString keyValue;
    recordUpdate(out, tableName, columns, obj, key, false, keyValue);
    out.sql += QLatin1String(m_rules.objectUpdateWhere);
    appendName(out.sql, key, m_rules.quoteColumns);
    out.sql += QLatin1Char('=');
    out.quoted(keyValue);
}

QString Dialect::GetUpdateSql(const QString& tableName, const QStringList& columns, ObjectModel* obj,
                              const QString& key) const
{
    QString sql;
    Literal out{sql, m_rules.escapeBackslash};
    writeUpdate(out, tableName, columns, obj, key);
    return sql;
}

bool Dialect::bindUpdate(const QString& tableName, const QStringList& columns, ObjectModel* obj,
                         const QString& key, BoundStatement& bound) const
{
    bound = BoundStatement();
    bound.marks.reserve(columns.size() + 1); // every column and a key at most
    bound.values.reserve(columns.size() + 1);
    Placeholders out{bound.shape, bound};
    writeUpdate(out, tableName, columns, obj, key);
    return out.bindable;
}

QString Dialect::GetUpdateSqlByKey(const QString& tableName, const QString& key, const QStringList& columns,
                                   ObjectModel* obj) const
{
    QString keyValue;
    QString sql;
    Literal out{sql, m_rules.escapeBackslash};
    recordUpdate(out, tableName, columns, obj, key, true, keyValue);
    sql += QLatin1String(" where ");
    appendName(sql, PropertyPlan::containsColumn(columns, key), m_rules.quoteColumns);
    sql += QLatin1Char('=');
    appendQuoted(sql, keyValue);
    sql += QLatin1Char(' ');
    return sql;
}

QString Dialect::GetUpdateSql(const QString& tableName, const QString& key, const QStringList& columns,
                              const QList<FieldPair>& fields) const
{
    QString sql;
    appendUpdateHead(sql, tableName);
    QString keyValue;
    const QString lowerKey = key.toLower();
    for (const FieldPair& field : qAsConst(fields)) {
        const QString c = PropertyPlan::containsColumn(columns, field.first);
        if (c.isEmpty())
            continue;
        sql += column(c) + QLatin1String(" = ") + quoted(field.second) + QLatin1Char(',');
        if (field.first.toLower() == lowerKey)
            keyValue = field.second;
    }
    sql.chop(1);
    const QString keyName = m_rules.fieldUpdateKeyUpper ? key.toUpper() : lowerKey;
    return sql + QLatin1String(" where ") + column(keyName) + QLatin1Char('=') + quoted(keyValue);
}

QString Dialect::GetDeleteSql(const QString& tableName, const QString& key, const QVariant& value) const
{
    return GetDeleteAllSql(tableName) + QLatin1String("where ") + column(key) + QLatin1Char('=')
           + quoted(value.toString());
}

QString Dialect::GetDeleteSql(const QString& tableName, const QString& key,
                              const QList<FieldPair>& fields) const
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
    if (!m_rules.quoteFieldDeleteValue)
        return sql + value; // the caller's own SQL literal, by design
    // A value, never a name: in double quotes PostgreSQL and Oracle read it as
    // a column, and SQLite does whenever it names one ("id" = "id" is every row).
    appendQuoted(sql, value);
    return sql;
}

QString Dialect::GetDeleteAllSql(const QString& tableName) const
{
    return QLatin1String("DELETE FROM ") + table(tableName) + QLatin1Char(' ');
}

QString Dialect::GetQuerySql(const QString& tableName) const
{
    return QLatin1String("select * from ") + table(tableName) + QLatin1Char(' ');
}

QString Dialect::GetQueryIndexSql(const QString& tableName, int offset, int count) const
{
    if (m_rules.pageSql)
        return m_rules.pageSql(tableName, offset, count);
    return QLatin1String("select * from ") + table(tableName) + QLatin1String(" t LIMIT ")
           + QString::number(count) + QLatin1String(" OFFSET ") + QString::number(offset)
           + QLatin1Char(' ');
}

QString Dialect::GetQueryRowSql(const QString& tableName) const
{
    return QLatin1String("select COUNT(*) as rowCount from ") + table(tableName) + QLatin1Char(' ');
}

// "<table> t" or "(<query>) t", then the condition: the paged and the counted rows are the same.
QString Dialect::browseFrom(const BrowseSource& source) const
{
    QString sql = source.query.trimmed().isEmpty() ? table(source.table)
                                                   : QLatin1Char('(') + source.query.trimmed() + QLatin1Char(')');
    sql += QLatin1String(" t");
    if (!source.where.trimmed().isEmpty())
        sql += QLatin1String(" where ") + source.where.trimmed();
    return sql;
}

QString Dialect::GetBrowsePageSql(const BrowseSource& source, int offset, int count) const
{
    QString sql = QLatin1String("select * from ") + browseFrom(source);
    QStringList order;
    if (!source.orderBy.isEmpty())
        order << column(source.orderBy) + QLatin1String(source.descending ? " desc" : "");
    if (!source.tiebreak.isEmpty() && source.tiebreak != source.orderBy)
        order << column(source.tiebreak);
    if (!order.isEmpty())
        sql += QLatin1String(" order by ") + order.join(QLatin1Char(','));
    if (m_rules.pageSql)
        return m_rules.pageSql(sql, offset, count);
    return sql + QLatin1String(" LIMIT ") + QString::number(count) + QLatin1String(" OFFSET ")
           + QString::number(offset);
}

QString Dialect::GetBrowseCountSql(const BrowseSource& source) const
{
    return QLatin1String("select COUNT(*) as rowCount from ") + browseFrom(source);
}

} // namespace Tessark
