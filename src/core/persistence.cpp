#include "core/persistence.h"

#include <QMetaProperty>
#include <QMutexLocker>

#include "Model/objectmodel.h"
#include "core/catalogue.h"
#include "core/connectioncore.h"
#include "core/dialect.h"
#include "core/propertyplan.h"
#include "core/rules.h"

namespace Tessark {

// The records of a batch mostly share one table: its column list is looked up
// once per run of that table. An empty list is asked for again, as it is
// never cached.
class Persistence::BatchColumns
{
public:
    explicit BatchColumns(Catalogue& catalogue) : m_catalogue(catalogue) {}

    QStringList of(const QString& table)
    {
        if (m_columns.isEmpty() || table != m_table) {
            m_columns = m_catalogue.columns(table);
            m_table = table;
        }
        return m_columns;
    }

private:
    Catalogue& m_catalogue;
    QString m_table;
    QStringList m_columns;
};

Persistence::Persistence(const KeyRules& rules, ConnectionCore& connection, const Dialect& dialect,
                         Catalogue& catalogue, QMutex& executionLock)
    : m_keys(rules)
    , m_connection(connection)
    , m_dialect(dialect)
    , m_catalogue(catalogue)
    , m_executionLock(executionLock)
{
}

// Refused before anything runs: logged as the operation's failure.
bool Persistence::reject(const char* operation, const QString& reason) const
{
    m_connection.fail(QStringLiteral("%1执行SQL语出出错 错误信息：\n")
                          .arg(QLatin1String(m_connection.rules().connection.displayName)),
                      QLatin1String(operation) + QStringLiteral(": ") + reason);
    return true;
}

bool Persistence::rejectNull(const ObjectModel* obj, const char* operation) const
{
    return !obj && reject(operation, QStringLiteral("null record"));
}

bool Persistence::rejectNull(const QList<ObjectModel*>& list, const char* operation) const
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
bool Persistence::rejectNoKey(const QString& key, const char* operation) const
{
    return key.isEmpty() && reject(operation, QStringLiteral("no key column"));
}

bool Persistence::rejectNoKey(const QList<ObjectModel*>& list, const char* operation) const
{
    for (const ObjectModel* obj : list) {
        if (rejectNoKey(obj->Key, operation))
            return true;
    }
    return false;
}

bool Persistence::execute(const QString& sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.Execution(sql);
}

// A statement writing to tableName, as a transaction of its own: alone where
// the session commits each statement by itself, if a failed statement leaves
// nothing behind in that table (so that running it again as text is harmless).
bool Persistence::write(const QString& tableName, const QString& sql)
{
    const bool undone = m_catalogue.tableFacts(tableName).transactional;
    QMutexLocker locker(&m_executionLock);
    return writeLocked(undone, sql, nullptr);
}

// write() for a caller holding the execution lock; generatedId as in
// ConnectionCore::executeAlone, left invalid without the shortcut.
bool Persistence::writeLocked(bool undone, const QString& sql, QVariant* generatedId)
{
    return undone ? m_connection.executeAlone(sql, generatedId) : m_connection.Execution(sql);
}

bool Persistence::executeList(const QStringList& sqls, bool continueOnError)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.ExecutionList(sqls, continueOnError);
}

bool Persistence::insertBatch(const QStringList& sqls, const QList<FieldPair>& idQueries,
                                  QList<QVariant>& ids, bool continueOnError)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.runBatch(sqls, &idQueries, &ids, continueOnError);
}

RowList Persistence::lockedQuery(const QString& sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.Query(sql);
}

// The session's last id, read without a table: "... FROM <table>" would
// return one row per row of the table, making every insert cost its size.
QString Persistence::lastIdSql(const QString& key) const
{
    return QLatin1String(m_keys.lastIdHead) + key;
}

// The last-id query has no values: prepared once, it is the same statement every time.
Row Persistence::readLastId(const QString& key)
{
    const QString sql = lastIdSql(key);
    if (!m_connection.binds())
        return m_connection.QueryFirst(sql);
    BoundStatement bound;
    bound.shape = sql;
    return m_connection.queryFirstBound(bound, [&] { return sql; });
}

// The key goes into the first property whose name matches Key ignoring case;
// which one that is, is worked out once per class rather than per record.
void Persistence::writeKey(ObjectModel* obj, const QVariant& value)
{
    const QMetaObject* meta = obj->metaObject();
    const int index = PropertyPlan::keyProperty(meta, obj->Key);
    if (index >= 0)
        meta->property(index).write(obj, value);
}

// The key's value in the row an INSERT returned. The server folds the
// RETURNING name (PostgreSQL to lower case), so Key may be spelt otherwise.
QVariant Persistence::returnedKey(const Row& row, const QString& key)
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

