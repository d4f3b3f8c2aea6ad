#include "sqlite/sqlitequery.h"

#include "core/backend.h"
#include "core/rules.h"
#include "schema/modelgenerator.h"
#include "schema/sqlitecreator.h"

SQLiteModel::SQLiteModel() : BackendObject(Tessark::sqliteRules) {}

SQLiteModel::~SQLiteModel() = default;

QString SQLiteModel::GetColumnSql(QString tableName)
{
    return backend().catalogue().columnSql(tableName);
}

SQLiteQuery::SQLiteQuery() = default;

SQLiteQuery::~SQLiteQuery() = default;

void SQLiteQuery::InitInfo(QString path, QString connectTag)
{
    backend().initInfo(ConnInfoModel(DbType(Tessark::Kind::SQLite), path, connectTag));
}

bool SQLiteQuery::CreateDatabase(CreateDatabaseModel model)
{
    return Tessark::createSqliteDatabase(model);
}

bool SQLiteQuery::CreateModel(QString tableName, QString keyName, QString folder, QString className,
                              bool withStream)
{
    return Tessark::createModel(backend(), folder, {tableName, keyName, className, withStream});
}
