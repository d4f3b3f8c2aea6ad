#include "sqlite/sqlitequery.h"

#include <QMutexLocker>

#include "schema/modelgenerator.h"
#include "schema/sqlitecreator.h"

SQLiteQuery::SQLiteQuery() = default;

SQLiteQuery::~SQLiteQuery() = default;

void SQLiteQuery::InitInfo(QString path, QString connectTag)
{
    QMutexLocker locker(&m_executionLock);
    m_help.InitInfo(path, connectTag);
}

bool SQLiteQuery::CreateDatabase(CreateDatabaseModel model)
{
    return Tessark::createSqliteDatabase(model);
}

bool SQLiteQuery::CreateModel(QString tableName, QString keyName, QString folder, QString className,
                              bool withStream)
{
    return Tessark::createModel(lockedQuery(GetColumnSql(tableName)), folder,
                                {tableName, keyName, className, withStream}, Tessark::sqliteModelTraits,
                                [this](const RowList& rows) { return Convert(rows); });
}

QList<ColumnInfoSQLiteModel*> SQLiteQuery::Convert(RowList rows)
{
    return Tessark::recordsFromRows<ColumnInfoSQLiteModel>(rows);
}

QString SQLiteQuery::GetColumnType(QString declaredType)
{
    return Tessark::columnType(Tessark::sqliteModelTraits, declaredType);
}
