#ifndef TESSARK_CORE_PERSISTENCECORE_H
#define TESSARK_CORE_PERSISTENCECORE_H

#include "core/dialectcore.h"

namespace Tessark {

class ServerConnection;

// Record persistence written once: refresh the table names, fetch the columns,
// ask the dialect, run under the execution lock, read generated keys back.
// The operations are protected; each backend's persistence class makes public
// the ones it offers.
class BRELVANSHARED_EXPORT PersistenceCore : public DialectCore
{
    Q_OBJECT
protected:
    PersistenceCore(const DialectTraits& traits, ConnectionCore& connection)
        : DialectCore(traits, connection) {}

    // The server backends' set-up; it configures the server connection this object holds.
    void InitInfo(QString host, int port, QString userName, QString password, QString databaseName,
                  QString connectTag);

    bool InitConnect();
    bool ExecuteSQL(QString sql);
    RowList Query(QString sql);
    Row QueryFirst(QString sql);
    int QueryRow(QString sql);

    QStringList GetTableNames();
    QString GetTableReal(QString name);
    QStringList GetColumnNames(QString tableName);
    void CleanTable();
    void CleanColumn();

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

    // Columns read under the execution lock, as the generators need them.
    RowList lockedQuery(const QString& sql);

private:
    class BatchColumns;

    bool execute(const QString& sql);
    bool executeList(const QStringList& sqls, bool continueOnError);
    bool insertBatch(const QStringList& sqls, const QList<FieldPair>& idQueries, QList<QVariant>& ids,
                     bool continueOnError);
    QString lastIdSql(const QString& key) const;
    bool rejectNull(const ObjectModel* obj, const char* operation) const;
    bool rejectNull(const QList<ObjectModel*>& list, const char* operation) const;
    bool rejectNoKey(const QString& key, const char* operation) const;
    bool rejectNoKey(const QList<ObjectModel*>& list, const char* operation) const;
    bool rejectUnmapped(const ObjectModel* obj, const QStringList& columns, const char* operation) const;
    static QVariant returnedKey(const Row& row, const QString& key);
    static void writeKey(ObjectModel* obj, const QVariant& value);
    static bool keyAccepted(const QVariant& value);
};

} // namespace Tessark

// The record operations every backend's persistence class offers unchanged.
#define TESSARK_PERSISTENCE_OPERATIONS                                                           \
    using PersistenceCore::InitConnect;                                                          \
    using PersistenceCore::ExecuteSQL;                                                           \
    using PersistenceCore::Query;                                                                \
    using PersistenceCore::QueryFirst;                                                           \
    using PersistenceCore::QueryRow;                                                             \
    using PersistenceCore::GetTableNames;                                                        \
    using PersistenceCore::GetTableReal;                                                         \
    using PersistenceCore::GetColumnNames;                                                       \
    using PersistenceCore::CleanTable;                                                           \
    using PersistenceCore::CleanColumn;                                                          \
    using PersistenceCore::Insert;                                                               \
    using PersistenceCore::InsertList;                                                           \
    using PersistenceCore::Update;                                                               \
    using PersistenceCore::UpdateList;                                                           \
    using PersistenceCore::DeleteAll;                                                            \
    using PersistenceCore::DeleteList;

// ... plus those of the server backends.
#define TESSARK_SERVER_PERSISTENCE_OPERATIONS                                                    \
    TESSARK_PERSISTENCE_OPERATIONS                                                               \
    using PersistenceCore::InitInfo;

#endif // TESSARK_CORE_PERSISTENCECORE_H
