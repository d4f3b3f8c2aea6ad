#ifndef TESSARK_POSTGRESQL_POSTGRESQLSTATEMENTS_P_H
#define TESSARK_POSTGRESQL_POSTGRESQLSTATEMENTS_P_H

#include <QString>

#include "core/rules.h"

class QSqlDatabase;

namespace Tessark {

// BEGIN;statement;COMMIT as one simple query through libpq on db's session:
// a write of one statement then waits for one round trip instead of three.
OneTrip postgresqlOneTrip(QSqlDatabase& db, const QString& statement);

} // namespace Tessark

#endif // TESSARK_POSTGRESQL_POSTGRESQLSTATEMENTS_P_H
