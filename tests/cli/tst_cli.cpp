// The tessark command-line tool, run as a user runs it: the built binary in a
// child process, judged by its exit code, stdout, stderr and the files it leaves.
#include <QJsonDocument>
#include <QProcess>
#include <QtTest>

#include "../support/tessarktest.h"

using namespace TessarkTest;

namespace {

const int timeoutMs = 120000;
// doctor's row that puts a QOCI plugin file that cannot load into Qt's plugin path.
const char* const fakeOci = "plugin fails to load";

struct Result { int code = -1; QString out, err; bool finished = false; };

QString describe(const QStringList& args, const Result& r)
{
    return QStringLiteral("tessark %1\n exit %2\n stdout: %3\n stderr: %4")
            .arg(args.join(' ')).arg(r.code).arg(r.out, r.err);
}

QString serverUrl(const QString& scheme, const ServerAddress& a)
{
    return QStringLiteral("%1://%2@%3:%4/%5").arg(scheme, a.user, a.host).arg(a.port).arg(a.dbname);
}

// Every Qt type the library maps and both index orders.
const QByteArray shopSchema = R"({"database": "shop.db", "tables": [
    {"name": "customer", "index": "customer_by_name", "columns": [
       {"name": "id", "type": "int", "primaryKey": true, "autoIncrement": true},
       {"name": "name", "type": "QString", "index": true},
       {"name": "joined", "type": "QDateTime", "index": true, "descending": true},
       {"name": "score", "type": "double"}]},
    {"name": "purchase", "columns": [
       {"name": "id", "type": "qint64", "primaryKey": true}, {"name": "customer_id", "type": "int"},
       {"name": "total", "type": "float"}, {"name": "receipt", "type": "QByteArray"}]}]})";

QByteArray described(const QByteArray& columns, const QByteArray& name = "t")
{
    return R"({"database": "x.db", "tables": [{"name": ")" + name + R"(", "columns": [{)" + columns + "}]}]}";
}

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

private:
    QScopedPointer<QTemporaryDir> m_dir;

    QString path(const QString& name) const { return m_dir->filePath(name); }

    // In the test's folder with its own log and data folders, no password in the
    // environment, and stdin an open pipe: a tool that waited on stdin would time out.
    Result tessark(const QStringList& args, const QMap<QString, QString>& environment = {}, bool withLog = true)
    {
        QProcess process;
        process.setWorkingDirectory(m_dir->path());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("TESSARK_PASSWORD");
        env.insert("XDG_DATA_HOME", path("xdg-data"));
        for (auto it = environment.constBegin(); it != environment.constEnd(); ++it)
            env.insert(it.key(), it.value());
        process.setProcessEnvironment(env);
        process.start(TESSARK_CLI, withLog && !args.isEmpty() ? args + QStringList{"--log", path("logs")} : args);
        Result r;
        r.finished = process.waitForStarted(timeoutMs) && process.waitForFinished(timeoutMs);
        if (!r.finished) {
            process.kill();
            process.waitForFinished();
        }
        r.code = r.finished && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        r.out = QString::fromUtf8(process.readAllStandardOutput());
        r.err = QString::fromUtf8(process.readAllStandardError());
        return r;
    }

    // A run that must succeed quietly.
    Result ok(const QStringList& args, const QMap<QString, QString>& environment = {})
    {
        const Result r = tessark(args, environment);
        [&]() { QVERIFY2(r.finished && r.code == 0 && r.err.isEmpty(), qPrintable(describe(args, r))); }();
        return r;
    }

    QString createShop()
    {
        if (!writeFile(path("shop.json"), shopSchema) || tessark({"create-db", path("shop.json")}).code != 0)
            return QString();
        return path("shop.db");
    }

