#ifndef TESSARK_TESTS_RELIABILITY_RELIABILITY_H
#define TESSARK_TESTS_RELIABILITY_RELIABILITY_H

// The records and table of the reliability and load suites, and the calls
// whose form differs between the persistence classes and the facade.

#include <QtTest>

#include <type_traits>

#include "../common/backends.h"
#include "Model/objectmodel.h"
#include "handle/extendhandle.h"

namespace TessarkTest {

class Item : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int id MEMBER id)
    Q_PROPERTY(QString code MEMBER code)
    Q_PROPERTY(QString label MEMBER label)

public:
    explicit Item(const QString& table, const QString& key = QStringLiteral("id"))
    {
        TableName = table;
        Key = key;
    }

    int id = 0;
    QString code, label;
    void setKeyName(const QString& key) { Key = key; }
};

// A record none of whose properties is a column of the Item table.
class Stranger : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(QString nothing MEMBER nothing)

public:
    explicit Stranger(const QString& table)
    {
        TableName = table;
        Key = QStringLiteral("nothing");
    }

    QString nothing = QStringLiteral("n1");
};

// MySQL's collation here neither pads nor folds case, so a WHERE matches exactly, as on the others.
inline QString itemTable(const Backend& b, const QString& name)
{
    if (b.kind == Kind::SQLite)
        return QStringLiteral("create table %1 (id INTEGER PRIMARY KEY AUTOINCREMENT, code TEXT, label TEXT)").arg(name);
    if (b.kind == Kind::PostgreSQL)
        return QStringLiteral("create table %1 (id serial primary key, code text, label text)").arg(name);
    return QStringLiteral("create table %1 (id int auto_increment primary key, code longtext collate "
                          "utf8mb4_nopad_bin, label longtext collate utf8mb4_nopad_bin) character set utf8mb4")
        .arg(name);
}

struct DropTable
{
    const Backend& b;
    QString table;
    ~DropTable() { b.exec(QStringLiteral("drop table %1").arg(table)); }
};

template <class Q>
bool insertRecord(Q& q, ObjectModel* obj, bool generatedKey)
{
    if constexpr (std::is_same_v<std::decay_t<Q>, ExtendHandle>)
        return q.Insert(obj, generatedKey);
    else
        return q.Insert(obj, generatedKey, QStringList());
}

} // namespace TessarkTest

#endif // TESSARK_TESTS_RELIABILITY_RELIABILITY_H
