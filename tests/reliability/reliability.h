#ifndef TESSARK_TESTS_RELIABILITY_RELIABILITY_H
#define TESSARK_TESTS_RELIABILITY_RELIABILITY_H

// What the reliability and load suites share: their record classes, their
// table, and calls that differ in form between the persistence classes and
// the facade.

#include <QtTest>

#include <type_traits>

#include "../common/backends.h"
#include "Model/objectmodel.h"
#include "handle/extendhandle.h"

namespace TessarkTest {

// A row with a generated id and two free text columns.
class Item : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int id READ getid WRITE setid)
    Q_PROPERTY(QString code READ getcode WRITE setcode)
    Q_PROPERTY(QString label READ getlabel WRITE setlabel)

public:
    explicit Item(const QString& table, const QString& key = QStringLiteral("id"))
    {
        TableName = table;
        Key = key;
    }

    int id = 0;
    QString code;
    QString label;

    int getid() const { return id; }
    void setid(int value) { id = value; }
    QString getcode() const { return code; }
    void setcode(const QString& value) { code = value; }
    QString getlabel() const { return label; }
    void setlabel(const QString& value) { label = value; }

    void setKeyName(const QString& key) { Key = key; }
    void setTable(const QString& table) { TableName = table; }
};

// A record none of whose properties is a column of the Item table.
class Stranger : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(QString nothing READ getnothing WRITE setnothing)

public:
    explicit Stranger(const QString& table)
    {
        TableName = table;
        Key = QStringLiteral("nothing");
    }

    QString nothing = QStringLiteral("n1");
    QString getnothing() const { return nothing; }
    void setnothing(const QString& value) { nothing = value; }
};

// The Item table. MySQL compares text without padding or case folding here,
// so a WHERE on a value matches exactly that value, as on the other two.
inline QString itemTable(const Backend& b, const QString& name)
{
    switch (b.kind) {
    case Kind::SQLite:
        return QStringLiteral("create table %1 (id INTEGER PRIMARY KEY AUTOINCREMENT, code TEXT, label TEXT)")
            .arg(name);
    case Kind::PostgreSQL:
        return QStringLiteral("create table %1 (id serial primary key, code text, label text)").arg(name);
    case Kind::MySQL:
        return QStringLiteral("create table %1 (id int auto_increment primary key, "
                              "code longtext collate utf8mb4_nopad_bin, label longtext collate utf8mb4_nopad_bin) "
                              "character set utf8mb4")
            .arg(name);
    }
    return QString();
}

inline ConnInfoModel connInfo(const Backend& b, const QString& tag)
{
    if (b.kind == Kind::SQLite)
        return ConnInfoModel(2, b.file, tag);
    return ConnInfoModel(b.type, b.server.host, b.server.port, b.server.user, b.server.password, b.server.dbname,
                         tag);
}

// Calls body with a persistence object of the backend, configured with tag.
template <class F>
void withQuery(const Backend& b, const QString& tag, F&& body)
{
    switch (b.kind) {
    case Kind::SQLite: {
        SQLiteQuery q;
        b.init(q, tag);
        body(q);
        break;
    }
    case Kind::PostgreSQL: {
        PostgreSQLQuery q;
        b.init(q, tag);
        body(q);
        break;
    }
    case Kind::MySQL: {
        MySqlQuery q;
        b.init(q, tag);
        body(q);
        break;
    }
    }
}

template <class Q>
constexpr bool isHandle = std::is_same_v<std::decay_t<Q>, ExtendHandle>;
template <class Q>
constexpr bool isPostgres = std::is_same_v<std::decay_t<Q>, PostgreSQLQuery>;

// The calls whose form differs between the persistence classes and the facade.
template <class Q>
bool insertRecord(Q& q, ObjectModel* obj, bool generatedKey)
{
    if constexpr (isHandle<Q>)
        return q.Insert(obj, generatedKey);
    else
        return q.Insert(obj, generatedKey, QStringList());
}

template <class Q>
bool deleteValue(Q& q, const QString& column, const QVariant& value, const QString& table)
{
    if constexpr (isPostgres<Q>)
        return q.Delete(column, value, table, false);
    else
        return q.Delete(column, value, table);
}

template <class Q>
bool deleteRecord(Q& q, const QString& column, const QVariant& value, ObjectModel* obj)
{
    if constexpr (isPostgres<Q>)
        return q.Delete(column, value, obj, false);
    else
        return q.Delete(column, value, obj);
}

template <class Q>
bool deleteFields(Q& q, const QString& table, const QString& key, const QList<FieldPair>& fields)
{
    if constexpr (isPostgres<Q>)
        return q.Delete(table, key, fields, false);
    else
        return q.Delete(table, key, fields);
}

} // namespace TessarkTest

#endif // TESSARK_TESTS_RELIABILITY_RELIABILITY_H
