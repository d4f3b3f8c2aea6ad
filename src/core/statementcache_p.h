#ifndef TESSARK_CORE_STATEMENTCACHE_P_H
#define TESSARK_CORE_STATEMENTCACHE_P_H

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

namespace Tessark {

// Statements prepared on a connection, kept by the thread that uses it as the
// connections themselves are. An entry is dropped with its connection; one
// whose driver has gone (the connection was removed from another thread) is
// found out and started afresh.
namespace StatementCache {

// The calling thread's query prepared with shape on db; null when the driver
// refuses to prepare it.
QSqlQuery* query(QSqlDatabase& db, const QString& shape);

// The name shape is prepared under in db's session, if it is.
QString sessionName(const QSqlDatabase& db, const QString& shape);
// A new name for shape, to be prepared in db's session.
QString nameFor(const QSqlDatabase& db, const QString& shape);

// Whether the rows of the statement prepared as name hold only values the
// database's client gives as Qt's driver does (integers and text).
bool plainRows(const QSqlDatabase& db, const QString& name);
void setPlainRows(const QSqlDatabase& db, const QString& name);

// Drops shape after it failed, so the next use prepares it again.
void forget(const QSqlDatabase& db, const QString& shape);

// The server's packet limit as read once per session; 0 when unread.
int packetLimit(const QSqlDatabase& db);
void setPacketLimit(const QSqlDatabase& db, int bytes);

// The calling thread's statements of a connection, once it is closed: a
// statement is released after its handle (destroying it first would talk to a
// session that may be gone).
void drop(const QString& connectionName);

} // namespace StatementCache
} // namespace Tessark

#endif // TESSARK_CORE_STATEMENTCACHE_P_H
