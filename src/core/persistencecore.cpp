#include "core/persistencecore.h"

#include <QMetaProperty>
#include <QMutexLocker>

#include "Model/objectmodel.h"
#include "core/connectioncore.h"
#include "core/propertyplan.h"
#include "core/serverconnection.h"
#include "tool/tessarktool.h"

namespace Tessark {

// The records of a batch mostly share one table: its column list is looked up
// once per run of that table. An empty list is asked for again, as it is
// never cached.
class PersistenceCore::BatchColumns
{
public:
    explicit BatchColumns(PersistenceCore& core) : m_core(core) {}

    QStringList of(const QString& table)
    {
        if (m_columns.isEmpty() || table != m_table) {
            m_columns = m_core.GetColumn(table);
            m_table = table;
        }
        return m_columns;
    }

private:
    PersistenceCore& m_core;
    QString m_table;
    QStringList m_columns;
};

void PersistenceCore::InitInfo(QString host, int port, QString userName, QString password,
                               QString databaseName, QString connectTag)
{
    QMutexLocker locker(&m_executionLock);
    if (auto* server = qobject_cast<ServerConnection*>(&m_connection))
        server->InitInfo(host, port, userName, password, databaseName, connectTag);
}

bool PersistenceCore::rejectNull(const ObjectModel* obj, const char* operation) const
{
    if (obj)
        return false;
    TessarkTool::WriteLog(QStringLiteral("%1执行SQL语出出错 错误信息：\n%2: null record")
                              .arg(QLatin1String(m_connection.traits().displayName),
                                   QLatin1String(operation)));
    return true;
}

bool PersistenceCore::rejectNull(const QList<ObjectModel*>& list, const char* operation) const
{
    for (const ObjectModel* obj : list) {
        if (rejectNull(obj, operation))
            return true;
    }
    return false;
}

// A row-picking statement needs a key column: an empty one is written as ""
// in its WHERE, which SQLite reads as the empty text, so `"" = ''` would pick
// every row of the table.
bool PersistenceCore::rejectNoKey(const QString& key, const char* operation) const
{
    if (!key.isEmpty())
        return false;
    TessarkTool::WriteLog(QStringLiteral("%1执行SQL语出出错 错误信息：\n%2: no key column")
                              .arg(QLatin1String(m_connection.traits().displayName),
                                   QLatin1String(operation)));
    return true;
}

bool PersistenceCore::rejectNoKey(const QList<ObjectModel*>& list, const char* operation) const
{
    for (const ObjectModel* obj : list) {
        if (rejectNoKey(obj->Key, operation))
            return true;
    }
    return false;
}

// Where the server stores a row of defaults for an INSERT that names no
// column, a record none of whose properties names a column of its table
// would be stored as that row and reported a success. (A table with no known
// columns is left to the server, which refuses it with its own reason.)
bool PersistenceCore::rejectUnmapped(const ObjectModel* obj, const QStringList& columns,
                                     const char* operation) const
{
    if (!m_dialect.emptyInsertStoresDefaults || columns.isEmpty()
        || !PropertyPlan::get(obj->metaObject(), columns)->matched.isEmpty())
        return false;
    TessarkTool::WriteLog(QStringLiteral("%1执行SQL语出出错 错误信息：\n%2: no property names a column of %3")
                              .arg(QLatin1String(m_connection.traits().displayName), QLatin1String(operation),
                                   obj->TableName));
    return true;
}

bool PersistenceCore::execute(const QString& sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.Execution(sql);
}

bool PersistenceCore::executeList(const QStringList& sqls, bool continueOnError)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.ExecutionList(sqls, continueOnError);
}

bool PersistenceCore::insertBatch(const QStringList& sqls, const QList<FieldPair>& idQueries,
                                  QList<QVariant>& ids, bool continueOnError)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.runBatch(sqls, &idQueries, &ids, continueOnError);
}

RowList PersistenceCore::lockedQuery(const QString& sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.Query(sql);
}

// The session's last id, read without a table: "... FROM <table>" would
// return one row per row of the table, making every insert cost its size.
QString PersistenceCore::lastIdSql(const QString& key) const
{
    return QLatin1String(m_dialect.lastIdHead) + key;
}

// The key goes into the first property whose name matches Key ignoring case;
// which one that is, is worked out once per class rather than per record.
void PersistenceCore::writeKey(ObjectModel* obj, const QVariant& value)
{
    const QMetaObject* meta = obj->metaObject();
    const int index = PropertyPlan::keyProperty(meta, obj->Key);
    if (index >= 0)
        meta->property(index).write(obj, value);
}

// The key's value in the row an INSERT returned. The server folds the
// RETURNING name (PostgreSQL to lower case), so Key may be spelt otherwise.
QVariant PersistenceCore::returnedKey(const Row& row, const QString& key)
{
    const auto exact = row.constFind(key);
    if (exact != row.constEnd())
        return exact.value();
    for (auto it = row.constBegin(); it != row.constEnd(); ++it) {
        if (it.key().compare(key, Qt::CaseInsensitive) == 0)
            return it.value();
    }
    return QVariant();
}