// Where the server stores a row of defaults for an INSERT that names no
// column, a record none of whose properties names a column of its table
// would be stored as that row and reported a success. (A table with no known
// columns is left to the server, which refuses it with its own reason.)
bool Persistence::rejectUnmapped(const ObjectModel* obj, const QStringList& columns, const char* operation) const
{
    if (!m_keys.emptyInsertStoresDefaults || columns.isEmpty()
        || !PropertyPlan::get(obj->metaObject(), columns)->matched.isEmpty())
        return false;
    return reject(operation, QStringLiteral("no property names a column of ") + obj->TableName);
}

// A generated id of 0 and a one-character text key both count as failure.
bool Persistence::keyAccepted(const QVariant& value)
{
    return value.toInt() > 0 || value.toString().length() > 1;
}

bool Persistence::InitConnect()
{
    return m_connection.InitConnect();
}

bool Persistence::ExecuteSQL(QString sql)
{
    return execute(sql);
}

RowList Persistence::Query(QString sql)
{
    return lockedQuery(sql);
}

RowList Persistence::Query(const QString& sql, QStringList* columns)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.Query(sql, columns);
}

void Persistence::Close()
{
    QMutexLocker locker(&m_executionLock);
    m_connection.Close();
}

Row Persistence::QueryFirst(QString sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.QueryFirst(sql);
}

int Persistence::QueryRow(QString sql)
{
    QMutexLocker locker(&m_executionLock);
    return m_connection.QueryRow(sql);
}

bool Persistence::Insert(ObjectModel* obj, bool generatedKey, QStringList excluded)
{
    if (rejectNull(obj, "Insert"))
        return false;
    m_catalogue.refreshTables();
    const QStringList columns = m_catalogue.columns(obj->TableName);
    if (rejectUnmapped(obj, columns, "Insert"))
        return false;
    const auto text = [&] {
        return m_dialect.GetInsertSql(obj->TableName, columns, obj, obj->Key, generatedKey, excluded);
    };
    BoundStatement bound;
    const bool binds = m_connection.binds()
        && m_dialect.bindInsert(obj->TableName, columns, obj, obj->Key, generatedKey, excluded, bound);
    QVariant keyValue(0);
    if (m_keys.fromReturningRow) {
        Row row;
        {
            QMutexLocker locker(&m_executionLock);
            row = binds ? m_connection.queryFirstBound(bound, text) : m_connection.QueryFirst(text());
        }
        if (row.isEmpty())
            return false;
        keyValue = returnedKey(row, obj->Key);
        writeKey(obj, keyValue);
        return keyAccepted(keyValue);
    }
    const Catalogue::TableFacts facts = binds ? Catalogue::TableFacts() : m_catalogue.tableFacts(obj->TableName);
    // With the generated column left out, the INSERT generated the key, and the
    // id the client read from the reply is the session's last id.
    const bool generatedInReply = generatedKey && !facts.generatedColumn.isEmpty()
        && facts.generatedColumn.toLower() == obj->Key.toLower();
    {
        QMutexLocker locker(&m_executionLock);
        QVariant generated;
        const bool ok = binds ? m_connection.executeBound(bound, text)
                              : writeLocked(facts.transactional, text(), generatedInReply ? &generated : nullptr);
        if (!ok)
            return false;
        if (generatedKey) {
            if (generated.isValid() && generated.toULongLong() != 0) {
                keyValue = generated;
            } else {
                const Row row = readLastId(obj->Key);
                if (row.isEmpty())
                    return false;
                keyValue = row.value(obj->Key);
            }
            writeKey(obj, keyValue);
        }
    }
    if (!generatedKey)
        keyValue = obj->property(obj->Key.toUtf8().constData());
    return keyAccepted(keyValue);
}

bool Persistence::Insert(QString tableName, QList<FieldPair> fields, QString key, bool generatedKey)
{
    m_catalogue.refreshTables();
    const QString sql = m_dialect.GetInsertSql(tableName, m_catalogue.columns(tableName), fields, key, generatedKey);
    QMutexLocker locker(&m_executionLock);
    if (m_keys.fromReturningRow) {
        const Row row = m_connection.QueryFirst(sql);
        return !row.isEmpty() && keyAccepted(returnedKey(row, key));
    }
    if (!m_connection.Insert(sql))
        return false;
    if (!m_keys.fieldInsertReadsKey)
        return true;
    const Row row = readLastId(key);
    return keyAccepted(QVariant(row.value(key).toInt()));
}

