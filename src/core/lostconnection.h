#ifndef TESSARK_CORE_LOSTCONNECTION_H
#define TESSARK_CORE_LOSTCONNECTION_H

class QSqlError;

namespace Tessark {

// Per-server rules for "the session is gone": the error codes each server and
// client library use when a connection dies under a statement.
bool postgresConnectionLost(const QSqlError& error);
bool mysqlConnectionLost(const QSqlError& error);
bool oracleConnectionLost(const QSqlError& error);

} // namespace Tessark

#endif // TESSARK_CORE_LOSTCONNECTION_H
