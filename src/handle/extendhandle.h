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

// The one object an application needs: forwards every call to the backend of
// the configured database kind (0 PostgreSQL, 1 Oracle, 2 SQLite, 3 MySQL).
// Any other kind returns false, 0 or an empty result.
class BRELVANSHARED_EXPORT ExtendHandle : public QObject
{
    Q_OBJECT
public:
    explicit ExtendHandle(QObject* parent = nullptr);
    ~ExtendHandle() override;

    void InitInfo(ConnInfoModel info);
    void InitInfo(short type, QString host, int port, QString userName, QString password,
                  QString databaseName, QString connectTag);
    bool InitConnect();
    short GetType();

    bool ExecuteSQL(QString sql);
    RowList Query(QString sql);
    RowList Query(ObjectModel* model);
    RowList Query(int offset, int count, ObjectModel* model);
    Row QueryFirst(QString sql);
    int QueryRow(QString sql);

    bool Insert(ObjectModel* model, bool generatedKey);
    bool Insert(QString table, QList<FieldPair> values, QString key, bool generatedKey);
    bool InsertList(QList<ObjectModel*> models, bool generatedKey, bool continueOnError);
    bool Update(ObjectModel* model);
    bool Update(QString table, QString key, QList<FieldPair> values);
    bool UpdateList(QList<ObjectModel*> models, bool continueOnError);
    bool Delete(QString column, QVariant value, QString table);
    bool Delete(QString column, QVariant value, ObjectModel* model);
    bool DeleteAll(QString table);
    bool DeleteList(QList<ObjectModel*> models, bool continueOnError);
    bool DeleteList(QString column, QList<QVariant> values, QString table, bool continueOnError);
    bool DeleteList(QStringList sqls, bool continueOnError);

    QStringList GetTableNames();
    QStringList GetColumnNames(QString tableName);
    QString GetTableName(QString name);
    QString GetModelTableName(QString name);
    void CleanTable();
    void CleanColumn();
    void Close();

    // What the last failed call logged, in memory; empty before any failure.
    Tessark::LastError lastError() const;

private:
    class Private;
    template <class R, class F>
    R call(F&& f);

    const std::unique_ptr<Private> d;
};

#endif // TESSARK_HANDLE_EXTENDHANDLE_H