bool Persistence::InsertList(QList<ObjectModel*> list, bool generatedKey, bool continueOnError)
{
    if (list.isEmpty() || rejectNull(list, "InsertList"))
        return false;
    m_catalogue.refreshTables();
    BatchColumns columns(m_catalogue);
    // One unmapped record refuses the whole batch before anything runs.
    for (ObjectModel* obj : qAsConst(list)) {
        if (rejectUnmapped(obj, columns.of(obj->TableName), "InsertList"))
            return false;
    }
    const auto texts = [&] {
        QStringList sqls;
        sqls.reserve(list.size());
        for (ObjectModel* obj : qAsConst(list))
            sqls.append(m_dialect.GetInsertSql(obj->TableName, columns.of(obj->TableName), obj, obj->Key,
                                               generatedKey, QStringList()));
        return sqls;
    };
    const bool readsKeys = generatedKey && !m_keys.fromReturningRow;
    // A failed fast run is rolled back and the list run again as text, which
    // would store twice what an engine without transactions kept.
    const auto transactional = [&] {
        QString checked;
        for (ObjectModel* obj : qAsConst(list)) {
            if (obj->TableName != checked && !m_catalogue.tableFacts(obj->TableName).transactional)
                return false;
            checked = obj->TableName;
        }
        return true;
    };
    QVector<BoundStatement> rows;
    if (!readsKeys && (m_connection.binds() || m_connection.joinsRows()) && transactional()) {
        rows.resize(list.size());
        for (int i = 0; i < list.size() && !rows.isEmpty(); ++i) {
            ObjectModel* obj = list.at(i);
            if (!m_dialect.bindInsert(obj->TableName, columns.of(obj->TableName), obj, obj->Key, generatedKey,
                                      QStringList(), rows[i]))
                rows.clear();
        }
    }
    QList<QVariant> ids;
    bool result;
    if (!rows.isEmpty()) {
        QMutexLocker locker(&m_executionLock);
        result = m_connection.insertRows(rows, texts, m_keys.fromReturningRow ? nullptr : &ids, continueOnError);
    } else if (m_keys.fromReturningRow) {
        return executeList(texts(), continueOnError);
    } else {
        QList<FieldPair> idQueries;
        if (generatedKey) {
            for (ObjectModel* obj : qAsConst(list))
                idQueries.append(FieldPair(obj->Key, lastIdSql(obj->Key)));
        }
        result = insertBatch(texts(), idQueries, ids, continueOnError);
    }
    // Positional: the i-th id belongs to the i-th record.
    for (int i = 0; i < list.size() && i < ids.size(); ++i)
        writeKey(list.at(i), ids.at(i));
    return result;
}

bool Persistence::InsertList(QString tableName, QList<QList<FieldPair>> rows, QString key,
                                 bool generatedKey, bool continueOnError)
{
    if (rows.isEmpty())
        return false;
    m_catalogue.refreshTables();
    const QStringList columns = m_catalogue.columns(tableName);
    QStringList sqls;
    sqls.reserve(rows.size());
    for (const QList<FieldPair>& row : qAsConst(rows))
        sqls.append(m_dialect.GetInsertSql(tableName, columns, row, key, generatedKey));
    if (m_keys.fromReturningRow)
        return executeList(sqls, continueOnError);
    QList<QVariant> ids;
    return insertBatch(sqls, QList<FieldPair>(), ids, continueOnError);
}

bool Persistence::Update(ObjectModel* obj)
{
    if (rejectNull(obj, "Update") || rejectNoKey(obj->Key, "Update"))
        return false;
    m_catalogue.refreshTables();
    const QStringList columns = m_catalogue.columns(obj->TableName);
    const auto text = [&] { return m_dialect.GetUpdateSql(obj->TableName, columns, obj, obj->Key); };
    BoundStatement bound;
    if (m_connection.binds() && m_dialect.bindUpdate(obj->TableName, columns, obj, obj->Key, bound)) {
        QMutexLocker locker(&m_executionLock);
        return m_connection.executeBound(bound, text);
    }
    return write(obj->TableName, text());
}

bool Persistence::Update(QString tableName, QString key, QList<FieldPair> fields)
{
    if (rejectNoKey(key, "Update"))
        return false;
    m_catalogue.refreshTables();
    return write(tableName, m_dialect.GetUpdateSql(tableName, key, m_catalogue.columns(tableName), fields));
}

bool Persistence::UpdateByKey(ObjectModel* obj, QString keyName)
{
    if (rejectNull(obj, "UpdateByKey"))
        return false;
    m_catalogue.refreshTables();
    // The WHERE names the column that keyName matches, which is empty when it matches none.
    const QStringList columns = m_catalogue.columns(obj->TableName);
    if (rejectNoKey(PropertyPlan::containsColumn(columns, keyName), "UpdateByKey"))
        return false;
    return write(obj->TableName, m_dialect.GetUpdateSqlByKey(obj->TableName, keyName, columns, obj));
}