private slots:
    void initTestCase()
    {
        installMessageGuard();
        QVERIFY2(QFileInfo(TESSARK_CLI).isExecutable(), TESSARK_CLI);
    }

    void init()
    {
        m_dir.reset(new QTemporaryDir);
        QVERIFY(m_dir->isValid());
    }

    void cleanup() { m_dir.reset(); }

    // Usage comes from the tool's own texts and names it "tessark", not by its path.
    void help()
    {
        const QStringList args = {"help", "query"};
        const Result r = tessark(args, {}, false);
        QVERIFY2(r.code == 0 && r.err.isEmpty() && r.out.startsWith("Usage: tessark query [options] CONNECTION SQL")
                     && !r.out.contains(TESSARK_CLI),
                 qPrintable(describe(args, r)));
    }

    void demoEndToEnd()
    {
        const QStringList args = {"demo", "--db", path("demo/demo.db"), "--out", path("gen")};
        const QString todayLog = path("logs/" + QLocale::c().toString(QDate::currentDate(), "yyyy-MM-dd") + ".log");
        for (int run = 1; run <= 2; ++run) { // the second run replaces the first one's file
            const Result r = ok(args);
            if (QTest::currentTestFailed())
                return;
            int at = 0;
            for (const char* step : {"keys read back: id 1 \"Dune\", id 2 \"Emma\", id 3 \"Ulysses\"",
                                     "Query(0, 2, record) -> ids 1, 2; Query(2, 2, record) -> id 3",
                                     "the log's new entry says: no such table: no_such_table", "10. generate"}) {
                at = r.out.indexOf(QLatin1String(step), at);
                QVERIFY2(at >= 0, qPrintable(QStringLiteral("\"%1\" missing or out of order:\n%2").arg(QLatin1String(step), r.out)));
            }
            QCOMPARE(ok({"query", "sqlite:" + path("demo/demo.db"), "select id, title, price from book", "--format", "csv"}).out,
                     QStringLiteral("id,title,price\n2,Emma,6.5\n3,Ulysses,12\n"));
            QCOMPARE(readFile(todayLog).count("no such table: no_such_table"), run);
        }
        QVERIFY(readFile(path("gen/book.h")).contains("Q_PROPERTY(QDateTime added "));
    }

    void createDbThenTablesAndColumns()
    {
        QVERIFY(writeFile(path("shop.json"), shopSchema));
        QCOMPARE(ok({"create-db", "shop.json"}).out,
                 QStringLiteral("created %1: customer (4 columns), purchase (4 columns)\n").arg(path("shop.db")));
        const QMap<QString, QString> schema = sqliteSchema(path("shop.db"));
        QCOMPARE(schema.value("customer"), QStringLiteral("CREATE TABLE customer(id INTEGER PRIMARY KEY AUTOINCREMENT,"
                                                          "name TEXT  ,joined TIMESTAMP  ,score DOUBLE  )"));
        QCOMPARE(schema.value("customer_by_name"),
                 QStringLiteral("CREATE INDEX customer_by_name ON customer(name ASC,joined DESC)"));
        QCOMPARE(schema.value("purchase"), QStringLiteral("CREATE TABLE purchase(id INTEGER PRIMARY KEY ,"
                                                          "customer_id INTEGER  ,total FLOAT  ,receipt BLOB  )"));

        const QString url = "sqlite:" + path("shop.db");
        QCOMPARE(ok({"tables", url}).out, QStringLiteral("customer\npurchase\nsqlite_sequence\n"));
        QCOMPARE(ok({"columns", url, "PURCHASE"}).out, QStringLiteral("id\ncustomer_id\ntotal\nreceipt\n"));
    }

    void genModelSqlite()
    {
        QVERIFY(!createShop().isEmpty());
        const QString url = "sqlite:" + path("shop.db");
        const Result r = ok({"gen-model", url, "Customer", "--class", "CustomerRecord", "--key", "id", "--out",
                             "gen", "--stream"});
        QCOMPARE(r.out, QStringLiteral("wrote %1\nwrote %2\n").arg(path("gen/customerrecord.h"),
                                                                   path("gen/customerrecord.cpp")));
        // The text itself is tst_modelgenerator's: here the class, table and key asked for.
        QVERIFY(readFile(path("gen/customerrecord.h")).contains("explicit CustomerRecord(){TableName = \"customer\"; Key = \"id\";}"));

        // A column without a Qt type is generated anyway, with a warning.
        const Result untyped = tessark({"gen-model", url, "purchase", "--class", "Purchase", "--out", "gen"});
        QVERIFY2(untyped.code == 0 && untyped.err.contains("warning: column receipt (declared \"BLOB\") has no Qt type"),
                 qPrintable(untyped.err));
        QVERIFY(QFileInfo(path("gen/purchase.h")).isFile());
    }

    void queryFormats_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("expected");
        QTest::newRow("table") << QStringList{} << QStringLiteral("id | name | note       | score\n"
                                                                  "---+------+------------+------\n"
                                                                  " 1 | Ann  | NULL       |   1.5\n"
                                                                  " 2 |      | a,b \"q\"    |  NULL\n"
                                                                  " 3 | Bo   | two\\nlines |     0\n"
                                                                  "(3 rows)\n");
        QTest::newRow("csv") << QStringList{"--format", "csv"}
                             << QStringLiteral("id,name,note,score\n1,Ann,,1.5\n2,\"\",\"a,b \"\"q\"\"\",\n"
                                               "3,Bo,\"two\nlines\",0\n");
        // Compared as parsed JSON: the layout is Qt's. (\u0022: moc misreads \" in a raw string.)
        QTest::newRow("json") << QStringList{"--format", "json"}
                              << R"([{"id": 1, "name": "Ann", "note": null, "score": 1.5},
                                     {"id": 2, "name": "", "note": "a,b \u0022q\u0022", "score": null},
                                     {"id": 3, "name": "Bo", "note": "two\nlines", "score": 0}])";
    }

    void queryFormats()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, expected);
        QVERIFY(writeFile(path("q.json"), R"({"database": "q.db", "tables": [{"name": "t", "columns": [
            {"name": "id", "type": "int", "primaryKey": true}, {"name": "name", "type": "QString"},
            {"name": "note", "type": "QString"}, {"name": "score", "type": "double"}]}]})"));
        ok({"create-db", "q.json"});
        const QString url = "sqlite:" + path("q.db");
        QCOMPARE(ok({"exec", url, "insert into t values (1, 'Ann', NULL, 1.5), (2, '', 'a,b \"q\"', NULL), "
                                  "(3, 'Bo', 'two' || char(10) || 'lines', 0)"}).out,
                 QStringLiteral("OK\n"));
        const QString all = ok(QStringList{"query", url, "select * from t order by id"} + options).out;
        if (options.contains("json")) {
            QJsonParseError error;
            QCOMPARE(QJsonDocument::fromJson(all.toUtf8(), &error), QJsonDocument::fromJson(expected.toUtf8()));
            QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(all));
        } else {
            QCOMPARE(all, expected);
        }
    }

    // No password in what the tool prints or logs, whether it comes in the URL
    // or from TESSARK_PASSWORD (the test server trusts every password).
    void passwordStaysHidden()
    {
        const QString secret = QStringLiteral("s3cr3t-d18");
        Result r = tessark({"tables", "postgresql://someone:" + secret + "@127.0.0.1:1/db"});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.err.contains("warning: a password in the URL is visible")
                         && r.err.contains("cannot connect to postgresql://someone@127.0.0.1:1/db"),
                 qPrintable(r.err));
        QString seen = r.out + r.err;
        TESSARK_REQUIRE_SERVER(Server::PostgreSQL, address);
        const QString url = serverUrl("postgresql", address);
        for (const QStringList& args : {QStringList{"tables", url}, QStringList{"query", url, "select * from no_such_d18"}}) {
            r = tessark(args, {{"TESSARK_PASSWORD", secret}});
            seen += r.out + r.err;
        }
        QCOMPARE(r.code, 1);
        for (const QFileInfo& log : QDir(path("logs")).entryInfoList(QDir::Files))
            seen += readFile(log.filePath());
        QVERIFY2(seen.contains("no_such_d18") && !seen.contains(secret), qPrintable(seen));
    }

    // What doctor reports, and that it fails when the URL's driver is missing
    // or it does not connect; "{scheme}" stands for the test server's URL.
    void doctor_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        auto row = [](const char* name, const char* url, int code, const QString& out, const char* err = "") {
            QTest::newRow(name) << QString(url) << code << out << QString(err);
        };
        const QString versions = QStringLiteral("\nQt: built with %1, running with %2\n").arg(QT_VERSION_STR, qVersion());
        row("driver loads", "", 0, "\n  QSQLITE  SQLite      loads\n");
        row(fakeOci, "", 0, "\n  QOCI     Oracle      missing: its plugin does not load: ");
        row("sqlite", "sqlite:shop.db", 0, "\nConnection sqlite:shop.db: connects; the server is SQLite 3.");
        row("postgresql", "{postgresql}", 0, ": connects; the server is PostgreSQL ");
        row("mysql", "{mysql}", 0, ": connects; the server is ");
        row("driver missing", "oracle://scott@127.0.0.1:1521/orcl", 1, versions,
            "Qt's Oracle driver (QOCI) is not installed; Debian does not package it");
        row("refused", "postgresql://tessark@127.0.0.1:1/db", 1, versions,
            "cannot connect to postgresql://tessark@127.0.0.1:1/db: ");
    }

    void doctor()
    {
        QFETCH(QString, url);
        QFETCH(int, code);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QVERIFY(!createShop().isEmpty());
        if (url.startsWith('{')) {
            const QString scheme = url.mid(1).chopped(1);
            TESSARK_REQUIRE_SERVER(scheme == "mysql" ? Server::MySQL : Server::PostgreSQL, address);
            url = serverUrl(scheme, address);
        }
        QMap<QString, QString> environment;
        if (qstrcmp(QTest::currentDataTag(), fakeOci) == 0) {
            QVERIFY(QDir().mkpath(path("plugins/sqldrivers")));
            QVERIFY(writeFile(path("plugins/sqldrivers/libqsqloci.so"), "not a plugin"));
            environment.insert("QT_PLUGIN_PATH", path("plugins"));
        }
        const QStringList args = url.isEmpty() ? QStringList{"doctor"} : QStringList{"doctor", url};
        const Result r = tessark(args, environment);
        QVERIFY2(r.finished && r.code == code && r.out.contains(out) && r.err.contains(err)
                         && r.err.isEmpty() == err.isEmpty(),
                 qPrintable(describe(args, r)));
    }

    // Usage errors exit 2; what the database or its driver refused exits 1.
    // Rows with a description run create-db on it as bad.json.
    void badInput_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QByteArray>("json");
        auto row = [](const char* name, const QStringList& args, int code, const char* message, const QByteArray& json = {}) {
            QTest::newRow(name) << args << code << QString(message) << json;
        };
        const QStringList createBad = {"create-db", "bad.json"};
        const QStringList gen = {"gen-model", "sqlite:shop.db", "customer"};
        row("no command", {}, 2, "no command");
        row("bad format", {"query", "sqlite:x", "select 1", "--format", "xml"}, 2, "unknown --format \"xml\"");
        row("missing sqlite file", {"tables", "sqlite:missing.db"}, 2, "no SQLite database at");
        row("database exists", {"create-db", "shop.json"}, 2, "exists; pass --force");
        row("demo over a foreign file", {"demo", "--db", "shop.db"}, 2, "is not a demo database");
        row("gen-model: bad key", gen + QStringList{"--class", "A", "--out", "g", "--key", "nope"}, 2,
            "--key nope is not a column of the class; its columns are id, name, joined, score");
        row("refused postgresql", {"tables", "postgresql://tessark@127.0.0.1:1/db"}, 1,
            "cannot connect to postgresql://tessark@127.0.0.1:1/db: "
            "connection to server at \"127.0.0.1\", port 1 failed: Connection refused");
        row("oracle", {"tables", "oracle://scott@127.0.0.1:1521/orcl"}, 1, "Qt's Oracle driver (QOCI) is not installed");
        row("unknown table", {"columns", "sqlite:shop.db", "nosuch"}, 1, "no table \"nosuch\" in sqlite:shop.db");
        row("bad sql: query", {"query", "sqlite:shop.db", "select * from nosuch"}, 1,
            "query failed on sqlite:shop.db: no such table: nosuch");
        row("bad sql: exec", {"exec", "sqlite:shop.db", "update nosuch set a = 1"}, 1,
            "statement failed on sqlite:shop.db: no such table: nosuch");
        row("schema: syntax", createBad, 2, "bad.json:3:19: bad JSON:", "{\n  \"tables\": [\n    {\"name\": \"t\",,}\n  ]\n}");
        row("schema: type case", createBad, 2, "bad.json: tables[0].columns[0]: unknown type \"qstring\"; did you mean \"QString\"?",
            described(R"("name": "a", "type": "qstring")"));
        row("schema: two keys", createBad, 2, "bad.json: tables[0].columns[1]: a second \"primaryKey\"",
            described(R"("name": "a", "type": "int", "primaryKey": true}, {"name": "b", "type": "int", "primaryKey": true)"));
        row("schema: auto-increment text", createBad, 2,
            "bad.json: tables[0].columns[0]: \"autoIncrement\" needs \"primaryKey\": true and an integer type",
            described(R"("name": "a", "type": "QString", "primaryKey": true, "autoIncrement": true)"));
        // A keyword as a name passes the description's checks; SQLite's own words say why it fails.
        row("schema: refused by SQLite", createBad, 1, "create-db: table k was not created: near \"order\": syntax error",
            described(R"("name": "order", "type": "int")", "k"));
    }

    void badInput()
    {
        QFETCH(QStringList, args);
        QFETCH(int, code);
        QFETCH(QString, message);
        QFETCH(QByteArray, json);
        const QString shop = createShop();
        QVERIFY(!shop.isEmpty() && (json.isEmpty() || writeFile(path("bad.json"), json)));
        const QMap<QString, QString> before = sqliteSchema(shop);
        const Result r = tessark(args);
        QVERIFY2(r.finished && r.code == code && r.out.isEmpty() && r.err.startsWith("tessark: ")
                         && r.err.contains(message) && r.err.count('\n') == 1,
                 qPrintable(describe(args, r)));
        QVERIFY(!QFileInfo(path("g")).exists() && (code == 1 || !QFileInfo(path("x.db")).exists()));
        QCOMPARE(sqliteSchema(shop), before);
    }
};

TESSARK_TEST_MAIN(TestCli)

#include "tst_cli.moc"
