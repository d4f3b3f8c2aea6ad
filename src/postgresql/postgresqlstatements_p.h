#ifndef TESSARK_POSTGRESQL_POSTGRESQLSTATEMENTS_P_H
#define TESSARK_POSTGRESQL_POSTGRESQLSTATEMENTS_P_H

#include <QString>
#include <QVariant>
#include <QVector>

#include "core/rules.h"

class QSqlDatabase;

namespace Tessark {

// Whether db's session is outside any transaction block, where the server
// runs a statement sent alone as a transaction of its own.
bool postgresqlCommitsAlone(QSqlDatabase& db);

// PQexecPrepared on db's session: the server takes each value as it would
// read it from a quoted literal, without parsing an EXECUTE statement.
Sent postgresqlExecutePrepared(QSqlDatabase& db, const QString& name, const QVector<QVariant>& values, Row* first);

} // namespace Tessark

#endif // TESSARK_POSTGRESQL_POSTGRESQLSTATEMENTS_P_H
