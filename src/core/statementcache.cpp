#include "core/statementcache_p.h"

#include <QHash>
#include <QSet>
#include <QPointer>
#include <QSqlDriver>

namespace Tessark {
namespace StatementCache {
namespace {

// Shapes are per record class and chunk size; a bound keeps stale ones from piling up.
constexpr int maxStatements = 64;

struct Connection
{
    QPointer<QSqlDriver> driver;
    QHash<QString, QSqlQuery> queries;
    QHash<QString, QString> names; // statements prepared in the session by name
    QSet<QString> plainRows;       // names whose rows the client reads as Qt does
    int nextName = 0;
    int packetLimit = 0;
};

using Connections = QHash<QString, Connection>;

// Trivially destructible, so still readable after the reaper below has run
// at thread exit (connections released then find it null).
thread_local Connections* connections = nullptr;

struct Reaper
{
    ~Reaper()
    {
        delete connections;
        connections = nullptr;
    }
};
thread_local Reaper reaper;

Connection& of(const QSqlDatabase& db)
{
    if (!connections) {
        (void)&reaper; // registers its destructor for this thread
        connections = new Connections;
    }
    Connection& c = (*connections)[db.connectionName()];
    if (c.driver != db.driver()) {
        c = Connection();
        c.driver = db.driver();
    }
    return c;
}

} // namespace

QSqlQuery* query(QSqlDatabase& db, const QString& shape)
{
    Connection& c = of(db);
    auto it = c.queries.find(shape);
    if (it != c.queries.end())
        return &it.value();
    if (c.queries.size() >= maxStatements)
        c.queries.clear();
    QSqlQuery prepared(db);
    if (!prepared.prepare(shape))
        return nullptr;
    return &c.queries.insert(shape, prepared).value();
}

QString sessionName(const QSqlDatabase& db, const QString& shape)
{
    return of(db).names.value(shape);
}

QString nameFor(const QSqlDatabase& db, const QString& shape)
{
    Connection& c = of(db);
    if (c.names.size() >= maxStatements) {
        c.names.clear(); // the session keeps them; names are never reused
        c.plainRows.clear();
    }
    const QString name = QStringLiteral("tessark_%1").arg(++c.nextName);
    c.names.insert(shape, name);
    return name;
}

void forget(const QSqlDatabase& db, const QString& shape)
{
    Connection& c = of(db);
    c.queries.remove(shape);
    c.plainRows.remove(c.names.take(shape));
}

bool plainRows(const QSqlDatabase& db, const QString& name)
{
    return of(db).plainRows.contains(name);
}

void setPlainRows(const QSqlDatabase& db, const QString& name)
{
    of(db).plainRows.insert(name);
}

int packetLimit(const QSqlDatabase& db)
{
    return of(db).packetLimit;
}

void setPacketLimit(const QSqlDatabase& db, int bytes)
{
    of(db).packetLimit = bytes;
}

void drop(const QString& connectionName)
{
    if (connections)
        connections->remove(connectionName);
}

} // namespace StatementCache
} // namespace Tessark
