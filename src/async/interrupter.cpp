#include "async/interrupter_p.h"

#include <QAtomicInteger>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include "core/clientlibrary_p.h"
#include "core/connectioncore.h"
#include "core/rules.h"
#include "core/threadconnections.h"
#include "tool/tessarktool.h"

namespace Tessark {
namespace Async {
namespace {

using SqliteInterrupt = void (*)(void*);
using PqGetCancel = void* (*)(void*);
using PqCancel = int (*)(void*, char*, int);
using PqFreeCancel = void (*)(void*);
using MysqlThreadId = unsigned long (*)(void*);

template <class F>
F find(const QSqlDatabase& db, const char* name)
{
    F f = nullptr;
    ClientLibrary::resolve(f, db.driver(), name);
    return f;
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
    void* pointer = ClientLibrary::handle(db.driver());
    if (!pointer)
        return result;
    // By the database's kind, not the handle's type name: Qt 6 names the
    // struct behind the typedef ("pg_conn*", "st_mysql*").
    const Tessark::Kind kind = connection.rules().kind;
    if (kind == Tessark::Kind::SQLite) {
        result.m_kind = SQLite;
        result.m_sqlite = pointer;
        result.m_sqliteInterrupt = find<SqliteInterrupt>(db, "sqlite3_interrupt");
    } else if (kind == Tessark::Kind::PostgreSQL) {
        result.m_kind = PostgreSQL;
        const auto getCancel = find<PqGetCancel>(db, "PQgetCancel");
        const auto freeCancel = find<PqFreeCancel>(db, "PQfreeCancel");
        result.m_pqCancel = find<PqCancel>(db, "PQcancel");
        if (getCancel && freeCancel && result.m_pqCancel) {
            if (void* cancel = getCancel(pointer))
                result.m_pgCancel = std::shared_ptr<void>(cancel, freeCancel);
        }
    } else if (kind == Tessark::Kind::MySQL) {
        result.m_kind = MySQL;
        if (const auto threadId = find<MysqlThreadId>(db, "mysql_thread_id"))
            result.m_mysqlThread = threadId(pointer);
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
        if (m_sqliteInterrupt)
            m_sqliteInterrupt(m_sqlite);
        else
            cannot("sqlite3_interrupt");
        return;
    case PostgreSQL: {
        if (!m_pgCancel) {
            cannot("PQcancel");
            return;
        }
        char error[256] = {};
        if (!m_pqCancel(m_pgCancel.get(), error, int(sizeof error)))
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
