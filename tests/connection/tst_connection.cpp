// The connection layer against real SQLite files and the throwaway servers.
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QThread>
#include <QtTest>

#include <atomic>

#include "../common/backends.h"
#include "core/threadconnections.h"
#include "oracle/oraclehelp.h"

using namespace TessarkTest;

namespace {

int count(Tessark::ConnectionCore& h, const QString& table)
{
    return h.QueryRow(QStringLiteral("select count(*) from %1").arg(table));
}

// Drops the table on every exit path of a test.
struct DropTable
{
    const Backend& b;
    QString table;
    ~DropTable() { b.exec(QStringLiteral("drop table %1").arg(table)); }
};

} // namespace

class TestConnection : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }
    void cleanup() { TESSARK_VERIFY_EXPECTED_MESSAGES(); }

    void namesAndSigns_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("sign");
        QTest::addColumn<QString>("expectedName");
        QTest::addColumn<QString>("expectedSign");

        SQLiteHelp fresh;
        QTest::newRow("sqlite before InitInfo") << fresh.connectionName() << fresh.GetSign() << "defaultSQLite" << "";
        SQLiteHelp untagged;
        untagged.InitInfo("C:/data/a.db", "");
        QTest::newRow("sqlite untagged") << untagged.connectionName() << untagged.GetSign() << "default|a.db" << "a.db";
        SQLiteHelp tagged;
        tagged.InitInfo("/tmp/x/a.db", "t1");
        QTest::newRow("sqlite tagged") << tagged.connectionName() << tagged.GetSign() << "t1|a.db" << "a.db";

        PostgreSQLHelp pg;
        QTest::newRow("postgresql before InitInfo") << pg.connectionName() << pg.GetSign() << "defaultPostgreSQL" << "";
        pg.InitInfo("h", 5432, "u", "p", "d", "");
        QTest::newRow("postgresql untagged") << pg.connectionName() << pg.GetSign() << "default|h|5432|u|p|d"
                                             << "h|5432|u|p|d";
        MySqlHelp my;
        QTest::newRow("mysql before InitInfo") << my.connectionName() << my.GetSign() << "defaultMySql" << "";
        my.InitInfo("h", 3306, "u", "p", "d", "tag");
        QTest::newRow("mysql tagged") << my.connectionName() << my.GetSign() << "tag|h|3306|u|p|d" << "h|3306|u|p|d";
        OracleHelp ora;
        QTest::newRow("oracle before InitInfo") << ora.connectionName() << ora.GetSign() << "defaultOracle" << "";
        ora.InitInfo("dbhost", 1521, "u", "p", "ORCL", "");
        QTest::newRow("oracle database name") << ora.connectionName() << ora.connectDatabaseName()
                                              << "default|dbhost|1521|u|p|ORCL" << "dbhost:1521/ORCL";
        QCOMPARE(my.GetDatabaseName(), QStringLiteral("d"));
    }
    void namesAndSigns()
    {
        QFETCH(QString, name);
        QFETCH(QString, sign);
        QFETCH(QString, expectedName);
        QFETCH(QString, expectedSign);
        QCOMPARE(name, expectedName);
        QCOMPARE(sign, expectedSign);
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
        QCOMPARE(opened.count(), 1);
        QCOMPARE(opened.at(0).at(0).toBool(), true);
        QCOMPARE(opened.at(0).at(1).toInt(), int(b.type));

        QVERIFY(h->Execution(b.createPersonTable(table)));
        DropTable drop{b, table};
        QVERIFY(h->Insert(QStringLiteral("insert into %1 (username, score) values ('ann', 1.5)").arg(table)));
        QVERIFY(h->Insert(QStringLiteral("insert into %1 (username, score) values ('bob', 2.5)").arg(table)));
        QVERIFY(h->Update(QStringLiteral("update %1 set score = 3 where username = 'bob'").arg(table)));

        const RowList rows = h->Query(QStringLiteral("select username, score, username as username from %1 order by id")
                                          .arg(table));
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
        QVERIFY(!h->Execution(QString()));
        QVERIFY(h->Query(QString()).isEmpty());
        QVERIFY(h->QueryFirst(QString()).isEmpty());
        QCOMPARE(h->QueryRow(QString()), 0);
        QVERIFY(!h->ExecutionList(QStringList(), true));
        QCOMPARE(log.readAll(), QString());
        QVERIFY(opened.count() > 1); // fires on every call, not only the first open
    }

    // Each failure writes its message followed by the driver's text, once.
    void failuresAreLogged_data() { addBackendRows(); }
    void failuresAreLogged()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        auto h = b.help();
        const QString bad = QStringLiteral("select * from %1").arg(uniqueName("missing"));
        QVERIFY(!h->Execution(bad));
        QVERIFY(h->Query(bad).isEmpty());
        QVERIFY(h->QueryFirst(bad).isEmpty());
        QCOMPARE(h->QueryRow(bad), 0);
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
        DropTable drop{b, table};
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
    }

    void idBatch_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("sqlite") << int(Kind::SQLite);
        QTest::newRow("mysql") << int(Kind::MySQL);
    }
    void idBatch()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("ids");
        auto h = b.help(uniqueName("t"));
        QVERIFY(h->Execution(b.createPersonTable(table)));
        DropTable drop{b, table};
        const QString ok = QStringLiteral("insert into %1 (username) values ('x')").arg(table);
        const QString bad = QStringLiteral("insert into %1 (nosuchcolumn) values ('x')").arg(table);
        const QString idQuery = b.kind == Kind::SQLite ? QStringLiteral("SELECT LAST_INSERT_ROWID() as id")
                                                       : QStringLiteral("SELECT LAST_INSERT_ID() as id");
        const QList<FieldPair> pairs{{"id", idQuery}, {"id", idQuery}, {"id", idQuery}};
        QList<QVariant> ids{QVariant(-1)};
        auto run = [&](QList<QVariant>& out, const QStringList& sqls, bool cont) {
            if (b.kind == Kind::SQLite)
                return static_cast<SQLiteHelp*>(h.get())->InsertList(sqls, pairs, out, cont);
            return static_cast<MySqlHelp*>(h.get())->InsertList(sqls, pairs, out, cont);
        };
        QVERIFY(run(ids, {ok, bad, ok, ok}, true));
        // Appended, one per executed statement: new id, 0 for the failure, 0 past the pairs.
        QCOMPARE(ids, (QList<QVariant>{-1, 1, 0, 2, 0}));
        QList<QVariant> stopped;
        QVERIFY(!run(stopped, {ok, bad, ok}, false));
        QCOMPARE(stopped.size(), 2);
        QCOMPARE(count(*h, table), 3);
    }

    // A batch whose transaction cannot begin reports failure and collects nothing.
    void batchWithoutTransactionFails()
    {
        LogFolder log;
        QTemporaryDir dir;
        const QString file = dir.filePath("busy.db");
        QFile(file).open(QIODevice::WriteOnly);
        SQLiteHelp h;
        h.InitInfo(file, uniqueName("busy"));
        QVERIFY(h.InitConnect());
        {
            // A transaction already open on the same connection makes BEGIN fail.
            QSqlDatabase db = QSqlDatabase::database(h.connectionName(), false);
            QVERIFY(db.transaction());
        }
        QList<QVariant> ids{QVariant(5)};
        QVERIFY(!h.InsertList({"create table a(x)"}, {FieldPair("x", "select 1 as x")}, ids, true));
        QVERIFY(!h.ExecutionList({"create table b(x)"}, false));
        QVERIFY(!h.Execution("create table c(x)"));
        QCOMPARE(ids, QList<QVariant>{QVariant(5)});
        const QStringList messages = log.messages();
        QCOMPARE(messages.size(), 3);
        for (const QString& m : messages)
            QVERIFY2(m.startsWith(QStringLiteral("SQLite执行SQL语出出错 错误信息：\n")) && m.contains("transaction"),
                     qPrintable(m));
        QSqlDatabase::database(h.connectionName(), false).rollback();
    }

    // A session the server ends is noticed, logged and reopened on the next call.
    void lostSessionIsReopened_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("postgresql") << int(Kind::PostgreSQL);
        QTest::newRow("mysql") << int(Kind::MySQL);
    }
    void lostSessionIsReopened()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("lost");
        auto h = b.help(uniqueName("victim"));
        QVERIFY(h->Execution(b.createPersonTable(table)));
        DropTable drop{b, table};
        const bool pg = b.kind == Kind::PostgreSQL;
        const Row session = h->QueryFirst(pg ? "select pg_backend_pid() as id" : "select connection_id() as id");
        QVERIFY(!session.isEmpty());
        auto killer = b.help(uniqueName("killer"));
        const QString id = session.value("id").toString();
        QVERIFY(killer->Execution(pg ? "select pg_terminate_backend(" + id + ")" : "KILL " + id));

        const QString insert = QStringLiteral("insert into %1 (username) values ('x')").arg(table);
        QVERIFY(!h->ExecutionList({insert, insert}, false)); // the batch dies with the session
        QCOMPARE(killer->QueryRow(QStringLiteral("select count(*) from %1").arg(table)), 0);
        QVERIFY(h->Execution(insert)); // reopened without the caller doing anything
        QCOMPARE(h->QueryRow(QStringLiteral("select count(*) from %1").arg(table)), 1);
        const QStringList messages = log.messages();
        QVERIFY(!messages.isEmpty());
        QVERIFY2(messages.last().contains("connection lost, reopening"), qPrintable(messages.join("|")));
    }

    void missingSqliteFile()
    {
        LogFolder log;
        QTemporaryDir dir;
        const QString path = dir.filePath("none/missing.db");
        SQLiteHelp h;
        h.InitInfo(path, "x");
        QVERIFY(!h.InitConnect());
        QVERIFY(!h.Execution("select 1"));
        QVERIFY(h.Query("select 1").isEmpty());
        QCOMPARE(h.QueryRow("select 1"), 0);
        QVERIFY(!QFile::exists(path));
        const QStringList messages = log.messages();
        QCOMPARE(messages.size(), 4);
        for (const QString& m : messages)
            QCOMPARE(m, QStringLiteral("打开SQLite数据库失败 错误信息：\n%1数据文件未找到").arg(path));
    }

    void refusedServer_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("postgresql") << 0;
        QTest::newRow("mysql") << 3;
    }
    void refusedServer()
    {
        QFETCH(int, type);
        LogFolder log;
        std::unique_ptr<Tessark::ServerConnection> h;
        if (type == 0)
            h = std::make_unique<PostgreSQLHelp>();
        else
            h = std::make_unique<MySqlHelp>();
        h->InitInfo("127.0.0.1", 1, "nobody", "", "nothing", uniqueName("refused"));
        QSignalSpy opened(h.get(), &Tessark::ConnectionCore::OpenEvent);
        QVERIFY(!h->InitConnect());
        QVERIFY(!h->Execution("select 1"));
        QCOMPARE(h->QueryRow("select 1"), 0);
        QVERIFY(opened.count() >= 1);
        QCOMPARE(opened.at(0).at(0).toBool(), false);
        QCOMPARE(opened.at(0).at(1).toInt(), type);
        const QString head = QStringLiteral("打开%1数据库失败 错误信息：\n").arg(type == 0 ? "PostgreSQL" : "MySql");
        const QStringList messages = log.messages();
        QCOMPARE(messages.size(), 3);
        for (const QString& m : messages)
            QVERIFY2(m.startsWith(head) && m.size() > head.size(), qPrintable(m));
    }

    // No QOCI driver exists here: every call fails cleanly and says why.
    void oracleWithoutDriver()
    {
        LogFolder log;
        OracleHelp h;
        h.InitInfo("dbhost", 1521, "u", "p", "ORCL", uniqueName("ora"));
        QSignalSpy opened(&h, &Tessark::ConnectionCore::OpenEvent);
        expectMessage(QtWarningMsg, "QOCI driver not loaded");
        expectMessage(QtWarningMsg, "available drivers");
        QVERIFY(!h.InitConnect());
        QVERIFY(!h.Execution("select 1 from dual"));
        QVERIFY(!h.ExecutionList({"select 1 from dual"}, true));
        QVERIFY(h.Query("select 1 from dual").isEmpty());
        QVERIFY(h.QueryFirst("select 1 from dual").isEmpty());
        QCOMPARE(h.QueryRow("select 1 from dual"), 0);
        QCOMPARE(opened.count(), 6);
        for (const auto& args : opened) {
            QCOMPARE(args.at(0).toBool(), false);
            QCOMPARE(args.at(1).toInt(), 1);
        }
        const QStringList messages = log.messages();
        QVERIFY(messages.size() >= 6);
        QVERIFY(messages.first().startsWith(QStringLiteral("连接Oracle数据库失败 错误信息：\n")));
        QVERIFY(messages.last().startsWith(QStringLiteral("打开Oracle数据库失败 错误信息：\n")));
        QVERIFY(messages.last().contains(QStringLiteral("Driver not loaded")));
    }

    void destructorAndClose()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath("life.db");
        QFile(file).open(QIODevice::WriteOnly);
        QString taggedName;
        {
            SQLiteHelp tagged;
            tagged.InitInfo(file, uniqueName("tag"));
            QVERIFY(tagged.InitConnect());
            taggedName = tagged.connectionName();
            QVERIFY(QSqlDatabase::contains(taggedName));
        }
        QVERIFY(!QSqlDatabase::contains(taggedName));

        const QString untaggedName = QStringLiteral("default|life.db");
        {
            SQLiteHelp untagged;
            untagged.InitInfo(file, QString());
            QVERIFY(untagged.InitConnect());
        }
        QVERIFY(QSqlDatabase::contains(untaggedName)); // shared, outlives its objects
        SQLiteHelp closer;
        closer.InitInfo(file, QString());
        closer.Close();
        QVERIFY(!QSqlDatabase::contains(untaggedName));
        QVERIFY(closer.QueryRow("select 1") == 1); // reconnects on the next call
        closer.Close();
    }

    // Several threads on one object and on several objects sharing one
    // database: every row arrives, and Qt never complains about threads.
    void threads_data() { addBackendRows(); }
    void threads()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("threads");
        QVERIFY(b.exec(b.createPersonTable(table)));
        DropTable drop{b, table};
        const int threadCount = 6;
        const int perThread = 25;
        auto shared = b.help();
        std::vector<std::unique_ptr<Tessark::ConnectionCore>> own;
        for (int i = 0; i < threadCount; ++i)
            own.push_back(b.help(i % 2 ? QString() : uniqueName("own")));
        std::atomic<int> failures{0};
        QList<QThread*> workers;
        for (int t = 0; t < threadCount; ++t) {
            Tessark::ConnectionCore* target = t % 3 == 0 ? shared.get() : own[size_t(t)].get();
            workers.append(QThread::create([&, target, t] {
                for (int i = 0; i < perThread; ++i) {
                    const QString sql = QStringLiteral("insert into %1 (username) values ('t%2')").arg(table).arg(t);
                    if (!target->Execution(sql))
                        ++failures;
                    if (target->QueryRow(QStringLiteral("select count(*) from %1").arg(table)) < 1)
                        ++failures;
                }
            }));
        }
        for (QThread* w : workers)
            w->start();
        for (QThread* w : workers) {
            QVERIFY(w->wait(120000));
            delete w;
        }
        QCOMPARE(failures.load(), 0);
        QCOMPARE(count(*shared, table), threadCount * perThread);
        QCOMPARE(log.readAll(), QString());
        // Threads that finished took their own connections with them.
        QCOMPARE(Tessark::ThreadConnections::namesOf(shared->connectionName()).size(), 1);
    }
};

TESSARK_TEST_MAIN(TestConnection)
#include "tst_connection.moc"
