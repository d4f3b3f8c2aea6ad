#ifndef TESSARK_CORE_PERSISTENCE_H
#define TESSARK_CORE_PERSISTENCE_H

#include <QList>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QVariant>

#include "brelvan_global.h"
#include "Model/types.h"

class ObjectModel;

namespace Tessark {

class Catalogue;
class ConnectionCore;
class Dialect;
struct KeyRules;

// Record persistence written once: refresh the table names, fetch the
// columns, ask the dialect for the text, run it under the execution lock and
// read generated keys back. Composed of the backend's parts; holds no state.
class BRELVANSHARED_EXPORT Persistence
{
public:
    Persistence(const KeyRules& rules, ConnectionCore& connection, const Dialect& dialect, Catalogue& catalogue,
                QMutex& executionLock);

    bool InitConnect();
    bool ExecuteSQL(QString sql);
    RowList Query(QString sql);
    // The same, also giving the result's column names in their order.
    RowList Query(const QString& sql, QStringList* columns);
    Row QueryFirst(QString sql);
    int QueryRow(QString sql);
    bool Insert(ObjectModel* obj, bool generatedKey, QStringList excluded);
    bool Insert(QString tableName, QList<FieldPair> fields, QString key, bool generatedKey);
    bool InsertList(QList<ObjectModel*> list, bool generatedKey, bool continueOnError);
    bool InsertList(QString tableName, QList<QList<FieldPair>> rows, QString key, bool generatedKey,
                    bool continueOnError);
    bool Update(ObjectModel* obj);
    bool Update(QString tableName, QString key, QList<FieldPair> fields);
    bool UpdateByKey(ObjectModel* obj, QString keyName);
    bool UpdateList(QList<ObjectModel*> list, bool continueOnError);
    bool Delete(QString tableName, QString key, QList<FieldPair> fields);
    bool Delete(QString column, QVariant value, QString tableName);
    bool Delete(QString column, QVariant value, ObjectModel* obj);
    bool DeleteAll(QString tableName);
    bool DeleteList(QList<ObjectModel*> list, bool continueOnError);
    bool DeleteList(QString column, QList<QVariant> values, QString tableName, bool continueOnError);
    bool DeleteList(QStringList sqls, bool continueOnError);
    RowList Query(int offset, int count, ObjectModel* obj);
    RowList Query(ObjectModel* obj);
    int QueryRow(ObjectModel* obj);

    void Close();

private:
    class BatchColumns;

    bool execute(const QString& sql);
    bool write(const QString& tableName, const QString& sql);
    bool writeLocked(bool undone, const QString& sql, QVariant* generatedId);
    bool executeList(const QStringList& sqls, bool continueOnError);
    bool insertBatch(const QStringList& sqls, const QList<FieldPair>& idQueries, QList<QVariant>& ids,
                     bool continueOnError);
    RowList lockedQuery(const QString& sql);
    QString lastIdSql(const QString& key) const;
    Row readLastId(const QString& key);
    bool reject(const char* operation, const QString& reason) const;
    bool rejectNull(const ObjectModel* obj, const char* operation) const;
    bool rejectNull(const QList<ObjectModel*>& list, const char* operation) const;
    bool rejectNoKey(const QString& key, const char* operation) const;
    bool rejectNoKey(const QList<ObjectModel*>& list, const char* operation) const;
    bool rejectUnmapped(const ObjectModel* obj, const QStringList& columns, const char* operation) const;
    static QVariant returnedKey(const Row& row, const QString& key);
    static void writeKey(ObjectModel* obj, const QVariant& value);
    static bool keyAccepted(const QVariant& value);

    const KeyRules& m_keys;
    ConnectionCore& m_connection;
    const Dialect& m_dialect;
    Catalogue& m_catalogue;
    QMutex& m_executionLock;
};

} // namespace Tessark

#endif // TESSARK_CORE_PERSISTENCE_H
