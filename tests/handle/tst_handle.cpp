// ExtendHandle: one record class through its whole life on every backend.
#include <QSqlDatabase>
#include <QtTest>

#include "../common/backends.h"
#include "../common/testrecords.h"
#include "handle/extendhandle.h"

using namespace TessarkTest;

namespace {

ConnInfoModel connInfo(const Backend& b, const QString& tag)
{
    if (b.kind == Kind::SQLite)
        return ConnInfoModel(2, b.file, tag);
    return ConnInfoModel(b.type, b.server.host, b.server.port, b.server.user, b.server.password, b.server.dbname,
                         tag);
}

struct DropTable
{
    const Backend& b;
    QString table;
    ~DropTable() { b.exec(QStringLiteral("drop table %1").arg(table)); }
};

} // namespace

class TestHandle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }
    void cleanup() { TESSARK_VERIFY_EXPECTED_MESSAGES(); }

    void lifeCycle_data() { addBackendRows(); }
    void lifeCycle()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("handle");
        QVERIFY(b.exec(b.createPersonTable(table)));
        DropTable drop{b, table};

        ExtendHandle h;
        h.InitInfo(connInfo(b, uniqueName("h")));
        QCOMPARE(h.GetType(), short(b.type));
        QVERIFY(h.InitConnect());

        QList<Person*> people;
        for (int i = 0; i < 4; ++i) {
            people.append(new Person(table));
            people.last()->UserName = QStringLiteral("u%1").arg(i);
            QVERIFY(h.Insert(people.last(), true));
            QVERIFY(people.last()->id > 0);
        }
        QList<ObjectModel*> batch;
        for (int i = 0; i < 3; ++i) {
            people.append(new Person(table));
            batch.append(people.last());
        }
        QVERIFY(h.InsertList(batch, true, false));
        QCOMPARE(h.QueryRow(QStringLiteral("select count(*) from %1").arg(table)), 7);

        people.at(0)->UserName = "changed";
        QVERIFY(h.Update(people.at(0)));
        QVERIFY(h.Update(table, "id", {{"id", QString::number(people.at(1)->id)}, {"score", "4"}}));
        const Row row = h.QueryFirst(QStringLiteral("select username from %1 where id = %2").arg(table).arg(people.at(0)->id));
        QCOMPARE(row.value("username").toString(), QStringLiteral("changed"));
        QCOMPARE(h.Query(people.at(0)).size(), 7);
        QCOMPARE(h.Query(5, 10, people.at(0)).size(), 2);
        QCOMPARE(h.Query(QStringLiteral("select * from %1 where score = 4").arg(table)).size(), 1);

        QVERIFY(h.GetTableNames().contains(table));
        QCOMPARE(h.GetTableName(table.toUpper()), table);
        QCOMPARE(h.GetColumnNames(table).size(), 4);

        QVERIFY(h.Delete("id", people.at(0)->id, table));
        QVERIFY(h.Delete("id", people.at(1)->id, people.at(1)));
        QVERIFY(h.DeleteList(QList<ObjectModel*>{people.at(2)}, false));
        QVERIFY(h.DeleteList("id", QList<QVariant>{people.at(3)->id}, table, false));
        QCOMPARE(h.QueryRow(QStringLiteral("select count(*) from %1").arg(table)), 3);
        QVERIFY(h.DeleteList(QStringList{QStringLiteral("delete from %1 where username = 'u2'").arg(table)}, false));
        QVERIFY(h.DeleteAll(table));
        QCOMPARE(h.QueryRow(QStringLiteral("select count(*) from %1").arg(table)), 0);
        QVERIFY(h.ExecuteSQL(QStringLiteral("insert into %1 (username) values ('raw')").arg(table)));
        QVERIFY(h.Insert(table, {{"username", "fields"}}, "id", true));
        QCOMPARE(h.QueryRow(QStringLiteral("select count(*) from %1").arg(table)), 2);
        h.CleanTable();
        h.CleanColumn();
        QVERIFY(h.GetTableNames().contains(table));
        h.Close();
        qDeleteAll(people);
        QCOMPARE(log.readAll(), QString());
    }

    void unknownKindIsSilent()
    {
        LogFolder log;
        ExtendHandle h;
        h.InitInfo(ConnInfoModel(7, "x.db", ""));
        QCOMPARE(h.GetType(), short(7));
        QVERIFY(!h.InitConnect());
        QVERIFY(h.Query("select 1").isEmpty());
        QVERIFY(h.QueryFirst("select 1").isEmpty());
        QCOMPARE(h.QueryRow("select 1"), 0);
        QVERIFY(!h.ExecuteSQL("select 1"));
        Person p;
        QVERIFY(!h.Insert(&p, true));
        QVERIFY(!h.DeleteList(QStringList{"x"}, true));
        QCOMPARE(h.GetTableName("t"), QString());
        QCOMPARE(h.GetModelTableName("t"), QString());
        QVERIFY(h.GetTableNames().isEmpty());
        h.CleanTable();
        h.Close();
        QCOMPARE(log.readAll(), QString());
    }

    void modelTableName_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("oracle") << 1;
        QTest::newRow("sqlite") << 2;
        QTest::newRow("mysql") << 3;
    }
    void modelTableName()
    {
        QFETCH(int, type);
        ExtendHandle h;
        h.InitInfo(ConnInfoModel(short(type), "nowhere.db", ""));
        QCOMPARE(h.GetModelTableName("abc"), QStringLiteral("\"abc\""));
    }

    // Until InitInfo the handle addresses PostgreSQL.
    void freshHandleAddressesPostgres()
    {
        LogFolder log;
        ExtendHandle h;
        QCOMPARE(h.GetType(), short(0));
        h.QueryRow("select 1");
        QVERIFY(QSqlDatabase::contains("defaultPostgreSQL"));
        const QStringList messages = log.messages();
        for (const QString& m : messages)
            QVERIFY2(m.contains("PostgreSQL"), qPrintable(m));
        QSqlDatabase::removeDatabase("defaultPostgreSQL");
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
        h.Close();
        QVERIFY(!QSqlDatabase::contains("tagged|handle.db"));
    }

    void oracleFailsCleanly()
    {
        LogFolder log;
        expectMessage(QtWarningMsg, "QOCI driver not loaded");
        expectMessage(QtWarningMsg, "available drivers");
        ExtendHandle h;
        h.InitInfo(ConnInfoModel(1, "dbhost", 1521, "u", "p", "ORCL", uniqueName("o")));
        QVERIFY(!h.InitConnect());
        Person p;
        QVERIFY(!h.Insert(&p, true));
        QVERIFY(h.Query(&p).isEmpty());
        QCOMPARE(h.QueryRow("select 1 from dual"), 0);
        QVERIFY(log.messages().size() >= 4);
        for (const QString& m : log.messages())
            QVERIFY2(m.contains("Oracle"), qPrintable(m));
    }
};

TESSARK_TEST_MAIN(TestHandle)
#include "tst_handle.moc"
