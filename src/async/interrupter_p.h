#ifndef TESSARK_ASYNC_INTERRUPTER_P_H
#define TESSARK_ASYNC_INTERRUPTER_P_H

#include <QString>

#include <memory>

namespace Tessark {

class ConnectionCore;

namespace Async {

// Stops the statement a worker's connection is running, from any thread.
// Taken on the worker before each call, from the connection that thread
// uses; the connection must stay open until the call ends (the worker
// forgets the interrupter before it runs anything that closes it).
//
// The client functions are looked up at run time in the client library the
// connection's Qt driver runs on, so the library links none of them; without
// them a cancel is logged and the statement runs to its end.
class Interrupter
{
public:
    // From this thread's connection of connection; empty when it is not open.
    static Interrupter capture(const ConnectionCore& connection);

    bool isNull() const { return m_kind == None; }
    // Whether interrupt() must run while the call runs (SQLite's handle is the
    // connection itself); the others keep what they need and may run later.
    bool needsLock() const { return m_kind == SQLite; }
    // SQLite: sqlite3_interrupt; PostgreSQL: the client's cancel request;
    // MariaDB/MySQL: KILL QUERY on a second connection.
    void interrupt() const;

private:
    enum Kind { None, SQLite, PostgreSQL, MySQL };
    Kind m_kind = None;
    void* m_sqlite = nullptr;          // sqlite3*
    void (*m_sqliteInterrupt)(void*) = nullptr;
    int (*m_pqCancel)(void*, char*, int) = nullptr;
    std::shared_ptr<void> m_pgCancel;  // PGcancel*, freed with the last copy
    unsigned long m_mysqlThread = 0;   // the session's connection id
    QString m_host, m_user, m_password, m_database;
    int m_port = 0;
};

} // namespace Async
} // namespace Tessark

#endif // TESSARK_ASYNC_INTERRUPTER_P_H
