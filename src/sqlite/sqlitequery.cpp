#include "sqlite/sqlitequery.h"

#include <QMutexLocker>

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