// A generated id of 0 and a one-character text key both count as failure.
bool PersistenceCore::keyAccepted(const QVariant& value)
{
    return value.toInt() > 0 || value.toString().length() > 1;
}

bool PersistenceCore::InitConnect()
{
    return m_connection.InitConnect();
}

bool PersistenceCore::ExecuteSQL(QString sql)
{
    return execute(sql);
}

RowList PersistenceCore::Query(QString sql)
{
    return lockedQuery(sql);
}

Row PersistenceCore::QueryFirst(QString sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.QueryFirst(sql);
}

int PersistenceCore::QueryRow(QString sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.QueryRow(sql);
}

QStringList PersistenceCore::GetTableNames()
{
    GetTable();
    QStringList names;
    QMutexLocker locker(&m_tableLock);
    for (const auto& schema : m_tables.value(GetSign()))
        names += schema.second;
    return names;
}

QString PersistenceCore::GetTableReal(QString name)
{
    const QString lower = name.toLower();
    for (const QString& table : GetTableNames()) {
        if (table.toLower() == lower)
            return table;
    }
    return QString();
}

QStringList PersistenceCore::GetColumnNames(QString tableName)
{
    return GetColumn(tableName);
}

void PersistenceCore::CleanTable()
{
    QMutexLocker locker(&m_tableLock);
    m_tables.remove(GetSign());
}

void PersistenceCore::CleanColumn()
{
    QMutexLocker locker(&m_columnLock);
    m_columns.remove(GetSign());
}

bool PersistenceCore::Insert(ObjectModel* obj, bool generatedKey, QStringList excluded)
{
    if (rejectNull(obj, "Insert"))
        return false;
    GetTable();
    const QStringList columns = GetColumn(obj->TableName);
    if (rejectUnmapped(obj, columns, "Insert"))
        return false;
    const QString sql = GetInsertSql(obj->TableName, columns, obj, obj->Key, generatedKey, excluded);
    QVariant keyValue(0);
    if (m_dialect.keyFromReturningRow) {
        Row row;
        {
            QMutexLocker locker(&m_executionLock);
            row = m_connection.QueryFirst(sql);
        }
        if (row.isEmpty())
            return false;
        keyValue = returnedKey(row, obj->Key);
        writeKey(obj, keyValue);
        return keyAccepted(keyValue);
    }
    {
        QMutexLocker locker(&m_executionLock);
        if (!m_connection.Insert(sql))
            return false;
        if (generatedKey) {
            const Row row = m_connection.QueryFirst(lastIdSql(obj->Key));
            if (row.isEmpty())
                return false;
            keyValue = row.value(obj->Key);
            writeKey(obj, keyValue);
        }
    }
    if (!generatedKey)
        keyValue = obj->property(obj->Key.toUtf8().constData());
    return keyAccepted(keyValue);
}

bool PersistenceCore::Insert(QString tableName, QList<FieldPair> fields, QString key, bool generatedKey)
{
    GetTable();
    const QString sql = GetInsertSql(tableName, GetColumn(tableName), fields, key, generatedKey);
    QMutexLocker locker(&m_executionLock);
    if (m_dialect.keyFromReturningRow) {
        const Row row = m_connection.QueryFirst(sql);
        return !row.isEmpty() && keyAccepted(returnedKey(row, key));
    }
    if (!m_connection.Insert(sql))
        return false;
    if (!m_dialect.fieldInsertReadsKey)
        return true;
    const Row row = m_connection.QueryFirst(lastIdSql(key));
    return keyAccepted(QVariant(row.value(key).toInt()));
}

bool PersistenceCore::InsertList(QList<ObjectModel*> list, bool generatedKey, bool continueOnError)
{
    if (list.isEmpty() || rejectNull(list, "InsertList"))
        return false;
    GetTable();
    QStringList sqls;
    QList<FieldPair> idQueries;
    sqls.reserve(list.size());
    BatchColumns columns(*this);
    for (ObjectModel* obj : qAsConst(list)) {
        // One unmapped record refuses the whole batch before anything runs.
        const QStringList tableColumns = columns.of(obj->TableName);
        if (rejectUnmapped(obj, tableColumns, "InsertList"))
            return false;
        sqls.append(GetInsertSql(obj->TableName, tableColumns, obj, obj->Key, generatedKey, QStringList()));
        if (generatedKey && !m_dialect.keyFromReturningRow)
            idQueries.append(FieldPair(obj->Key, lastIdSql(obj->Key)));
    }
    if (m_dialect.keyFromReturningRow)
        return executeList(sqls, continueOnError);

    QList<QVariant> ids;
    const bool result = insertBatch(sqls, idQueries, ids, continueOnError);
    // Positional: the i-th id belongs to the i-th record.
    for (int i = 0; i < list.size() && i < ids.size(); ++i)
        writeKey(list.at(i), ids.at(i));
    return result;
}

