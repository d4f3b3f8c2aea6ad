#ifndef TESSARK_HANDLE_EXTENDHANDLE_H
#define TESSARK_HANDLE_EXTENDHANDLE_H

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

/// The one object an application needs: forwards every call to the backend of
/// the configured database kind (0 PostgreSQL, 1 Oracle, 2 SQLite, 3 MySQL).
/// Any other kind returns false, 0 or an empty result.
class BRELVANSHARED_EXPORT ExtendHandle : public QObject
{
    Q_OBJECT
public:
    /// A handle that reaches no database until InitInfo().
    explicit ExtendHandle(QObject* parent = nullptr);
    ~ExtendHandle() override;

    /// Chooses the database kind and says where it is.
    void InitInfo(ConnInfoModel info);
    /// The same, field by field.
    void InitInfo(short type, QString host, int port, QString userName, QString password,
                  QString databaseName, QString connectTag);
    /// Opens the connection; false and a log entry on failure.
    bool InitConnect();
    /// The database kind InitInfo() chose.
    short GetType();

    /// Runs a statement that returns no rows, in a transaction of its own.
    bool ExecuteSQL(QString sql);
    /// The rows of a query; empty on failure.
    RowList Query(QString sql);
    /// Every row of the record's table.
    RowList Query(ObjectModel* model);
    /// count rows of the record's table from offset.
    RowList Query(int offset, int count, ObjectModel* model);
    /// The first row of a query; empty when none or on failure.
    Row QueryFirst(QString sql);
    /// The first column of the first row as a number (a count); 0 on failure.
    int QueryRow(QString sql);

    /// Stores a record; with generatedKey the database makes the key, read back into model.
    bool Insert(ObjectModel* model, bool generatedKey);
    /// Stores a row of column/value pairs.
    bool Insert(QString table, QList<FieldPair> values, QString key, bool generatedKey);
    /// Stores records in one transaction.
    bool InsertList(QList<ObjectModel*> models, bool generatedKey, bool continueOnError);
    /// Writes a record back, by its key.
    bool Update(ObjectModel* model);
    /// Updates the row whose key is among values.
    bool Update(QString table, QString key, QList<FieldPair> values);
    /// Writes records back in one transaction.
    bool UpdateList(QList<ObjectModel*> models, bool continueOnError);
    /// Deletes the rows whose column holds value.
    bool Delete(QString column, QVariant value, QString table);
    /// The same in the record's table.
    bool Delete(QString column, QVariant value, ObjectModel* model);
    /// Deletes every row of a table.
    bool DeleteAll(QString table);
    /// Deletes records by key in one transaction.
    bool DeleteList(QList<ObjectModel*> models, bool continueOnError);
    /// Deletes the rows whose column holds one of values, in one transaction.
    bool DeleteList(QString column, QList<QVariant> values, QString table, bool continueOnError);
    /// Runs DELETE statements in one transaction.
    bool DeleteList(QStringList sqls, bool continueOnError);

    /// Table names, cached.
    QStringList GetTableNames();
    /// Column names of a table, cached.
    QStringList GetColumnNames(QString tableName);
    /// The table's name as the database spells it.
    QString GetTableName(QString name);
    /// The class name the record-class generator gives a table.
    QString GetModelTableName(QString name);
    /// Forgets the cached table names.
    void CleanTable();
    /// Forgets the cached column names.
    void CleanColumn();
    /// Closes and removes the handle's connections in every thread.
    void Close();

    /// What the last failed call logged, in memory; empty before any failure.
    Tessark::LastError lastError() const;

private:
    class Private;
    template <class R, class F>
    R call(F&& f);

    const std::unique_ptr<Private> d;
};

#endif // TESSARK_HANDLE_EXTENDHANDLE_H
