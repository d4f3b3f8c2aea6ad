#ifndef TESSARK_TESTS_COMMON_BACKENDS_H
#define TESSARK_TESTS_COMMON_BACKENDS_H

// Runs one behaviour test against every backend: a _data() function adds a row
// per backend, and TESSARK_BACKEND(b) in the test sets up a fresh SQLite file
// or the throwaway server (skipping, or failing under scripts/test, when absent).

#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "../support/tessarktest.h"
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
    bool foldsKeyCase = false;  // the returned key column is the folded name, not Key as spelt
    bool quotedValueIsName = false; // "value" names a column, so the field-form DELETE cannot match

    // A table named name with an auto-generated integer key id and a few columns.
    QString createPersonTable(const QString& name) const
    {
        switch (kind) {
        case Kind::SQLite:
            return QStringLiteral("create table %1 (id INTEGER PRIMARY KEY AUTOINCREMENT, username TEXT, "
                                  "score DOUBLE, born TIMESTAMP)").arg(name);
        case Kind::PostgreSQL:
            return QStringLiteral("create table %1 (id serial primary key, username text, "
                                  "score double precision, born timestamp(3))").arg(name);
        case Kind::MySQL:
            return QStringLiteral("create table %1 (id int auto_increment primary key, username text, "
                                  "score double, born datetime(3))").arg(name);
        }
        return QString();
    }

    QString createTagTable(const QString& name) const
    {
        return QStringLiteral("create table %1 (code varchar(64) primary key, label text)").arg(name);
    }

    std::unique_ptr<Tessark::ConnectionCore> help(const QString& tag = QString()) const
    {
        switch (kind) {
        case Kind::SQLite: {
            auto h = std::make_unique<SQLiteHelp>();
            h->InitInfo(file, tag);
            return h;
        }
        case Kind::PostgreSQL: {
            auto h = std::make_unique<PostgreSQLHelp>();
            h->InitInfo(server.host, server.port, server.user, server.password, server.dbname, tag);
            return h;
        }
        case Kind::MySQL: {
            auto h = std::make_unique<MySqlHelp>();
            h->InitInfo(server.host, server.port, server.user, server.password, server.dbname, tag);
            return h;
        }
        }
        return nullptr;
    }

    template <class Query>
    void init(Query& query, const QString& tag = QString()) const;

    // Runs a statement on a connection of its own (setup and teardown).
    bool exec(const QString& sql) const
    {
        auto h = help(QStringLiteral("setup"));
        return h->Execution(sql);
    }
};

template <>
inline void Backend::init(SQLiteQuery& query, const QString& tag) const
{
    query.InitInfo(file, tag);
}

template <class Query>
inline void Backend::init(Query& query, const QString& tag) const
{
    query.InitInfo(server.host, server.port, server.user, server.password, server.dbname, tag);
}

// Fills b for kind; false when the test must stop (it has skipped or failed).
inline bool setUpBackend(Kind kind, Backend& b)
{
    b.kind = kind;
    if (kind == Kind::SQLite) {
        b.displayName = QStringLiteral("SQLite");
        b.type = 2;
        b.collectsIds = true;
        b.dir = std::make_unique<QTemporaryDir>();
        b.file = b.dir->filePath(uniqueName(QStringLiteral("db")) + QStringLiteral(".db"));
        QFile create(b.file);
        return create.open(QIODevice::WriteOnly);
    }
    return true;
}

} // namespace TessarkTest

// Declares TessarkTest::Backend b for the row's backend, or returns from the
// test function after skipping / failing.
#define TESSARK_BACKEND(b)                                                                 \
    QFETCH(int, kind);                                                                     \
    TessarkTest::Backend b;                                                                \
    if (TessarkTest::Kind(kind) != TessarkTest::Kind::SQLite) {                            \
        const bool tessarkPg_ = TessarkTest::Kind(kind) == TessarkTest::Kind::PostgreSQL;  \
        TESSARK_REQUIRE_SERVER(tessarkPg_ ? TessarkTest::Server::PostgreSQL                \
                                          : TessarkTest::Server::MySQL,                    \
                               tessarkAddress_);                                           \
        b.kind = TessarkTest::Kind(kind);                                                  \
        b.server = tessarkAddress_;                                                        \
        b.displayName = tessarkPg_ ? QStringLiteral("PostgreSQL") : QStringLiteral("MySql"); \
        b.type = tessarkPg_ ? 0 : 3;                                                       \
        b.abortsOnError = tessarkPg_;                                                      \
        b.collectsIds = !tessarkPg_;                                                       \
        b.foldsKeyCase = tessarkPg_;                                                       \
        b.quotedValueIsName = tessarkPg_;                                                  \
    } else {                                                                               \
        QVERIFY(TessarkTest::setUpBackend(TessarkTest::Kind::SQLite, b));                  \
    }

#endif // TESSARK_TESTS_COMMON_BACKENDS_H
