#ifndef TESSARK_MYSQL_MYSQLSESSION_P_H
#define TESSARK_MYSQL_MYSQLSESSION_P_H

class QSqlDatabase;

namespace Tessark {

// Whether db's session is in autocommit with no transaction open, as the
// server said in its last reply: a statement sent alone then commits by itself.
bool mysqlCommitsAlone(QSqlDatabase& db);

} // namespace Tessark

#endif // TESSARK_MYSQL_MYSQLSESSION_P_H
