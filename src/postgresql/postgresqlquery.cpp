#include "postgresql/postgresqlquery.h"

#include "core/backend.h"
#include "core/rules.h"
#include "schema/modelgenerator.h"

PostgreSQLModel::PostgreSQLModel() : BackendObject(Tessark::postgresqlRules) {}

PostgreSQLModel::~PostgreSQLModel() = default;

QString PostgreSQLModel::GetModelName(QString tableName)
{
    return backend().catalogue().qualifiedName(tableName);
}

QString PostgreSQLModel::GetColumnInfoSql(QString tableName)
{
    return Tessark::postgresqlModelTraits.columnSql(backend().dialect(), tableName);
}

PostgreSQLQuery::PostgreSQLQuery() = default;

PostgreSQLQuery::~PostgreSQLQuery() = default;

bool PostgreSQLQuery::CreateModel(QString tableName, QString keyName, QString folder, QString className,
                                  bool withStream)
{
    return Tessark::createModel(backend(), folder, {tableName, keyName, className, withStream});
}

QList<ColumnInfoPostgreSQLModel*> PostgreSQLQuery::GetColumnInfo(QString tableName)
{
    return Tessark::recordsFromRows<ColumnInfoPostgreSQLModel>(Tessark::generatorColumns(backend(), tableName));
}
