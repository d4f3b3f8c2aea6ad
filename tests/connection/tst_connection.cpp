// The connection layer against real SQLite files and the throwaway servers.
#include <QSqlError>

#include "../common/backends.h"
#include "../common/testrecords.h"
#include "core/rules.h"
#include "oracle/oraclehelp.h"

using namespace TessarkTest;

namespace {

int count(Tessark::ConnectionCore& h, const QString& table)
{
    return h.QueryRow(QStringLiteral("select count(*) from %1").arg(table));
}

} // namespace

class TestConnection : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }
    void cleanup() { TESSARK_VERIFY_EXPECTED_MESSAGES(); }

    // Connection name, then sign (for Oracle the database name it connects to).
    void namesAndSigns_data()
    {
        QTest::addColumn<QString>("actual");
        QTest::addColumn<QString>("expected");
        auto row = [](const char* tag, const Tessark::ConnectionCore& h, const char* expected, const QString& sign = {}) {
            QTest::newRow(tag) << h.connectionName() + " " + (sign.isNull() ? h.GetSign() : sign) << QString::fromUtf8(expected);
        };
        SQLiteHelp untagged, tagged, elsewhere, again;
        untagged.InitInfo("C:/data/a.db", "");
        row("sqlite untagged", untagged, "default|a.db a.db");
        tagged.InitInfo("/tmp/x/a.db", "t1");
        row("sqlite tagged", tagged, "t1|a.db a.db");
        // Another file of that name under that tag: the name plus a digest of its path.
        elsewhere.InitInfo("/tmp/y/a.db", "t1");
        row("sqlite same file name elsewhere", elsewhere, "t1|a.db#b5e9d086a4e0 a.db");
        again.InitInfo("/tmp/x/../x/a.db", "t1");
        row("sqlite first file keeps its name", again, "t1|a.db a.db");
        // The password's place holds the first 16 hex digits of its SHA-256.
        PostgreSQLHelp pg, pgOther, pgNone;
        pg.InitInfo("h", 5432, "u", "p", "d", "");
        row("postgresql untagged", pg, "default|h|5432|u|148de9c5a7a44d19|d h|5432|u|148de9c5a7a44d19|d");
        pgOther.InitInfo("h", 5432, "u", "q", "d", "");
        row("postgresql other password", pgOther, "default|h|5432|u|8e35c2cd3bf6641b|d h|5432|u|8e35c2cd3bf6641b|d");
        pgNone.InitInfo("h", 5432, "u", "", "d", "");
        row("postgresql no password", pgNone, "default|h|5432|u||d h|5432|u||d");
        MySqlHelp my;
        my.InitInfo("h", 3306, "u", "p", "d", "tag");
        row("mysql tagged", my, "tag|h|3306|u|148de9c5a7a44d19|d h|3306|u|148de9c5a7a44d19|d d", my.GetSign() + " " + my.GetDatabaseName());
        OracleHelp ora;
        ora.InitInfo("dbhost", 1521, "u", "p", "ORCL", "");
        row("oracle database name", ora, "default|dbhost|1521|u|148de9c5a7a44d19|ORCL dbhost:1521/ORCL", ora.connectDatabaseName());
    }
    void namesAndSigns()
    {
        QFETCH(QString, actual);
        QFETCH(QString, expected);
        QCOMPARE(actual, expected);
    }

    // Which errors mean the session is gone, per database: codes alone, and
    // libpq's dropped socket, which has no code.
    void lostConnectionRules_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("lost");
        const int pg = int(Tessark::Kind::PostgreSQL), my = int(Tessark::Kind::MySQL), ora = int(Tessark::Kind::Oracle);
        QTest::newRow("pg connection exception") << pg << "08006" << "" << true;
        QTest::newRow("pg admin shutdown") << pg << "57P01" << "" << true;
        QTest::newRow("pg socket closed") << pg << "" << "server closed the connection unexpectedly" << true;
        QTest::newRow("pg unique violation") << pg << "23505" << "duplicate key" << false;
        QTest::newRow("mysql gone away") << my << "2006" << "" << true;
        QTest::newRow("mysql killed") << my << "1927" << "" << true;
        QTest::newRow("mysql duplicate") << my << "1062" << "" << false;
        QTest::newRow("oracle end of channel") << ora << "3113" << "" << true;
        QTest::newRow("oracle other code holding 3113") << ora << "31130" << "" << false;
        QTest::newRow("sqlite never") << int(Tessark::Kind::SQLite) << "08006" << "" << false;
    }
    void lostConnectionRules()
    {
        QFETCH(int, kind);
        QFETCH(QString, code);
        QFETCH(QString, text);
        QFETCH(bool, lost);
        const auto isLost = Tessark::rulesFor(DbType(kind))->connection.connectionLost;
        QCOMPARE(isLost && isLost(QSqlError(QString(), text, QSqlError::StatementError, code)), lost);
    }

    void executeAndRead_data() { addBackendRows(); }
    void executeAndRead()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("conn");
        auto h = b.help(uniqueName("t"));
        QSignalSpy opened(h.get(), &Tessark::ConnectionCore::OpenEvent);
        QVERIFY(h->InitConnect());
        QCOMPARE(QList<QList<QVariant>>(opened), QList<QList<QVariant>>{(QList<QVariant>{true, int(b.type)})});

        QVERIFY(h->Execution(b.createPersonTable(table)));
        DropTables drop{b, {table}};
        QVERIFY(h->Insert(QStringLiteral("insert into %1 (username, score) values ('ann', 1.5), ('bob', 2.5)").arg(table)));
        QVERIFY(h->Update(QStringLiteral("update %1 set score = 3 where username = 'bob'").arg(table)));

        const RowList rows = h->Query(QStringLiteral("select username, score, score as username from %1 order by id").arg(table));
        QCOMPARE(rows.size(), 2);
        QCOMPARE(rows.at(0).value("username").toString(), QStringLiteral("ann"));
        QCOMPARE(rows.at(1).value("score").toDouble(), 3.0);
        QCOMPARE(rows.at(0).size(), 2); // two same-named columns give one key

        const Row first = h->QueryFirst(QStringLiteral("select username from %1 order by id desc").arg(table));
        QCOMPARE(first.value("username").toString(), QStringLiteral("bob"));
        QVERIFY(h->QueryFirst(QStringLiteral("select * from %1 where id < 0").arg(table)).isEmpty());
        QCOMPARE(count(*h, table), 2);
        QVERIFY(h->Delete(QStringLiteral("delete from %1 where username = 'ann'").arg(table)));
        QCOMPARE(count(*h, table), 1);

        // Empty input: failure values, nothing logged.
        QVERIFY(!h->Execution(QString()) && h->Query(QString()).isEmpty() && h->QueryFirst(QString()).isEmpty());
        QVERIFY(h->QueryRow(QString()) == 0 && !h->ExecutionList(QStringList(), true));
        QCOMPARE(log.readAll(), QString());
        QVERIFY(opened.count() > 1); // fires on every call, not only the first open

        // Each failure writes its message followed by the driver's text, once.
        const QString bad = QStringLiteral("select * from %1").arg(uniqueName("missing"));
        QVERIFY(!h->Execution(bad) && h->Query(bad).isEmpty() && h->QueryFirst(bad).isEmpty() && h->QueryRow(bad) == 0);
        const QStringList messages = log.messages();
        QCOMPARE(messages.size(), 4);
        const QString heads[] = {"执行SQL语出出错 错误信息：\n", "查询出错 错误信息：\n",
                                 "查询首行出错 错误信息：\n", "查询行数出错 错误信息：\n"};
        for (int i = 0; i < 4; ++i) {
            QVERIFY2(messages.at(i).startsWith(b.displayName + heads[i]), qPrintable(messages.at(i)));
            QVERIFY2(messages.at(i).size() > b.displayName.size() + heads[i].size(), "driver text missing");
        }
    }

    void batches_data() { addBackendRows(); }
    void batches()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("batch");
        auto h = b.help(uniqueName("t"));
        QVERIFY(h->Execution(b.createPersonTable(table)));
        DropTables drop{b, {table}};
        const QString ok = QStringLiteral("insert into %1 (username) values ('x')").arg(table);
        const QString bad = QStringLiteral("insert into %1 (nosuchcolumn) values ('x')").arg(table);

        QVERIFY(h->ExecutionList({ok, ok}, false));
        QCOMPARE(count(*h, table), 2);

        // Stop at the first failure and roll everything back.
        QVERIFY(!h->ExecutionList({ok, bad, ok}, false));
        QCOMPARE(count(*h, table), 2);
        QCOMPARE(log.messages().size(), 1); // the statement after the failure never ran

        // Continue past failures: successes are kept and the last statement decides.
        const bool lastOk = h->ExecutionList({ok, bad, ok}, true);
        QCOMPARE(count(*h, table), b.abortsOnError ? 2 : 4);
        QCOMPARE(lastOk, !b.abortsOnError);
        QCOMPARE(h->UpdateList({bad}, true), false);
        QCOMPARE(h->DeleteList({QStringLiteral("delete from %1").arg(table)}, false), true);
        QCOMPARE(count(*h, table), 0);
        if (!b.collectsIds)
            return;

        // The id batch appends per executed statement the new id, 0 for a failure and 0 past the pairs.
        const QString idQuery = QStringLiteral("SELECT %1() as id").arg(b.kind == Kind::SQLite ? "LAST_INSERT_ROWID" : "LAST_INSERT_ID");
        const QList<FieldPair> pairs{{"id", idQuery}, {"id", idQuery}, {"id", idQuery}};
        auto run = [&](QList<QVariant>& out, const QStringList& sqls, bool cont) {
            if (b.kind == Kind::SQLite)
                return static_cast<SQLiteHelp*>(h.get())->InsertList(sqls, pairs, out, cont);
            return static_cast<MySqlHelp*>(h.get())->InsertList(sqls, pairs, out, cont);
        };
        QList<QVariant> ids{-1};
        QVERIFY(run(ids, {ok, bad, ok, ok}, true));
        const RowList stored = h->Query(QStringLiteral("select id from %1 order by id").arg(table));
        QCOMPARE(stored.size(), 3);
        QCOMPARE(ids, (QList<QVariant>{-1, stored.at(0).value("id"), 0, stored.at(1).value("id"), 0}));
        QList<QVariant> stopped;
        QVERIFY(!run(stopped, {ok, bad, ok}, false));
        QCOMPARE(stopped.size(), 2);
        QCOMPARE(count(*h, table), 3);
    }

    // A batch whose transaction cannot begin reports failure and collects nothing.
    void batchWithoutTransactionFails()
    {
        LogFolder log;
        TESSARK_BACKEND_OF(b, Kind::SQLite);
        SQLiteHelp h;
        b.init(h, uniqueName("busy"));
        // A transaction already open on the same connection makes BEGIN fail.
        QVERIFY(h.InitConnect() && QSqlDatabase::database(h.connectionName(), false).transaction());
        QList<QVariant> ids{QVariant(5)};
        QVERIFY(!h.InsertList({"create table a(x)"}, {FieldPair("x", "select 1 as x")}, ids, true));
        QVERIFY(!h.ExecutionList({"create table b(x)"}, false) && !h.Execution("create table c(x)"));
        QCOMPARE(ids, QList<QVariant>{QVariant(5)});
        const QStringList messages = log.messages();
        QCOMPARE(messages.size(), 3);
        for (const QString& m : messages)
            QVERIFY2(m.startsWith(QStringLiteral("SQLite执行SQL语出出错 错误信息：\n")) && m.contains("transaction"),
                     qPrintable(m));
        QSqlDatabase::database(h.connectionName(), false).rollback();
    }

    // A COMMIT that fails (a deferred constraint) is a failure: nothing was stored.
    // A record update goes as one message (BEGIN, statement, COMMIT): failing at
    // COMMIT or in the statement, it answers and logs as the text does, and the
    // session stays usable.
    void failedCommitIsAFailure()
    {
        TESSARK_BACKEND_OF(b, Kind::PostgreSQL);
        LogFolder log;
        const QString table = uniqueName("deferred");
        auto h = b.help(uniqueName("t"));
        QVERIFY(h->Execution(QStringLiteral("create table %1 (id int primary key, username text check (username <> "
                                            "'bad'), score int references %1(id) deferrable initially deferred)")
                                 .arg(table)));
        DropTables drop{b, {table}};
        QVERIFY(!h->Execution(QStringLiteral("insert into %1 (id, score) values (1, 99)").arg(table)));
        QVERIFY(!h->ExecutionList({QStringLiteral("insert into %1 (id, score) values (2, 98)").arg(table)}, false));
        QCOMPARE(count(*h, table), 0);
        QVERIFY(h->Execution(QStringLiteral("insert into %1 values (1, 'ok', 1)").arg(table)));
        withQuery(b, uniqueName("q"), [&](auto& q) {
            Person p(table);
            p.id = 1;
            p.score = 99;
            QVERIFY(!q.Update(&p));
            p.score = 1;
            p.UserName = QStringLiteral("bad");
            QVERIFY(!q.Update(&p));
            p.UserName = QStringLiteral("good");
            QVERIFY(q.Update(&p));
        });
        QCOMPARE(h->QueryFirst(QStringLiteral("select username from %1").arg(table)).value("username").toString(),
                 QStringLiteral("good"));
        QCOMPARE(log.messages().size(), 4);
    }

    // A database that cannot be opened: every call fails, says why, and the
    // open is announced as failed. No QOCI driver exists here.
    void unreachable_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("name");
        QTest::newRow("postgresql refused") << 0 << "PostgreSQL";
        QTest::newRow("oracle without driver") << 1 << "Oracle";
        QTest::newRow("sqlite file missing") << 2 << "SQLite";
        QTest::newRow("mysql refused") << 3 << "MySql";
    }
    void unreachable()
    {
        QFETCH(int, type);
        QFETCH(QString, name);
        LogFolder log;
        QTemporaryDir dir;
        const QString path = dir.filePath("none/missing.db");
        Backend b;
        b.kind = type == 2 ? Kind::SQLite : type == 0 ? Kind::PostgreSQL : Kind::MySQL;
        b.file = path;
        b.server = {Server::PostgreSQL, "127.0.0.1", 1, "nobody", "", "nothing"};
        auto oracle = std::make_unique<OracleHelp>();
        b.init(*oracle, uniqueName("unreachable"));
        const std::unique_ptr<Tessark::ConnectionCore> h = type == 1 ? std::move(oracle) : b.help(uniqueName("unreachable"));
        if (type == 1) {
            expectMessage(QtWarningMsg, "QOCI driver not loaded");
            expectMessage(QtWarningMsg, "available drivers");
        }
        QSignalSpy opened(h.get(), &Tessark::ConnectionCore::OpenEvent);
        QVERIFY(!h->InitConnect() && !h->Execution("select 1") && !h->ExecutionList({"select 1"}, true));
        QVERIFY(h->Query("select 1").isEmpty() && h->QueryFirst("select 1").isEmpty() && h->QueryRow("select 1") == 0);
        QVERIFY(!QFile::exists(path));
        QCOMPARE(opened.count(), type == 2 ? 0 : 6); // a missing file is refused before any open
        for (const auto& args : opened)
            QCOMPARE(args, (QList<QVariant>{false, type}));

        QStringList messages = log.messages();
        if (type == 1) // the failed driver load is logged once, on the first call
            QVERIFY(messages.takeFirst().startsWith(QStringLiteral("连接Oracle数据库失败 错误信息：\n")));
        QCOMPARE(messages.size(), 6);
        const QString head = QStringLiteral("打开%1数据库失败 错误信息：\n").arg(name);
        for (const QString& m : messages) {
            if (type == 2)
                QCOMPARE(m, head + path + QStringLiteral("数据文件未找到"));
            QVERIFY2(m.startsWith(head) && m.size() > head.size(), qPrintable(m));
        }
        if (type == 1)
            QVERIFY(messages.last().contains(QStringLiteral("Driver not loaded")));
    }

    // Two files of one name in different folders, under one tag: each write
    // lands in its own file.
    void sameFileNameElsewhere()
    {
        LogFolder log;
        QTemporaryDir dir;
        const QString tag = uniqueName("same");
        const QString files[] = {dir.filePath("a/shop.db"), dir.filePath("b/shop.db")};
        std::unique_ptr<SQLiteHelp> helps[2];
        for (int i = 0; i < 2; ++i) {
            QVERIFY(QDir().mkpath(QFileInfo(files[i]).path()));
            QVERIFY(QFile(files[i]).open(QIODevice::WriteOnly));
            helps[i] = std::make_unique<SQLiteHelp>();
            helps[i]->InitInfo(files[i], tag);
            QVERIFY(helps[i]->Execution("create table t (v text)"));
            QVERIFY(helps[i]->Execution(QStringLiteral("insert into t values ('%1')").arg(i)));
        }
        for (int i = 0; i < 2; ++i) { // each read under a tag of its own, so on a connection of its own
            SQLiteHelp reader;
            reader.InitInfo(files[i], uniqueName("reader"));
            QCOMPARE(reader.QueryFirst("select group_concat(v) as v from t").value("v").toString(), QString::number(i));
        }
        QCOMPARE(log.messages(), QStringList());
    }

    // No password in a connection name, a sign, a log entry or any Qt message
    // (Qt names connections in its warnings); the guard fails the run on any
    // message holding it. PostgreSQL here trusts every password.
    void passwordStaysHidden_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("postgresql") << int(Kind::PostgreSQL);
        QTest::newRow("mysql") << int(Kind::MySQL);
    }
    void passwordStaysHidden()
    {
        TESSARK_BACKEND(b);
        const QString secret = QStringLiteral("Pw-d18-secret");
        forbidInMessages(secret);
        LogFolder log;
        b.server.password = secret;
        auto h = b.help(uniqueName("pw"));
        const bool opened = h->InitConnect(); // MySQL refuses the password: the failure is logged
        QCOMPARE(opened, b.kind == Kind::PostgreSQL);
        QVERIFY(!h->Execution("select * from no_such_table_here"));
        QVERIFY(!log.messages().isEmpty());
        if (opened) {
            // Qt names the connection when it is removed while still in use.
            QSqlDatabase held = QSqlDatabase::database(h->connectionName(), false);
            expectMessage(QtWarningMsg, "is still in use");
            h->Close();
        }
        QVERIFY(!h->connectionName().contains(secret));
        QVERIFY(!h->GetSign().contains(secret));
        QVERIFY(!QSqlDatabase::connectionNames().join(' ').contains(secret));
        QVERIFY(!log.readAll().contains(secret));
    }

    // A tagged connection goes with its object; the untagged one is shared
    // and stays until Close.
    void destructorAndClose()
    {
        TESSARK_BACKEND_OF(b, Kind::SQLite);
        const QString name = QFileInfo(b.file).fileName(), tag = uniqueName("tag");
        QVERIFY(b.help(tag)->InitConnect() && QSqlDatabase::contains(tag + "|" + name));
        QVERIFY(!QSqlDatabase::contains(tag + "|" + name));
        QVERIFY(b.help()->InitConnect());
        QVERIFY(QSqlDatabase::contains("default|" + name)); // shared, outlives its objects
        const auto closer = b.help();
        closer->Close();
        QVERIFY(!QSqlDatabase::contains("default|" + name));
        QVERIFY(closer->QueryRow("select 1") == 1); // reconnects on the next call
        closer->Close();
    }

    // Both categories are silent until enabled; then one debug line per
    // statement with sign, thread, duration and rows, and one warning per
    // statement over the threshold. No password shows (PostgreSQL here
    // trusts every password).
    void tracing_data() { addBackendRows(); }
    void tracing()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString secret = QStringLiteral("Pw-trace-secret");
        if (b.kind == Kind::PostgreSQL)
            b.server.password = secret;
        const QString table = uniqueName("trace");
        auto h = b.help(uniqueName("t"));
        QVERIFY(h->Execution(b.createPersonTable(table)));
        DropTables drop{b, {table}};
        const QString insert = QStringLiteral("insert into %1 (username) values ('ann')").arg(table);
        {
            TraceCapture off{QString()};
            QVERIFY(h->Execution(insert));
            QCOMPARE(TraceCapture::take(), QStringList());
        }

        TraceCapture on{QStringLiteral("tessark.sql.debug=true\ntessark.sql.slow.warning=true")};
        Tessark::setSlowStatementThreshold(0);
        QVERIFY(h->Execution(insert));
        QCOMPARE(h->Query(QStringLiteral("select * from %1").arg(table)).size(), 2);
        QCOMPARE(h->QueryFirst(QStringLiteral("select * from %1 where id < 0").arg(table)).size(), 0);
        QCOMPARE(count(*h, table), 2);
        QVERIFY(!h->Execution(QStringLiteral("select * from %1").arg(uniqueName("missing"))));
        const QStringList outcomes = {"1 row affected", "2 rows returned", "0 rows returned", "1 row returned", "failed"};
        const QStringList lines = TraceCapture::take();
        QCOMPARE(lines.size(), 2 * outcomes.size());
        for (int i = 0; i < outcomes.size(); ++i) {
            const QString debug = lines.at(2 * i);
            const QString prefix = QStringLiteral("tessark.sql [%1] thread main, ").arg(h->GetSign());
            QVERIFY2(debug.startsWith(prefix) && debug.contains(" ms, " + outcomes.at(i) + ": "), qPrintable(debug));
            QVERIFY2(lines.at(2 * i + 1).startsWith("tessark.sql.slow [" + h->GetSign() + "] slow statement, "),
                     qPrintable(lines.at(2 * i + 1)));
        }
        QVERIFY(!lines.join('\n').contains(secret));

        Tessark::setSlowStatementThreshold(60000);
        QCOMPARE(count(*h, table), 2);
        QCOMPARE(TraceCapture::take().size(), 1); // the debug line only
    }
};

TESSARK_TEST_MAIN(TestConnection)
#include "tst_connection.moc"
