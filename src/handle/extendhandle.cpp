#include "handle/extendhandle.h"

#include <type_traits>

namespace {

template <class Q>
constexpr bool isPostgres = std::is_same_v<std::decay_t<Q>, PostgreSQLQuery>;

} // namespace

template <class F>
auto ExtendHandle::forKind(F&& call) -> decltype(call(std::declval<SQLiteQuery&>()))
{
    switch (m_type) {
    case 0:
        return call(m_postgres);
    case 1:
        return call(m_oracle);
    case 2:
        return call(m_sqlite);
    case 3:
        return call(m_mysql);
    default:
        return decltype(call(m_sqlite))();
    }
}

ExtendHandle::ExtendHandle(QObject* parent) : QObject(parent) {}

ExtendHandle::~ExtendHandle() = default;

void ExtendHandle::InitInfo(ConnInfoModel info)
{
    InitInfo(info.Type, info.Host, info.Port, info.UserName, info.Password, info.DatabaseName, info.ConnectTag);
}

void ExtendHandle::InitInfo(short type, QString host, int port, QString userName, QString password,
                            QString databaseName, QString connectTag)
{
    m_type = type;
    forKind([&](auto& q) {
        // SQLite takes the file path (in databaseName) and the tag only.
        if constexpr (std::is_same_v<std::decay_t<decltype(q)>, SQLiteQuery>)
            q.InitInfo(databaseName, connectTag);
        else
            q.InitInfo(host, port, userName, password, databaseName, connectTag);
    });
}

bool ExtendHandle::InitConnect()
{
    return forKind([](auto& q) { return q.InitConnect(); });
}

short ExtendHandle::GetType()
{
    return m_type;
}

bool ExtendHandle::ExecuteSQL(QString sql)
{
    return forKind([&](auto& q) { return q.ExecuteSQL(sql); });
}

RowList ExtendHandle::Query(QString sql)
{
    return forKind([&](auto& q) { return q.Query(sql); });
}

RowList ExtendHandle::Query(ObjectModel* model)
{
    return forKind([&](auto& q) { return q.Query(model); });
}

RowList ExtendHandle::Query(int a, int b, ObjectModel* model)
{
    return forKind([&](auto& q) { return q.Query(a, b, model); });
}

Row ExtendHandle::QueryFirst(QString sql)
{
    return forKind([&](auto& q) { return q.QueryFirst(sql); });
}

int ExtendHandle::QueryRow(QString sql)
{
    return forKind([&](auto& q) { return q.QueryRow(sql); });
}

bool ExtendHandle::Insert(ObjectModel* model, bool b)
{
    return forKind([&](auto& q) { return q.Insert(model, b, QStringList()); });
}

bool ExtendHandle::Insert(QString table, QList<FieldPair> values, QString s, bool b)
{
    return forKind([&](auto& q) { return q.Insert(table, values, s, b); });
}

bool ExtendHandle::InsertList(QList<ObjectModel*> models, bool b1, bool b2)
{
    return forKind([&](auto& q) { return q.InsertList(models, b1, b2); });
}

bool ExtendHandle::Update(ObjectModel* model)
{
    return forKind([&](auto& q) { return q.Update(model); });
}

bool ExtendHandle::Update(QString table, QString s, QList<FieldPair> values)
{
    return forKind([&](auto& q) { return q.Update(table, s, values); });
}

bool ExtendHandle::UpdateList(QList<ObjectModel*> models, bool b)
{
    return forKind([&](auto& q) { return q.UpdateList(models, b); });
}

// PostgreSQL's deletes take one more flag; the handle always passes false.
bool ExtendHandle::Delete(QString table, QVariant key, QString s)
{
    return forKind([&](auto& q) {
        if constexpr (isPostgres<decltype(q)>)
            return q.Delete(table, key, s, false);
        else
            return q.Delete(table, key, s);
    });
}

bool ExtendHandle::Delete(QString table, QVariant key, ObjectModel* model)
{
    return forKind([&](auto& q) {
        if constexpr (isPostgres<decltype(q)>)
            return q.Delete(table, key, model, false);
        else
            return q.Delete(table, key, model);
    });
}

bool ExtendHandle::DeleteAll(QString table)
{
    return forKind([&](auto& q) { return q.DeleteAll(table); });
}

bool ExtendHandle::DeleteList(QList<ObjectModel*> models, bool b)
{
    return forKind([&](auto& q) { return q.DeleteList(models, b); });
}

bool ExtendHandle::DeleteList(QString table, QList<QVariant> keys, QString s, bool b)
{
    return forKind([&](auto& q) { return q.DeleteList(table, keys, s, b); });
}

bool ExtendHandle::DeleteList(QStringList sqls, bool b)
{
    return forKind([&](auto& q) { return q.DeleteList(sqls, b); });
}

QStringList ExtendHandle::GetTableNames()
{
    return forKind([](auto& q) { return q.GetTableNames(); });
}

QStringList ExtendHandle::GetColumnNames(QString table)
{
    return forKind([&](auto& q) { return q.GetColumnNames(table); });
}

QString ExtendHandle::GetTableName(QString name)
{
    return forKind([&](auto& q) { return q.GetTableReal(name); });
}

// Only PostgreSQL qualifies names; the others get the name in double quotes
// (MySQL too, not back-ticks).
QString ExtendHandle::GetModelTableName(QString name)
{
    return forKind([&](auto& q) {
        if constexpr (isPostgres<decltype(q)>)
            return q.GetModelTableName(name);
        else
            return QStringLiteral("\"%1\"").arg(name);
    });
}

void ExtendHandle::CleanTable()
{
    forKind([](auto& q) { q.CleanTable(); });
}

void ExtendHandle::CleanColumn()
{
    forKind([](auto& q) { q.CleanColumn(); });
}

void ExtendHandle::Close()
{
    forKind([](auto& q) { q.Close(); });
}
