#include "postgresql/postgresqlquery.h"

#include "schema/modelgenerator.h"

PostgreSQLQuery::PostgreSQLQuery() = default;

PostgreSQLQuery::~PostgreSQLQuery() = default;

bool PostgreSQLQuery::CreateModel(QString tableName, QString keyName, QString folder, QString className,
                                  bool withStream)
{
    return Tessark::createModel(lockedQuery(GetColumnInfoSql(tableName)), folder,
                                {tableName, keyName, className, withStream}, Tessark::postgresqlModelTraits,
                                [this](const RowList& rows) { return Convert(rows); });
}

QList<ColumnInfoPostgreSQLModel*> PostgreSQLQuery::GetColumnInfo(QString tableName)
{
    return Convert(lockedQuery(GetColumnInfoSql(tableName)));
}

QList<ColumnInfoPostgreSQLModel*> PostgreSQLQuery::Convert(RowList rows)
{
    return Tessark::recordsFromRows<ColumnInfoPostgreSQLModel>(rows);
}

QString PostgreSQLQuery::GetColumnType(QString declaredType)
{
    return Tessark::columnType(Tessark::postgresqlModelTraits, declaredType);
}
