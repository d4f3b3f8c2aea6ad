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

// What every database's dialect and persistence classes offer, written once:
// each forwards to one backend made from that database's rules. The record
// operations are protected; each persistence class makes public the ones it
// offers.
class BRELVANSHARED_EXPORT BackendObject : public QObject
{
    Q_OBJECT
public:
    ~BackendObject() override;

    void Close();
    QString GetSign() const;
    void GetTable();
    QStringList GetColumn(QString tableName);

    QString GetInsertSql(QString tableName, QStringList columns, ObjectModel* obj, QString key,
                         bool generatedKey, QStringList excluded);
    QString GetInsertSql(QString tableName, QStringList columns, QList<FieldPair> fields, QString key,
                         bool generatedKey);
    QString GetUpdateSql(QString tableName, QStringList columns, ObjectModel* obj, QString key);
    QString GetUpdateSql(QString tableName, QString key, QStringList columns, QList<FieldPair> fields);
    QString GetUpdateSqlByKey(QString tableName, QString key, QStringList columns, ObjectModel* obj);
    QString GetDeleteSql(QString tableName, QString key, QVariant value);
    QString GetDeleteSql(QString tableName, QString key, QList<FieldPair> fields);
    QString GetDeleteAllSql(QString tableName);
    QString GetQuerySql(QString tableName);
    QString GetQueryIndexSql(QString tableName, int offset, int count);
    QString GetQueryRowSql(QString tableName);

    // What the last failed call logged, in memory.
    LastError lastError() const;

protected:
    explicit BackendObject(const BackendRules& rules);

    // The server backends' set-up.
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

    Backend& backend() const { return *m_backend; }
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
