#ifndef TESSARK_SQLITE_SQLITESTATEMENTS_P_H
#define TESSARK_SQLITE_SQLITESTATEMENTS_P_H

class QSqlDatabase;

namespace Tessark {

class ListStatements;

// sqlite3's own statements on db's handle; null when db is not open or its
// client's functions cannot be found.
ListStatements* newSqliteStatements(QSqlDatabase& db);

// Whether db is in autocommit mode (no transaction open), where SQLite runs
// a statement alone as a transaction of its own.
bool sqliteCommitsAlone(QSqlDatabase& db);

} // namespace Tessark

#endif // TESSARK_SQLITE_SQLITESTATEMENTS_P_H
