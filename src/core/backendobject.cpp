#include "core/backendobject.h"

#include "core/backend.h"
#include "core/connectioncore.h"

namespace Tessark {

BackendObject::BackendObject(const BackendRules& rules) : m_backend(std::make_unique<Backend>(rules)) {}

BackendObject::~BackendObject() = default;

void BackendObject::InitInfo(QString host, int port, QString userName, QString password, QString databaseName,
                             QString connectTag)
{
    m_backend->initInfo(ConnInfoModel(0, host, port, userName, password, databaseName, connectTag));
}

void BackendObject::Close()
{
    m_backend->persistence().Close();
}

QString BackendObject::GetSign() const
{
    return m_backend->connection().GetSign();
}

void BackendObject::GetTable()
{
    m_backend->catalogue().refreshTables();
}

QStringList BackendObject::GetColumn(QString tableName)
{
    return m_backend->catalogue().columns(tableName);
}

QStringList BackendObject::GetTableNames()
{
    return m_backend->catalogue().tableNames();
}

QString BackendObject::GetTableReal(QString name)
{
    return m_backend->catalogue().realTableName(name);
}

QStringList BackendObject::GetColumnNames(QString tableName)
{
    return m_backend->catalogue().columns(tableName);
}

void BackendObject::CleanTable()
{
    m_backend->catalogue().cleanTables();
}

void BackendObject::CleanColumn()
{
    m_backend->catalogue().cleanColumns();
}

LastError BackendObject::lastError() const
{
    return m_backend->connection().lastError();
}

QString BackendObject::quoted(const QString& value) const
{
    return m_backend->dialect().quoted(value);
}

QString BackendObject::GetInsertSql(QString tableName, QStringList columns, ObjectModel* obj, QString key, bool generatedKey, QStringList excluded)
{
    return m_backend->dialect().GetInsertSql(tableName, columns, obj, key, generatedKey, excluded);
}

QString BackendObject::GetInsertSql(QString tableName, QStringList columns, QList<FieldPair> fields, QString key, bool generatedKey)
{
    return m_backend->dialect().GetInsertSql(tableName, columns, fields, key, generatedKey);
}

QString BackendObject::GetUpdateSql(QString tableName, QStringList columns, ObjectModel* obj, QString key)
{
    return m_backend->dialect().GetUpdateSql(tableName, columns, obj, key);
}

QString BackendObject::GetUpdateSql(QString tableName, QString key, QStringList columns, QList<FieldPair> fields)
{
    return m_backend->dialect().GetUpdateSql(tableName, key, columns, fields);
}

QString BackendObject::GetUpdateSqlByKey(QString tableName, QString key, QStringList columns, ObjectModel* obj)
{
    return m_backend->dialect().GetUpdateSqlByKey(tableName, key, columns, obj);
}

QString BackendObject::GetDeleteSql(QString tableName, QString key, QVariant value)
{
    return m_backend->dialect().GetDeleteSql(tableName, key, value);
}

QString BackendObject::GetDeleteSql(QString tableName, QString key, QList<FieldPair> fields)
{
    return m_backend->dialect().GetDeleteSql(tableName, key, fields);
}

QString BackendObject::GetDeleteAllSql(QString tableName)
{
    return m_backend->dialect().GetDeleteAllSql(tableName);
}

QString BackendObject::GetQuerySql(QString tableName)
{
    return m_backend->dialect().GetQuerySql(tableName);
}

QString BackendObject::GetQueryIndexSql(QString tableName, int offset, int count)
{
    return m_backend->dialect().GetQueryIndexSql(tableName, offset, count);
}

QString BackendObject::GetQueryRowSql(QString tableName)
{
    return m_backend->dialect().GetQueryRowSql(tableName);
}

bool BackendObject::InitConnect()
{
    return m_backend->persistence().InitConnect();
}

bool BackendObject::ExecuteSQL(QString sql)
{
    return m_backend->persistence().ExecuteSQL(sql);
}

RowList BackendObject::Query(QString sql)
{
    return m_backend->persistence().Query(sql);
}

Row BackendObject::QueryFirst(QString sql)
{
    return m_backend->persistence().QueryFirst(sql);
}

int BackendObject::QueryRow(QString sql)
{
    return m_backend->persistence().QueryRow(sql);
}

bool BackendObject::Insert(ObjectModel* obj, bool generatedKey, QStringList excluded)
{
    return m_backend->persistence().Insert(obj, generatedKey, excluded);
}

bool BackendObject::Insert(QString tableName, QList<FieldPair> fields, QString key, bool generatedKey)
{
    return m_backend->persistence().Insert(tableName, fields, key, generatedKey);
}

bool BackendObject::InsertList(QList<ObjectModel*> list, bool generatedKey, bool continueOnError)
{
    return m_backend->persistence().InsertList(list, generatedKey, continueOnError);
}

bool BackendObject::InsertList(QString tableName, QList<QList<FieldPair>> rows, QString key, bool generatedKey, bool continueOnError)
{
    return m_backend->persistence().InsertList(tableName, rows, key, generatedKey, continueOnError);
}

bool BackendObject::Update(ObjectModel* obj)
{
    return m_backend->persistence().Update(obj);
}

bool BackendObject::Update(QString tableName, QString key, QList<FieldPair> fields)
{
    return m_backend->persistence().Update(tableName, key, fields);
}

bool BackendObject::UpdateByKey(ObjectModel* obj, QString keyName)
{
    return m_backend->persistence().UpdateByKey(obj, keyName);
}

bool BackendObject::UpdateList(QList<ObjectModel*> list, bool continueOnError)
{
    return m_backend->persistence().UpdateList(list, continueOnError);
}

bool BackendObject::Delete(QString tableName, QString key, QList<FieldPair> fields)
{
    return m_backend->persistence().Delete(tableName, key, fields);
}

bool BackendObject::Delete(QString column, QVariant value, QString tableName)
{
    return m_backend->persistence().Delete(column, value, tableName);
}

bool BackendObject::Delete(QString column, QVariant value, ObjectModel* obj)
{
    return m_backend->persistence().Delete(column, value, obj);
}

bool BackendObject::DeleteAll(QString tableName)
{
    return m_backend->persistence().DeleteAll(tableName);
}

bool BackendObject::DeleteList(QList<ObjectModel*> list, bool continueOnError)
{
    return m_backend->persistence().DeleteList(list, continueOnError);
}

bool BackendObject::DeleteList(QString column, QList<QVariant> values, QString tableName, bool continueOnError)
{
    return m_backend->persistence().DeleteList(column, values, tableName, continueOnError);
}

bool BackendObject::DeleteList(QStringList sqls, bool continueOnError)
{
    return m_backend->persistence().DeleteList(sqls, continueOnError);
}

RowList BackendObject::Query(int offset, int count, ObjectModel* obj)
{
    return m_backend->persistence().Query(offset, count, obj);
}

RowList BackendObject::Query(ObjectModel* obj)
{
    return m_backend->persistence().Query(obj);
}

int BackendObject::QueryRow(ObjectModel* obj)
{
    return m_backend->persistence().QueryRow(obj);
}

} // namespace Tessark
