#ifndef TESSARK_TESTS_COMMON_BACKENDS_H
#define TESSARK_TESTS_COMMON_BACKENDS_H

// Runs one behaviour test against every backend: a _data() function adds a row
// per backend, and TESSARK_BACKEND(b) in the test sets up a fresh SQLite file
// or the throwaway server (skipping, or failing under scripts/test, when absent).

#include <QMutex>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <type_traits>
#include <utility>

#include "../support/tessarktest.h"
#include "Model/conninfomodel.h"
#include "core/tracing.h"
#include "mysql/mysqlhelp.h"
#include "mysql/mysqlquery.h"
#include "postgresql/postgresqlhelp.h"
#include "postgresql/postgresqlquery.h"
#include "sqlite/sqlitehelp.h"
#include "sqlite/sqlitequery.h"

namespace TessarkTest {

enum class Kind { SQLite, PostgreSQL, MySQL };

inline void addBackendRows()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("sqlite") << int(Kind::SQLite);
    QTest::newRow("postgresql") << int(Kind::PostgreSQL);
    QTest::newRow("mysql") << int(Kind::MySQL);
}

// Per-backend facts a test may depend on; quirks are flags, not branches on names.
struct Backend
{
    Kind kind = Kind::SQLite;
    QString displayName;       // as in log messages
    DbType type = 2;
    ServerAddress server;
    std::unique_ptr<QTemporaryDir> dir;
    QString file;              // SQLite database file
    bool abortsOnError = false; // a failed statement aborts the open transaction
    bool collectsIds = false;   // has the id-collecting batch

    // A table named name with an auto-generated integer key id and a few columns.
    QString createPersonTable(const QString& name) const
    {
        static const char* const columns[] = {
            "id INTEGER PRIMARY KEY AUTOINCREMENT, username TEXT, score DOUBLE, born TIMESTAMP",
            "id serial primary key, username text, score double precision, born timestamp(3)",
            "id int auto_increment primary key, username text, score double, born datetime(3)"};
        return QStringLiteral("create table %1 (%2)").arg(name, QLatin1String(columns[int(kind)]));
    }

    template <class Q>
    void init(Q& q, const QString& tag = QString()) const
    {
        if constexpr (std::is_same_v<Q, SQLiteQuery> || std::is_same_v<Q, SQLiteHelp>)
            q.InitInfo(file, tag);
        else
            q.InitInfo(server.host, server.port, server.user, server.password, server.dbname, tag);
    }

    std::unique_ptr<Tessark::ConnectionCore> help(const QString& tag = QString()) const
    {
        if (kind == Kind::SQLite)
            return made<SQLiteHelp>(tag);
        return kind == Kind::PostgreSQL ? made<PostgreSQLHelp>(tag) : made<MySqlHelp>(tag);
    }

    // Rows 1..rows of a table (id, name, score): name "name <id>", score id % 100.
    QString numberedRowsSql(const QString& table, int rows) const
    {
        static const char* const forms[] = {
            "with recursive c(x) as (select 1 union all select x + 1 from c where x < %2) "
            "insert into %1 (id, name, score) select x, 'name ' || x, x % 100 from c",
            "insert into %1 (id, name, score) select x, 'name ' || x, x % 100 from generate_series(1, %2) x",
            "insert into %1 (id, name, score) select seq, concat('name ', seq), seq % 100 from seq_1_to_%2"};
        return QString::fromLatin1(forms[int(kind)]).arg(table).arg(rows);
    }

    // The description the facades take.
    ConnInfoModel info(const QString& tag = QString()) const
    {
        if (kind == Kind::SQLite)
            return ConnInfoModel(type, file, tag);
        return ConnInfoModel(type, server.host, server.port, server.user, server.password, server.dbname, tag);
    }

    // The database as a connection URL of the tessark tool (no password).
    QString url() const
    {
        if (kind == Kind::SQLite)
            return QStringLiteral("sqlite:") + file;
        return QStringLiteral("%1://%2@%3:%4/%5")
            .arg(QLatin1String(kind == Kind::PostgreSQL ? "postgresql" : "mysql"), server.user, server.host)
            .arg(server.port)
            .arg(server.dbname);
    }