bool Persistence::UpdateList(QList<ObjectModel*> list, bool continueOnError)
{
    if (list.isEmpty() || rejectNull(list, "UpdateList") || rejectNoKey(list, "UpdateList"))
        return false;
    m_catalogue.refreshTables();
    BatchColumns columns(m_catalogue);
    const auto texts = [&] {
        QStringList sqls;
        sqls.reserve(list.size());
        for (ObjectModel* obj : qAsConst(list))
            sqls.append(m_dialect.GetUpdateSql(obj->TableName, columns.of(obj->TableName), obj, obj->Key));
        return sqls;
    };
    QVector<BoundStatement> bound;
    if (m_connection.binds()) {
        bound.resize(list.size());
        for (int i = 0; i < list.size() && !bound.isEmpty(); ++i) {
            ObjectModel* obj = list.at(i);
            if (!m_dialect.bindUpdate(obj->TableName, columns.of(obj->TableName), obj, obj->Key, bound[i]))
                bound.clear();
        }
    }
    if (bound.isEmpty())
        return executeList(texts(), continueOnError);
    QMutexLocker locker(&m_executionLock);
    return m_connection.executeBoundList(bound, texts, continueOnError);
}

bool Persistence::Delete(QString tableName, QString key, QList<FieldPair> fields)
{
    if (rejectNoKey(key, "Delete"))
        return false;
    m_catalogue.refreshTables();
    return write(tableName, m_dialect.GetDeleteSql(tableName, key, fields));
}

bool Persistence::Delete(QString column, QVariant value, QString tableName)
{
    if (rejectNoKey(column, "Delete"))
        return false;
    m_catalogue.refreshTables();
    return write(tableName, m_dialect.GetDeleteSql(tableName, column, value));
}

bool Persistence::Delete(QString column, QVariant value, ObjectModel* obj)
{
    if (rejectNull(obj, "Delete") || rejectNoKey(column, "Delete"))
        return false;
    m_catalogue.refreshTables();
    return write(obj->TableName, m_dialect.GetDeleteSql(obj->TableName, column, value));
}

bool Persistence::DeleteAll(QString tableName)
{
    m_catalogue.refreshTables();
    return write(tableName, m_dialect.GetDeleteAllSql(tableName));
}

bool Persistence::DeleteList(QList<ObjectModel*> list, bool continueOnError)
{
    if (list.isEmpty() || rejectNull(list, "DeleteList") || rejectNoKey(list, "DeleteList"))
        return false;
    m_catalogue.refreshTables();
    QStringList sqls;
    sqls.reserve(list.size());
    for (ObjectModel* obj : qAsConst(list))
        sqls.append(m_dialect.GetDeleteSql(obj->TableName, obj->Key, obj->property(obj->Key.toUtf8().constData())));
    return executeList(sqls, m_keys.listsContinueOnError && continueOnError);
}

bool Persistence::DeleteList(QString column, QList<QVariant> values, QString tableName,
                                 bool continueOnError)
{
    if (rejectNoKey(column, "DeleteList"))
        return false;
    m_catalogue.refreshTables();
    QStringList sqls;
    sqls.reserve(values.size());
    for (const QVariant& value : qAsConst(values))
        sqls.append(m_dialect.GetDeleteSql(tableName, column, value));
    return executeList(sqls, m_keys.listsContinueOnError && continueOnError);
}

bool Persistence::DeleteList(QStringList sqls, bool continueOnError)
{
    if (sqls.isEmpty())
        return false;
    return executeList(sqls, m_keys.listsContinueOnError && continueOnError);
}

RowList Persistence::Query(int offset, int count, ObjectModel* obj)
{
    if (rejectNull(obj, "Query"))
        return RowList();
    m_catalogue.refreshTables();
    return lockedQuery(m_dialect.GetQueryIndexSql(obj->TableName, offset, count));
}

RowList Persistence::Query(ObjectModel* obj)
{
    if (rejectNull(obj, "Query"))
        return RowList();
    m_catalogue.refreshTables();
    return lockedQuery(m_dialect.GetQuerySql(obj->TableName));
}

int Persistence::QueryRow(ObjectModel* obj)
{
    if (rejectNull(obj, "QueryRow"))
        return 0;
    m_catalogue.refreshTables();
    QMutexLocker locker(&m_executionLock);
    return m_connection.QueryRow(m_dialect.GetQueryRowSql(obj->TableName));
}

} // namespace Tessark
