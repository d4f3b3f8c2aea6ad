#ifndef TESSARK_SCHEMA_SQLITECREATOR_H
#define TESSARK_SCHEMA_SQLITECREATOR_H

#include <QString>

#include "Model/createdatabasemodel.h"
#include "brelvan_global.h"

namespace Tessark {

// The statement text for one table and its index (empty when no column is indexed).
BRELVANSHARED_EXPORT QString createTableSql(const TableInfoModel& table);
BRELVANSHARED_EXPORT QString createIndexSql(const TableInfoModel& table);

// SQLite type for a Qt type name; empty when there is none.
QString sqliteType(const QString& qtType);

// Creates the database file afresh; true when the last statement run succeeded.
bool createSqliteDatabase(const CreateDatabaseModel& model);

} // namespace Tessark

#endif // TESSARK_SCHEMA_SQLITECREATOR_H
