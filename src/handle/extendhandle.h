#ifndef TESSARK_HANDLE_EXTENDHANDLE_H
#define TESSARK_HANDLE_EXTENDHANDLE_H

#include <QObject>

#include <utility>

#include "Model/conninfomodel.h"
#include "mysql/mysqlquery.h"
#include "oracle/oraclequery.h"
#include "postgresql/postgresqlquery.h"
#include "sqlite/sqlitequery.h"

// The one object an application needs: forwards every call to the persistence
// object of the configured database kind (0 PostgreSQL, 1 Oracle, 2 SQLite,
// 3 MySQL). Any other kind returns false, 0 or an empty result.
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
    RowList Query(int a, int b, ObjectModel* model);
    Row QueryFirst(QString sql);
    int QueryRow(QString sql);

    bool Insert(ObjectModel* model, bool b);
    bool Insert(QString table, QList<FieldPair> values, QString s, bool b);
    bool InsertList(QList<ObjectModel*> models, bool b1, bool b2);
    bool Update(ObjectModel* model);
    bool Update(QString table, QString s, QList<FieldPair> values);
    bool UpdateList(QList<ObjectModel*> models, bool b);
    bool Delete(QString table, QVariant key, QString s);
    bool Delete(QString table, QVariant key, ObjectModel* model);
    bool DeleteAll(QString table);
    bool DeleteList(QList<ObjectModel*> models, bool b);
    bool DeleteList(QString table, QList<QVariant> keys, QString s, bool b);
    bool DeleteList(QStringList sqls, bool b);

    QStringList GetTableNames();
    QStringList GetColumnNames(QString table);
    QString GetTableName(QString name);
    QString GetModelTableName(QString name);
    void CleanTable();
    void CleanColumn();
    void Close();

private:
    // The one place that switches on the kind.
    template <class F>
    auto forKind(F&& call) -> decltype(call(std::declval<SQLiteQuery&>()));

    PostgreSQLQuery m_postgres;
    OracleQuery m_oracle;
    SQLiteQuery m_sqlite;
    MySqlQuery m_mysql;
    DbType m_type = 0;
};

#endif // TESSARK_HANDLE_EXTENDHANDLE_H
