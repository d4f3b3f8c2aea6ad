#include "async/interrupter_p.h"

#include <QAtomicInteger>
#include <QLibrary>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include "core/connectioncore.h"
#include "core/rules.h"
#include "core/threadconnections.h"
#include "tool/tessarktool.h"

namespace Tessark {
namespace Async {
namespace {

// The client functions, resolved once; null where the library is not there.
struct Client
{
    using SqliteInterrupt = void (*)(void*);
    using PqGetCancel = void* (*)(void*);
    using PqCancel = int (*)(void*, char*, int);
    using PqFreeCancel = void (*)(void*);
    using MysqlThreadId = unsigned long (*)(void*);

    SqliteInterrupt sqliteInterrupt = nullptr;
    PqGetCancel pqGetCancel = nullptr;
    PqCancel pqCancel = nullptr;
    PqFreeCancel pqFreeCancel = nullptr;
    MysqlThreadId mysqlThreadId = nullptr;

    Client()
    {
        QLibrary sqlite(QStringLiteral("sqlite3"), 0);
        sqliteInterrupt = reinterpret_cast<SqliteInterrupt>(sqlite.resolve("sqlite3_interrupt"));
        QLibrary pq(QStringLiteral("pq"), 5);
        pqGetCancel = reinterpret_cast<PqGetCancel>(pq.resolve("PQgetCancel"));
        pqCancel = reinterpret_cast<PqCancel>(pq.resolve("PQcancel"));
        pqFreeCancel = reinterpret_cast<PqFreeCancel>(pq.resolve("PQfreeCancel"));
        QLibrary mariadb(QStringLiteral("mariadb"), 3);
        mysqlThreadId = reinterpret_cast<MysqlThreadId>(mariadb.resolve("mysql_thread_id"));
        if (!mysqlThreadId) {
            QLibrary mysql(QStringLiteral("mysqlclient"), 21);
            mysqlThreadId = reinterpret_cast<MysqlThreadId>(mysql.resolve("mysql_thread_id"));
        }
        // The libraries stay loaded: the plugins hold them, and so do we.
    }
};

const Client& client()
{
    static const Client resolved;
    return resolved;
}

void cannot(const char* what)
{
    TessarkTool::WriteLog(QStringLiteral("cancel: %1 not found; the statement runs to its end\n")
                              .arg(QLatin1String(what)));
}

} // namespace

Interrupter Interrupter::capture(const ConnectionCore& connection)
{
    Interrupter result;
    const QString name = ThreadConnections::nameForCurrentThread(connection.connectionName());
    if (!QSqlDatabase::contains(name))
        return result;
    const QSqlDatabase db = QSqlDatabase::database(name, false);
    if (!db.isOpen() || !db.driver())
        return result;
    const QVariant handle = db.driver()->handle();
    if (!handle.isValid() || !handle.constData())
        return result;
    void* pointer = *static_cast<void* const*>(handle.constData());
    if (!pointer)
        return result;
    // By the database's kind, not the handle's type name: Qt 6 names the
    // struct behind the typedef ("pg_conn*", "st_mysql*").
    const Tessark::Kind kind = connection.rules().kind;
    const Client& c = client();
    if (kind == Tessark::Kind::SQLite) {
        result.m_kind = SQLite;
        result.m_sqlite = pointer;
    } else if (kind == Tessark::Kind::PostgreSQL) {
        result.m_kind = PostgreSQL;
        if (c.pqGetCancel && c.pqCancel && c.pqFreeCancel) {
            if (void* cancel = c.pqGetCancel(pointer))
                result.m_pgCancel = std::shared_ptr<void>(cancel, c.pqFreeCancel);
        }
    } else if (kind == Tessark::Kind::MySQL) {
        result.m_kind = MySQL;
        if (c.mysqlThreadId)
            result.m_mysqlThread = c.mysqlThreadId(pointer);
        const ConnInfoModel& info = connection.description();
        result.m_host = info.Host;
        result.m_port = info.Port;
        result.m_user = info.UserName;
        result.m_password = info.Password;
        result.m_database = info.DatabaseName;
    }
    return result;
}

void Interrupter::interrupt() const
{
    switch (m_kind) {
    case None:
        return;
    case SQLite:
        if (client().sqliteInterrupt)
            client().sqliteInterrupt(m_sqlite);
        else
            cannot("sqlite3_interrupt");
        return;
    case PostgreSQL: {
        if (!m_pgCancel) {
            cannot("PQcancel");
            return;
        }
        char error[256] = {};
        if (!client().pqCancel(m_pgCancel.get(), error, int(sizeof error)))
            TessarkTool::WriteLog(QStringLiteral("cancel: PostgreSQL refused the cancel request: %1\n")
                                      .arg(QString::fromLocal8Bit(error)));
        return;
    }
    case MySQL: {
        if (!m_mysqlThread) {
            cannot("mysql_thread_id");
            return;
        }
        // The session itself is busy: a second one asks the server to stop its statement.
        static QAtomicInteger<quint64> serial;
        const QString name = QStringLiteral("tessark-cancel#%1").arg(serial.fetchAndAddRelaxed(1));
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QMYSQL"), name);
            db.setHostName(m_host);
            db.setPort(m_port);
            db.setUserName(m_user);
            db.setPassword(m_password);
            db.setDatabaseName(m_database);
            QString error;
            if (db.open()) {
                QSqlQuery query(db);
                if (!query.exec(QStringLiteral("KILL QUERY %1").arg(m_mysqlThread)))
                    error = query.lastError().text();
            } else {
                error = db.lastError().text();
            }
            db.close();
            if (!error.isEmpty())
                TessarkTool::WriteLog(QStringLiteral("cancel: KILL QUERY failed: %1\n").arg(error));
        }
        QSqlDatabase::removeDatabase(name);
        return;
    }
    }
}

} // namespace Async
} // namespace Tessark