bool PersistenceCore::InsertList(QString tableName, QList<QList<FieldPair>> rows, QString key,
                                 bool generatedKey, bool continueOnError)
{
    if (rows.isEmpty())
        return false;
    GetTable();
    const QStringList columns = GetColumn(tableName);
    QStringList sqls;
    sqls.reserve(rows.size());
    for (const QList<FieldPair>& row : qAsConst(rows))
        sqls.append(GetInsertSql(tableName, columns, row, key, generatedKey));
    if (m_dialect.keyFromReturningRow)
        return executeList(sqls, continueOnError);
    QList<QVariant> ids;
    return insertBatch(sqls, QList<FieldPair>(), ids, continueOnError);
}

bool PersistenceCore::Update(ObjectModel* obj)
{
    if (rejectNull(obj, "Update") || rejectNoKey(obj->Key, "Update"))
        return false;
    GetTable();
    return execute(GetUpdateSql(obj->TableName, GetColumn(obj->TableName), obj, obj->Key));
}

bool PersistenceCore::Update(QString tableName, QString key, QList<FieldPair> fields)
{
    if (rejectNoKey(key, "Update"))
        return false;
    GetTable();
    return execute(GetUpdateSql(tableName, key, GetColumn(tableName), fields));
}

bool PersistenceCore::UpdateByKey(ObjectModel* obj, QString keyName)
{
    if (rejectNull(obj, "UpdateByKey"))
        return false;
    GetTable();
    // The WHERE names the column that keyName matches, which is empty when it matches none.
    const QStringList columns = GetColumn(obj->TableName);
    if (rejectNoKey(ContainsColumn(columns, keyName), "UpdateByKey"))
        return false;
    return execute(GetUpdateSqlByKey(obj->TableName, keyName, columns, obj));
}

bool PersistenceCore::UpdateList(QList<ObjectModel*> list, bool continueOnError)
{
    if (list.isEmpty() || rejectNull(list, "UpdateList") || rejectNoKey(list, "UpdateList"))
        return false;
    GetTable();
    QStringList sqls;
    sqls.reserve(list.size());
    BatchColumns columns(*this);
    for (ObjectModel* obj : qAsConst(list))
        sqls.append(GetUpdateSql(obj->TableName, columns.of(obj->TableName), obj, obj->Key));
    return executeList(sqls, continueOnError);
}

bool PersistenceCore::Delete(QString tableName, QString key, QList<FieldPair> fields)
{
    if (rejectNoKey(key, "Delete"))
        return false;
    GetTable();
    return execute(GetDeleteSql(tableName, key, fields));
}

bool PersistenceCore::Delete(QString column, QVariant value, QString tableName)
{
    if (rejectNoKey(column, "Delete"))
        return false;
    GetTable();
    return execute(GetDeleteSql(tableName, column, value));
}

bool PersistenceCore::Delete(QString column, QVariant value, ObjectModel* obj)
{
    if (rejectNull(obj, "Delete") || rejectNoKey(column, "Delete"))
        return false;
    GetTable();
    return execute(GetDeleteSql(obj->TableName, column, value));
}

bool PersistenceCore::DeleteAll(QString tableName)
{
    GetTable();
    return execute(GetDeleteAllSql(tableName));
}

bool PersistenceCore::DeleteList(QList<ObjectModel*> list, bool continueOnError)
{
    if (list.isEmpty() || rejectNull(list, "DeleteList") || rejectNoKey(list, "DeleteList"))
        return false;
    GetTable();
    QStringList sqls;
    sqls.reserve(list.size());
    for (ObjectModel* obj : qAsConst(list))
        sqls.append(GetDeleteSql(obj->TableName, obj->Key, obj->property(obj->Key.toUtf8().constData())));
    return executeList(sqls, m_dialect.listsContinueOnError && continueOnError);
}

bool PersistenceCore::DeleteList(QString column, QList<QVariant> values, QString tableName,
                                 bool continueOnError)
{
    if (rejectNoKey(column, "DeleteList"))
        return false;
    GetTable();
    QStringList sqls;
    sqls.reserve(values.size());
    for (const QVariant& value : qAsConst(values))
        sqls.append(GetDeleteSql(tableName, column, value));
    return executeList(sqls, m_dialect.listsContinueOnError && continueOnError);
}

bool PersistenceCore::DeleteList(QStringList sqls, bool continueOnError)
{
    if (sqls.isEmpty())
        return false;
    return executeList(sqls, m_dialect.listsContinueOnError && continueOnError);
}

RowList PersistenceCore::Query(int offset, int count, ObjectModel* obj)
{
    if (rejectNull(obj, "Query"))
        return RowList();
    GetTable();
    return lockedQuery(GetQueryIndexSql(obj->TableName, offset, count));
}

RowList PersistenceCore::Query(ObjectModel* obj)
{
    if (rejectNull(obj, "Query"))
        return RowList();
    GetTable();
    return lockedQuery(GetQuerySql(obj->TableName));
}

int PersistenceCore::QueryRow(ObjectModel* obj)
{
    if (rejectNull(obj, "QueryRow"))
        return 0;
    GetTable();
    QMutexLocker locker(&m_executionLock);
    return m_connection.QueryRow(GetQueryRowSql(obj->TableName));
}

} // namespace Tessark
