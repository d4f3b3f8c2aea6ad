#ifndef TESSARK_POSTGRESQL_POSTGRESQLSTATEMENTS_P_H
#define TESSARK_POSTGRESQL_POSTGRESQLSTATEMENTS_P_H

class QSqlDatabase;

namespace Tessark {

// Whether db's session is outside any transaction block, where the server
// runs a statement sent alone as a transaction of its own.
bool postgresqlCommitsAlone(QSqlDatabase& db);

} // namespace Tessark

#endif // TESSARK_POSTGRESQL_POSTGRESQLSTATEMENTS_P_H
