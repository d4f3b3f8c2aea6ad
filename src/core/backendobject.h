#ifndef TESSARK_CORE_BACKENDOBJECT_H
#define TESSARK_CORE_BACKENDOBJECT_H

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

#include "brelvan_global.h"
#include "Model/conninfomodel.h"
#include "Model/types.h"
#include "core/lasterror.h"

class ObjectModel;

namespace Tessark {

class Backend;
struct BackendRules;

/// What every database's dialect and persistence classes offer, written once:
/// each forwards to one backend made from that database's rules. The record
/// operations are protected; each persistence class makes public the ones it
/// offers.
class BRELVANSHARED_EXPORT BackendObject : public QObject
{
    Q_OBJECT
public:
    ~BackendObject() override;

    /// Closes and removes this object's connections in every thread.
    void Close();
    /// The connection's sign: file name, or host|port|user|password digest|database.
    QString GetSign() const;
    /// Reads the table names again into the cache.
    void GetTable();
    /// Column names of a table, cached.
    QStringList GetColumn(QString tableName);

    /// INSERT text for a record; columns are the table's, excluded are left out.
    QString GetInsertSql(QString tableName, QStringList columns, ObjectModel* obj, QString key,
                         bool generatedKey, QStringList excluded);
    /// INSERT text for column/value pairs.
    QString GetInsertSql(QString tableName, QStringList columns, QList<FieldPair> fields, QString key,
                         bool generatedKey);
    /// UPDATE text for a record, by the named key.
    QString GetUpdateSql(QString tableName, QStringList columns, ObjectModel* obj, QString key);
    /// UPDATE text for column/value pairs, by key.
    QString GetUpdateSql(QString tableName, QString key, QStringList columns, QList<FieldPair> fields);
    /// UPDATE text for a record, by another key column.
    QString GetUpdateSqlByKey(QString tableName, QString key, QStringList columns, ObjectModel* obj);
    /// DELETE text for rows whose key column holds value.
    QString GetDeleteSql(QString tableName, QString key, QVariant value);
    /// DELETE text for the row whose key is among fields.
    QString GetDeleteSql(QString tableName, QString key, QList<FieldPair> fields);
    /// DELETE text for every row of a table.
    QString GetDeleteAllSql(QString tableName);
    /// SELECT text for every row of a table.
    QString GetQuerySql(QString tableName);
    /// SELECT text for count rows from offset, in the database's paging syntax.
    QString GetQueryIndexSql(QString tableName, int offset, int count);
    /// SELECT text counting a table's rows.
    QString GetQueryRowSql(QString tableName);

    /// What the last failed call logged, in memory.
    LastError lastError() const;

protected:
    /// A backend for the database the rules describe.
    explicit BackendObject(const BackendRules& rules);

    /// The server backends' set-up.
    void InitInfo(QString host, int port, QString userName, QString password, QString databaseName,
                  QString connectTag);

    /// Opens the connection; false and a log entry on failure.
    bool InitConnect();
    /// Runs a statement that returns no rows, in a transaction of its own.
    bool ExecuteSQL(QString sql);
    /// The rows of a query; empty on failure.
    RowList Query(QString sql);
    /// The first row of a query; empty when none or on failure.
    Row QueryFirst(QString sql);
    /// The first column of the first row as a number (a count); 0 on failure.
    int QueryRow(QString sql);

    /// Table names, cached.
    QStringList GetTableNames();
    /// The table's name as the database spells it.
    QString GetTableReal(QString name);
    /// Column names of a table, cached.
    QStringList GetColumnNames(QString tableName);
    /// Forgets the cached table names.
    void CleanTable();
    /// Forgets the cached column names.
    void CleanColumn();

    /// Stores a record; with generatedKey the database makes the key, read back into obj.
    bool Insert(ObjectModel* obj, bool generatedKey, QStringList excluded);
    /// Stores a row of column/value pairs.
    bool Insert(QString tableName, QList<FieldPair> fields, QString key, bool generatedKey);
    /// Stores records in one transaction.
    bool InsertList(QList<ObjectModel*> list, bool generatedKey, bool continueOnError);
    /// Stores rows of column/value pairs in one transaction.
    bool InsertList(QString tableName, QList<QList<FieldPair>> rows, QString key, bool generatedKey,
                    bool continueOnError);
    /// Writes a record back, by its key.
    bool Update(ObjectModel* obj);
    /// Updates the row whose key is among fields.
    bool Update(QString tableName, QString key, QList<FieldPair> fields);
    /// Writes a record back, by another key column.
    bool UpdateByKey(ObjectModel* obj, QString keyName);
    /// Writes records back in one transaction.
    bool UpdateList(QList<ObjectModel*> list, bool continueOnError);
    /// Deletes the row whose key is among fields.
    bool Delete(QString tableName, QString key, QList<FieldPair> fields);
    /// Deletes the rows whose column holds value.
    bool Delete(QString column, QVariant value, QString tableName);
    /// The same in the record's table.
    bool Delete(QString column, QVariant value, ObjectModel* obj);
    /// Deletes every row of a table.
    bool DeleteAll(QString tableName);
    /// Deletes records by key in one transaction.
    bool DeleteList(QList<ObjectModel*> list, bool continueOnError);
    /// Deletes the rows whose column holds one of values, in one transaction.
    bool DeleteList(QString column, QList<QVariant> values, QString tableName, bool continueOnError);
    /// Runs DELETE statements in one transaction.
    bool DeleteList(QStringList sqls, bool continueOnError);
    /// count rows of the record's table from offset.
    RowList Query(int offset, int count, ObjectModel* obj);
    /// Every row of the record's table.
    RowList Query(ObjectModel* obj);
    /// The number of rows in the record's table.
    int QueryRow(ObjectModel* obj);

    /// The backend every call goes to.
    Backend& backend() const { return *m_backend; }
    /// value as a string literal of the database.
    QString quoted(const QString& value) const;

private:
    const std::unique_ptr<Backend> m_backend;
};

} // namespace Tessark

// The record operations every backend's persistence class offers unchanged.
#define TESSARK_PERSISTENCE_OPERATIONS                                                           \
    using BackendObject::InitConnect;                                                            \
    using BackendObject::ExecuteSQL;                                                             \
    using BackendObject::Query;                                                                  \
    using BackendObject::QueryFirst;                                                             \
    using BackendObject::QueryRow;                                                               \
    using BackendObject::GetTableNames;                                                          \
    using BackendObject::GetTableReal;                                                           \
    using BackendObject::GetColumnNames;                                                         \
    using BackendObject::CleanTable;                                                             \
    using BackendObject::CleanColumn;                                                            \
    using BackendObject::Insert;                                                                 \
    using BackendObject::InsertList;                                                             \
    using BackendObject::Update;                                                                 \
    using BackendObject::UpdateList;                                                             \
    using BackendObject::DeleteAll;                                                              \
    using BackendObject::DeleteList;

// ... plus those of the server backends.
#define TESSARK_SERVER_PERSISTENCE_OPERATIONS                                                    \
    TESSARK_PERSISTENCE_OPERATIONS                                                               \
    using BackendObject::InitInfo;

#endif // TESSARK_CORE_BACKENDOBJECT_H
