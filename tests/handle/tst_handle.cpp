// ExtendHandle forwards every call to the persistence object of its kind.
#include <QSqlDatabase>
#include <QtTest>

#include "../common/backends.h"
#include "../common/testrecords.h"
#include "handle/extendhandle.h"

using namespace TessarkTest;

class TestHandle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }
    void cleanup() { TESSARK_VERIFY_EXPECTED_MESSAGES(); }

    // A record's life through the facade on every backend. tests/reliability
    // drives the single inserts, updates, deletes and name reads through it
    // under load; here are the calls it leaves out.
    void lifeCycle_data() { addBackendRows(); }
    void lifeCycle()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("handle");
        QVERIFY(b.exec(b.createPersonTable(table)));
        DropTables drop{b, {table}};
        const QString count = QStringLiteral("select count(*) from %1").arg(table);

        ExtendHandle h;
        h.InitInfo(b.info(uniqueName("h")));
        QCOMPARE(h.GetType(), short(b.type));
        QVERIFY(h.InitConnect());
        Person a(table), c(table), d(table), e(table);
        QVERIFY(h.Insert(&a, true));
        QVERIFY(h.InsertList({&c, &d, &e}, true, false));
        QVERIFY(h.ExecuteSQL(QStringLiteral("insert into %1 (username) values ('raw')").arg(table)));
        QVERIFY(h.Insert(table, {{"username", "fields"}}, "id", true));
        QCOMPARE(h.QueryRow(count), 6);

        const RowList all = h.Query(QStringLiteral("select id from %1 order by id").arg(table));
        QCOMPARE(all.size(), 6);
        a.score = c.score = 4;
        c.id = all.at(1).value("id").toInt();
        d.id = all.at(2).value("id").toInt();
        e.id = all.at(3).value("id").toInt();
        QVERIFY(h.UpdateList({&a, &c}, false));
        QCOMPARE(h.Query(QStringLiteral("select * from %1 where score = 4").arg(table)).size(), 2);
        QCOMPARE(h.Query(&a).size(), 6);
        QCOMPARE(h.Query(4, 10, &a).size(), 2);
        QCOMPARE(h.GetTableName(table.toUpper()), table);
        QCOMPARE(h.GetModelTableName(table), (b.kind == Kind::PostgreSQL ? "\"public\"." : "") + ("\"" + table + "\""));

        QVERIFY(h.Delete("id", a.id, &a));
        QVERIFY(h.DeleteList(QList<ObjectModel*>{&c}, false));
        QVERIFY(h.DeleteList("id", QList<QVariant>{d.id}, table, false));
        QVERIFY(h.DeleteList(QStringList{QStringLiteral("delete from %1 where id = %2").arg(table).arg(e.id)}, false));
        QCOMPARE(h.QueryRow(count), 2);
        QVERIFY(h.DeleteAll(table));
        QCOMPARE(h.QueryRow(count), 0);
        h.Close();
        QCOMPARE(log.readAll(), QString());
    }

    // Oracle (no QOCI driver here) fails every call and says so; an unknown
    // kind returns the empty value without a word.
    void unconnected_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("oracle") << 1;
        QTest::newRow("unknown kind") << 7;
    }
    void unconnected()
    {
        QFETCH(int, type);
        LogFolder log;
        if (type == 1) {
            expectMessage(QtWarningMsg, "QOCI driver not loaded");
            expectMessage(QtWarningMsg, "available drivers");
        }
        ExtendHandle h;
        h.InitInfo(ConnInfoModel(short(type), "dbhost", 1521, "u", "p", "ORCL", uniqueName("o")));
        QCOMPARE(h.GetType(), short(type));
        Person p;
        QVERIFY(!h.InitConnect() && !h.Insert(&p, true) && h.Query(&p).isEmpty());
        QVERIFY(h.QueryFirst("select 1 from dual").isEmpty() && h.QueryRow("select 1 from dual") == 0);
        QVERIFY(!h.ExecuteSQL("select 1 from dual") && !h.DeleteList(QStringList{"x"}, true));
        QVERIFY(h.GetTableNames().isEmpty() && h.GetTableName("t").isEmpty());
        QCOMPARE(h.GetModelTableName("t"), type == 1 ? QStringLiteral("\"t\"") : QString());
        h.CleanTable();
        h.Close();
        const QStringList messages = log.messages();
        QCOMPARE(messages.isEmpty(), type != 1);
        for (const QString& m : messages)
            QVERIFY2(m.contains("Oracle"), qPrintable(m));
    }

    void sqliteTakesPathAndTag()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath("handle.db");
        QFile(file).open(QIODevice::WriteOnly);
        ExtendHandle h;
        h.InitInfo(2, "ignored-host", 99, "ignored", "ignored", file, "tagged");
        QVERIFY(h.InitConnect());
        QVERIFY(QSqlDatabase::contains("tagged|handle.db"));
        // An empty table list is not kept: a table made since is found.
        QCOMPARE(h.GetTableNames(), QStringList());
        QVERIFY(h.ExecuteSQL("create table later (id int)"));
        QCOMPARE(h.GetTableNames(), QStringList{"later"});
        h.Close();
        QVERIFY(!QSqlDatabase::contains("tagged|handle.db"));
    }
};

TESSARK_TEST_MAIN(TestHandle)
#include "tst_handle.moc"
