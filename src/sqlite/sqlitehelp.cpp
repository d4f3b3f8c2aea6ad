#include "sqlite/sqlitehelp.h"

#include "core/rules.h"

SQLiteHelp::SQLiteHelp() : ConnectionCore(Tessark::sqliteRules) {}

void SQLiteHelp::InitInfo(QString path, QString connectTag)
{
    describe(ConnInfoModel(DbType(Tessark::Kind::SQLite), path, connectTag));
}
