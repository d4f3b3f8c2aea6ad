// tessark-genmodel: the set-up half of the generated-class round trip.
//
//   tessark-genmodel create sqlite|postgresql <work folder>
//     creates a fresh table, generates GenSample (key id, stream operators)
//     and GenSampleLite (no key, header only) into <work>/gen and writes how
//     to reach the table to <work>/connection.ini.
//     Exit 0: done; 77: no server to test against (skip); 1: failure.
//   tessark-genmodel drop <work folder>
//     drops a PostgreSQL table created above.
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTextStream>

#include <memory>

#include "../support/tessarktest.h"
#include "postgresql/postgresqlhelp.h"
#include "postgresql/postgresqlquery.h"
#include "sqlite/sqlitequery.h"

using namespace TessarkTest;

namespace {

const int skipped = 77;

int fail(const QString& why)
{
    QTextStream(stderr) << "tessark-genmodel: " << why << '\n';
    return 1;
}

// A connection of its own for setting up and dropping the table.
std::unique_ptr<PostgreSQLHelp> help(const ServerAddress& a)
{
    auto h = std::make_unique<PostgreSQLHelp>();
    h->InitInfo(a.host, a.port, a.user, a.password, a.dbname, QStringLiteral("genmodel-setup"));
    return h;
}

template <class Query>
int generate(Query& query, const QString& table, const QString& work)
{
    const QString gen = work + QStringLiteral("/gen");
    if (!QDir().mkpath(gen))
        return fail(QStringLiteral("cannot create %1").arg(gen));
    if (!query.CreateModel(table, QStringLiteral("id"), gen, QStringLiteral("GenSample"), true))
        return fail(QStringLiteral("CreateModel of GenSample from %1 failed").arg(table));
    if (!query.CreateModel(table, QString(), gen, QStringLiteral("GenSampleLite"), false))
        return fail(QStringLiteral("CreateModel of GenSampleLite from %1 failed").arg(table));
    return 0;
}

int createSqlite(const QString& work, QSettings& settings)
{
    const QString path = work + QStringLiteral("/roundtrip.db");
    if (!QFile(path).open(QIODevice::WriteOnly))
        return fail(QStringLiteral("cannot create %1").arg(path));

    // Every declared type maps to a Qt type (DECIMAL's long has no stream operator).
    const QString table = QStringLiteral("sample");
    SQLiteQuery query;
    query.InitInfo(path, QStringLiteral("genmodel"));
    if (!query.ExecuteSQL(QStringLiteral("create table %1 (id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT, "
                                         "score DOUBLE, weight FLOAT, created TIMESTAMP, total BIGINT, "
                                         "small SMALLINT)")
                              .arg(table)))
        return fail(QStringLiteral("cannot create the SQLite table"));
    settings.setValue("type", 2);
    settings.setValue("database", path);
    settings.setValue("table", table);
    return generate(query, table, work);
}

int createPostgresql(const QString& work, QSettings& settings)
{
    ServerAddress address;
    QString why;
    const Lookup found = lookupServer(Server::PostgreSQL, &address, &why);
    if (found == Lookup::Skip)
        QTextStream(stdout) << "ROUNDTRIP SKIPPED: " << why << '\n';
    if (found != Lookup::Found)
        return found == Lookup::Skip ? skipped : fail(why);

    // Only commented columns are reported by the catalogue query: comment them all.
    const QString table = uniqueName(QStringLiteral("gen_roundtrip"));
    QStringList setup = {QStringLiteral("create table %1 (id serial primary key, name varchar(40), score float8, "
                                        "weight float4, created timestamp(3), total int8, small int2, "
                                        "amount numeric(10,0))").arg(table)};
    for (const char* column : {"id", "name", "score", "weight", "created", "total", "small", "amount"})
        setup << QStringLiteral("comment on column %1.%2 is 'the %2'").arg(table, QLatin1String(column));
    if (!help(address)->ExecutionList(setup, false))
        return fail(QStringLiteral("cannot create the PostgreSQL table"));
    const QVariantMap values{{"type", 0}, {"host", address.host}, {"port", address.port}, {"user", address.user},
                             {"password", address.password}, {"database", address.dbname}, {"table", table}};
    for (auto it = values.begin(); it != values.end(); ++it)
        settings.setValue(it.key(), it.value());
    settings.sync();

    PostgreSQLQuery query;
    query.InitInfo(address.host, address.port, address.user, address.password, address.dbname,
                   QStringLiteral("genmodel"));
    return generate(query, table, work);
}

int drop(QSettings& settings)
{
    if (settings.value("type").toInt() != 0)
        return 0;
    ServerAddress address;
    QString why;
    if (lookupServer(Server::PostgreSQL, &address, &why) != Lookup::Found)
        return fail(why);
    if (!help(address)->Execution(QStringLiteral("drop table if exists %1").arg(settings.value("table").toString())))
        return fail(QStringLiteral("cannot drop the PostgreSQL table"));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    RunEnvironment environment;
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString command = args.value(1);
    const QString work = command == QLatin1String("drop") ? args.value(2) : args.value(3);
    if (work.isEmpty() || !QDir(work).exists())
        return fail(QStringLiteral("usage: tessark-genmodel create sqlite|postgresql <work> | drop <work>"));
    QSettings settings(work + QStringLiteral("/connection.ini"), QSettings::IniFormat);

    if (command == QLatin1String("drop"))
        return drop(settings);
    if (command == QLatin1String("create") && args.value(2) == QLatin1String("sqlite"))
        return createSqlite(work, settings);
    if (command == QLatin1String("create") && args.value(2) == QLatin1String("postgresql"))
        return createPostgresql(work, settings);
    return fail(QStringLiteral("unknown command"));
}