    // Runs a statement on a connection of its own (setup and teardown).
    bool exec(const QString& sql) const { return help(QStringLiteral("setup"))->Execution(sql); }

private:
    template <class H>
    std::unique_ptr<Tessark::ConnectionCore> made(const QString& tag) const
    {
        auto h = std::make_unique<H>();
        init(*h, tag);
        return h;
    }
};

// Fills b for kind (a server's address already in b.server); false when the
// SQLite file cannot be made.
inline bool setUpBackend(Kind kind, Backend& b)
{
    const bool pg = kind == Kind::PostgreSQL;
    b.kind = kind;
    b.displayName = kind == Kind::SQLite ? QStringLiteral("SQLite") : pg ? QStringLiteral("PostgreSQL")
                                                                         : QStringLiteral("MySql");
    b.type = kind == Kind::SQLite ? 2 : pg ? 0 : 3;
    b.abortsOnError = pg;
    b.collectsIds = !pg;
    if (kind != Kind::SQLite)
        return true;
    b.dir = std::make_unique<QTemporaryDir>();
    b.file = b.dir->filePath(uniqueName(QStringLiteral("db")) + QStringLiteral(".db"));
    return QFile(b.file).open(QIODevice::WriteOnly);
}

// Drops the tables on every exit path of a test.
struct DropTables
{
    const Backend& b;
    QStringList tables;
    ~DropTables()
    {
        for (const QString& t : tables)
            b.exec(QStringLiteral("drop table if exists %1").arg(t));
    }
};

// Calls body with a persistence object of the backend, configured with tag.
template <class F>
void withQuery(const Backend& b, const QString& tag, F&& body)
{
    switch (b.kind) {
    case Kind::SQLite: { SQLiteQuery q; b.init(q, tag); body(q); break; }
    case Kind::PostgreSQL: { PostgreSQLQuery q; b.init(q, tag); body(q); break; }
    case Kind::MySQL: { MySqlQuery q; b.init(q, tag); body(q); break; }
    }
}

// Collects the tessark.sql* messages as "<category> <text>" while it lives, from
// any thread, with the rules it was given in force; other messages go on.
struct TraceCapture
{
    explicit TraceCapture(const QString& rules)
    {
        QLoggingCategory::setFilterRules(rules);
        take();
        previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context, const QString& text) {
            if (!QByteArray(context.category).startsWith("tessark.sql"))
                return previous(type, context, text);
            QMutexLocker locker(&mutex);
            lines.append(QString::fromLatin1(context.category) + QLatin1Char(' ') + text);
        });
    }
    ~TraceCapture()
    {
        qInstallMessageHandler(previous);
        QLoggingCategory::setFilterRules(QString());
        Tessark::setSlowStatementThreshold(-1);
    }
    // In order; cleared by the call.
    static QStringList take()
    {
        QMutexLocker locker(&mutex);
        return std::exchange(lines, QStringList());
    }
    static inline QtMessageHandler previous = nullptr;
    static inline QMutex mutex;
    static inline QStringList lines;
};

template <class Q>
constexpr bool isPostgres = std::is_same_v<std::decay_t<Q>, PostgreSQLQuery>;

// PostgreSQL's Delete takes a trailing flag the others lack.
template <class Q, class... Args>
bool deleteBy(Q& q, Args&&... args)
{
    if constexpr (isPostgres<Q>)
        return q.Delete(std::forward<Args>(args)..., false);
    else
        return q.Delete(std::forward<Args>(args)...);
}

} // namespace TessarkTest

// Declares TessarkTest::Backend b for the row's backend (or, with _OF, for
// kind), or returns from the test function after skipping / failing.
#define TESSARK_BACKEND(b)                                                                 \
    QFETCH(int, kind);                                                                     \
    TESSARK_BACKEND_OF(b, TessarkTest::Kind(kind))

#define TESSARK_BACKEND_OF(b, backendKind)                                                 \
    TessarkTest::Backend b;                                                                \
    if ((backendKind) != TessarkTest::Kind::SQLite) {                                      \
        TESSARK_REQUIRE_SERVER((backendKind) == TessarkTest::Kind::PostgreSQL              \
                                   ? TessarkTest::Server::PostgreSQL                       \
                                   : TessarkTest::Server::MySQL,                           \
                               tessarkAddress_);                                           \
        b.server = tessarkAddress_;                                                        \
    }                                                                                      \
    QVERIFY(TessarkTest::setUpBackend((backendKind), b));

#endif // TESSARK_TESTS_COMMON_BACKENDS_H
