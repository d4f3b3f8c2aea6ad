#ifndef TESSARK_HANDLE_OPERATIONS_P_H
#define TESSARK_HANDLE_OPERATIONS_P_H

// The facade's operations as functions of a backend, shared by ExtendHandle
// (which calls them at once) and AsyncHandle (which calls them on a worker),
// so that both faces run exactly the same persistence and catalogue calls.

#include <memory>

#include "Model/conninfomodel.h"
#include "core/backend.h"
#include "core/rules.h"

namespace Tessark {
namespace Operations {

// The same kind keeps its backend (its connection and caches) and is
// described anew; another kind gets a new backend, none for a kind that names
// no database.
inline void describe(std::unique_ptr<Backend>& backend, const ConnInfoModel& info)
{
    if (backend && DbType(backend->rules().kind) == info.Type)
        backend->initInfo(info);
    else
        backend = makeBackend(info);
}

inline bool initConnect(Backend& b) { return b.persistence().InitConnect(); }
inline bool executeSql(Backend& b, const QString& sql) { return b.persistence().ExecuteSQL(sql); }
inline RowList query(Backend& b, const QString& sql) { return b.persistence().Query(sql); }
inline RowList query(Backend& b, const QString& sql, QStringList* columns)
{
    return b.persistence().Query(sql, columns);
}
inline RowList query(Backend& b, ObjectModel* model) { return b.persistence().Query(model); }
inline RowList query(Backend& b, int offset, int count, ObjectModel* model)
{
    return b.persistence().Query(offset, count, model);
}
inline Row queryFirst(Backend& b, const QString& sql) { return b.persistence().QueryFirst(sql); }
inline int queryRow(Backend& b, const QString& sql) { return b.persistence().QueryRow(sql); }

inline bool insert(Backend& b, ObjectModel* model, bool generatedKey)
{
    return b.persistence().Insert(model, generatedKey, QStringList());
}
inline bool insert(Backend& b, const QString& table, const QList<FieldPair>& values, const QString& key,
                   bool generatedKey)
{
    return b.persistence().Insert(table, values, key, generatedKey);
}
inline bool insertList(Backend& b, const QList<ObjectModel*>& models, bool generatedKey, bool continueOnError)
{
    return b.persistence().InsertList(models, generatedKey, continueOnError);
}
inline bool update(Backend& b, ObjectModel* model) { return b.persistence().Update(model); }
inline bool update(Backend& b, const QString& table, const QString& key, const QList<FieldPair>& values)
{
    return b.persistence().Update(table, key, values);
}
inline bool updateList(Backend& b, const QList<ObjectModel*>& models, bool continueOnError)
{
    return b.persistence().UpdateList(models, continueOnError);
}
inline bool remove(Backend& b, const QString& column, const QVariant& value, const QString& table)
{
    return b.persistence().Delete(column, value, table);
}
inline bool remove(Backend& b, const QString& column, const QVariant& value, ObjectModel* model)
{
    return b.persistence().Delete(column, value, model);
}
inline bool removeAll(Backend& b, const QString& table) { return b.persistence().DeleteAll(table); }
inline bool removeList(Backend& b, const QList<ObjectModel*>& models, bool continueOnError)
{
    return b.persistence().DeleteList(models, continueOnError);
}
inline bool removeList(Backend& b, const QString& column, const QList<QVariant>& values, const QString& table,
                       bool continueOnError)
{
    return b.persistence().DeleteList(column, values, table, continueOnError);
}
inline bool removeList(Backend& b, const QStringList& sqls, bool continueOnError)
{
    return b.persistence().DeleteList(sqls, continueOnError);
}

inline QStringList tableNames(Backend& b) { return b.catalogue().tableNames(); }
inline QStringList columnNames(Backend& b, const QString& table) { return b.catalogue().columns(table); }
inline QString tableName(Backend& b, const QString& name) { return b.catalogue().realTableName(name); }
// Schema-qualified where tables live in schemas; elsewhere the name in
// double quotes (MySQL too, not back-ticks).
inline QString modelTableName(Backend& b, const QString& name) { return b.catalogue().qualifiedName(name); }
inline void cleanTables(Backend& b) { b.catalogue().cleanTables(); }
inline void cleanColumns(Backend& b) { b.catalogue().cleanColumns(); }
inline void close(Backend& b) { b.persistence().Close(); }

} // namespace Operations
} // namespace Tessark

#endif // TESSARK_HANDLE_OPERATIONS_P_H
