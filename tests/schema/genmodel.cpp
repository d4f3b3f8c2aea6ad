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
#include <QSettings>
#include <QTextStream>

#include "../common/backends.h"

using namespace TessarkTest;

namespace {

int fail(const QString& why)
{
    QTextStream(stderr) << "tessark-genmodel: " << why << '\n';
    return 1;
}

template <class Query>
int generate(const Backend& b, const QString& table, const QString& work)
{
    Query query;
    b.init(query, QStringLiteral("genmodel"));
    const QString gen = work + QStringLiteral("/gen");
    const bool made = QDir().mkpath(gen)
        && query.CreateModel(table, QStringLiteral("id"), gen, QStringLiteral("GenSample"), true)
        && query.CreateModel(table, QString(), gen, QStringLiteral("GenSampleLite"), false);
    return made ? 0 : fail(QStringLiteral("generating the classes of %1 into %2 failed").arg(table, gen));
}

// The PostgreSQL server's address in b; false (with the exit code in *code) when there is none.
bool findServer(Backend& b, int* code)
{
    QString why;
    const Lookup found = lookupServer(Server::PostgreSQL, &b.server, &why);
    if (found == Lookup::Skip)
        QTextStream(stdout) << "ROUNDTRIP SKIPPED: " << why << '\n';
    *code = found == Lookup::Found ? 0 : found == Lookup::Skip ? 77 : fail(why);
    return found == Lookup::Found && setUpBackend(Kind::PostgreSQL, b);
}

int create(bool pg, const QString& work, QSettings& settings)
{
    Backend b;
    int code = 0;
    if (pg && !findServer(b, &code))
        return code;
    b.file = work + QStringLiteral("/roundtrip.db");
    if (!pg && !writeFile(b.file, QByteArray()))
        return fail(QStringLiteral("cannot create %1").arg(b.file));

    // Every declared type maps to a Qt type (SQLite's DECIMAL long has no stream
    // operator); PostgreSQL's catalogue query reports only commented columns.
    const QString table = pg ? uniqueName(QStringLiteral("gen_roundtrip")) : QStringLiteral("sample");
    QStringList setup = {QStringLiteral("create table %1 (%2)").arg(table, QLatin1String(pg
        ? "id serial primary key, name varchar(40), score float8, weight float4, created timestamp(3), "
          "total int8, small int2, amount numeric(10,0)"
        : "id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT, score DOUBLE, weight FLOAT, created TIMESTAMP, "
          "total BIGINT, small SMALLINT"))};
    for (const char* column : {"id", "name", "score", "weight", "created", "total", "small", "amount"})
        if (pg)
            setup << QStringLiteral("comment on column %1.%2 is 'the %2'").arg(table, QLatin1String(column));
    if (!b.help(QStringLiteral("genmodel-setup"))->ExecutionList(setup, false))
        return fail(QStringLiteral("cannot create the table"));
    const QVariantMap values{{"type", b.type}, {"host", b.server.host}, {"port", b.server.port},
                             {"user", b.server.user}, {"password", b.server.password},
                             {"database", pg ? b.server.dbname : b.file}, {"table", table}};
    for (auto it = values.begin(); it != values.end(); ++it)
        settings.setValue(it.key(), it.value());
    settings.sync();
    return pg ? generate<PostgreSQLQuery>(b, table, work) : generate<SQLiteQuery>(b, table, work);
}

int drop(QSettings& settings)
{
    Backend b;
    int code = 0;
    if (settings.value("type").toInt() != 0)
        return 0;
    // Created on this server a moment ago: it must still be there.
    const bool dropped = findServer(b, &code)
        && b.exec(QStringLiteral("drop table if exists %1").arg(settings.value("table").toString()));
    return dropped ? 0 : fail(QStringLiteral("cannot drop the PostgreSQL table"));
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
    if (command == QLatin1String("create") && (args.value(2) == "sqlite" || args.value(2) == "postgresql"))
        return create(args.value(2) == "postgresql", work, settings);
    return fail(QStringLiteral("unknown command"));
}
