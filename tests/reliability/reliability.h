#ifndef TESSARK_TESTS_RELIABILITY_RELIABILITY_H
#define TESSARK_TESTS_RELIABILITY_RELIABILITY_H

// The table of the reliability and load suites, and the calls whose form
// differs between the persistence classes and the facade.

#include <QtTest>

#include <type_traits>

#include "../common/backends.h"
#include "../common/testrecords.h"
#include "handle/extendhandle.h"

namespace TessarkTest {

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
