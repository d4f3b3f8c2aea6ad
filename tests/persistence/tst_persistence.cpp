// Record persistence: the same scenarios against every available backend.
#include <QThread>
#include <QtTest>

#include "../common/backends.h"
#include "../common/testrecords.h"

using namespace TessarkTest;

namespace {

QDateTime asDateTime(const QVariant& value)
{
    if (value.userType() == QMetaType::QDateTime)
        return value.toDateTime();
    return QDateTime::fromString(value.toString().replace(QLatin1Char(' '), QLatin1Char('T')), Qt::ISODateWithMs);
}

QString usernameOf(const RowList& rows, int id)
{
    for (const Row& row : rows)
        if (row.value("id").toInt() == id)
            return row.value("username").toString();
    return QStringLiteral("<none>");
}

} // namespace

class TestPersistence : public QObject
{
    Q_OBJECT

    template <class Q>
    void lifeCycle(const Backend& b, Q& q, const QString& table)
    {
        const QDateTime born(QDate(2024, 8, 12), QTime(9, 5, 3, 7));
        Person ann(table);
        ann.UserName = "ann";
        ann.score = 1.5;
        ann.born = born;
        QVERIFY(q.Insert(&ann, true, {}));
        QVERIFY(ann.id > 0);

        // Key spelt otherwise than the column: PostgreSQL returns the key as "id" for RETURNING ID.
        Person bob(table, "ID");
        bob.UserName = "bob";
        QVERIFY(q.Insert(&bob, true, {}));
        QCOMPARE(bob.id, q.QueryFirst(QStringLiteral("select max(id) as m from %1").arg(table)).value("m").toInt());
        QVERIFY(bob.id > ann.id);

        const Row stored = q.QueryFirst(QStringLiteral("select * from %1 where id = %2").arg(table).arg(ann.id));
        QCOMPARE(stored.value("username").toString(), QStringLiteral("ann"));
        QCOMPARE(stored.value("score").toDouble(), 1.5);
        QCOMPARE(asDateTime(stored.value("born")), born);

        ann.UserName = "anna";
        QVERIFY(q.Update(&ann));
        QCOMPARE(usernameOf(q.Query(&ann), ann.id), QStringLiteral("anna"));
        QVERIFY(q.Update(table, "id", {{"id", QString::number(bob.id)}, {"username", "bobby"}}));
        QCOMPARE(usernameOf(q.Query(&ann), bob.id), QStringLiteral("bobby"));

        // Lists: ids come back into the records where the backend reads them.
        QList<Person*> more;
        QList<ObjectModel*> records;
        for (int i = 0; i < 5; ++i) {
            more.append(new Person(table));
            more.last()->UserName = QStringLiteral("p%1").arg(i);
            records.append(more.last());
        }
        QVERIFY(q.InsertList(records, true, false));
        QCOMPARE(q.QueryRow(&ann), 7);
        const RowList all = q.Query(QStringLiteral("select id, username from %1 order by id").arg(table));
        QCOMPARE(all.size(), 7);
        for (int i = 0; i < 5; ++i) {
            QCOMPARE(more.at(i)->id, b.collectsIds ? all.at(i + 2).value("id").toInt() : 0);
            more.at(i)->id = all.at(i + 2).value("id").toInt();
        }

        // Paging: rows to skip first, then rows to return.
        const RowList unordered = q.Query(&ann);
        const RowList page = q.Query(2, 3, &ann);
        QCOMPARE(page.size(), 3);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(page.at(i).value("id"), unordered.at(i + 2).value("id"));

        for (Person* p : more)
            p->score = 5;
        QVERIFY(q.UpdateList(records, false));
        QCOMPARE(q.QueryRow(QStringLiteral("select count(*) from %1 where score = 5").arg(table)), 5);

        // One delete here; every form, with each backend's quirks, runs in tests/reliability.
        QVERIFY(q.DeleteList("id", QList<QVariant>{bob.id}, table, false));
        QCOMPARE(q.QueryRow(&ann), 6);
        QVERIFY(q.DeleteAll(table));
        QCOMPARE(q.QueryRow(&ann), 0);
        qDeleteAll(more);
    }

    // Catalogue reads, and names cached until cleaned: a new table and a new
    // column stay unseen, so a record's extra property is left out until then.
    template <class Q>
    void schemaNames(const Backend& b, Q& q, const QString& table)
    {
        QVERIFY(q.GetTableNames().contains(table));
        QCOMPARE(q.GetTableReal(table.toUpper()), table);
        QCOMPARE(q.GetTableReal("no_such_table_anywhere"), QString());
        QStringList columns = q.GetColumnNames(table);
        columns.sort();
        QCOMPARE(columns, (QStringList{"born", "id", "score", "username"}));

        QVERIFY(b.exec(b.createPersonTable(table + "_later")));
        QVERIFY(!q.GetTableNames().contains(table + "_later"));
        QVERIFY(b.exec(QStringLiteral("alter table %1 add nickname varchar(20)").arg(table)));
        Person p(table);
        p.nickname = "nick";
        QVERIFY(q.Insert(&p, true, {}));
        QVERIFY(q.QueryFirst(QStringLiteral("select nickname from %1").arg(table)).value("nickname").isNull());
        q.CleanTable();
        QVERIFY(q.GetTableNames().contains(table + "_later"));
        q.CleanColumn();
        QVERIFY(q.Insert(&p, true, {}));
        QCOMPARE(q.QueryRow(QStringLiteral("select count(*) from %1 where nickname = 'nick'").arg(table)), 1);
    }

    template <class Q>
    void oddities(const Backend& b, Q& q, const QString& table, const QString& tags)
    {
        // A one-character text key reports failure although the row is stored.
        Item one(tags, "code"), two(tags, "code");
        one.code = "a";
        QVERIFY(!q.Insert(&one, false, {}));
        two.code = "ab";
        QVERIFY(q.Insert(&two, false, {}));

        // Inserting without a generated key must not leave the object locked.
        int seen = 0;
        QThread* second = QThread::create([&] { seen = q.QueryRow(QStringLiteral("select count(*) from %1").arg(tags)); });
        second->start();
        const bool returned = second->wait(20000);
        if (!returned) {
            second->terminate();
            second->wait();
        }
        delete second;
        QVERIFY2(returned, "the second call on the object never returned");
        QCOMPARE(seen, 2);

        // Empty lists are refused before any statement is sent.
        QVERIFY(!q.InsertList(QList<ObjectModel*>(), true, true));
        QVERIFY(!q.InsertList(tags, QList<QList<FieldPair>>(), "code", false, true));
        QVERIFY(!q.UpdateList(QList<ObjectModel*>(), true));
        QVERIFY(!q.DeleteList(QList<ObjectModel*>(), true));
        QVERIFY(!q.DeleteList(QStringList(), true));
        QVERIFY(!q.DeleteList("code", QList<QVariant>(), tags, true)); // an empty batch

        // A failing statement is reported once; PostgreSQL stops the list there,
        // as its transaction is aborted and the rest could only fail again.
        const quint64 failures = q.lastError().serial;
        q.DeleteList(QStringList{QStringLiteral("delete from %1_missing").arg(table),
                                 QStringLiteral("delete from %1 where id < 0").arg(table)},
                     true);
        QCOMPARE(q.lastError().serial - failures, quint64(1));

        // Positional write-back: a batch that stops early leaves later records alone.
        if (b.collectsIds) {
            Person first(table), broken(table + "_missing"), third(table);
            third.id = 777;
            broken.id = 555;
            QVERIFY(!q.InsertList(QList<ObjectModel*>{&first, &broken, &third}, true, false));
            QVERIFY(first.id > 0);
            QCOMPARE(broken.id, 0);
            QCOMPARE(third.id, 777);
            QCOMPARE(q.QueryRow(QStringLiteral("select count(*) from %1").arg(table)), 0);
        }
    }

private slots:
    void initTestCase() { installMessageGuard(); }

    // The scenarios in turn on one persistence object per backend; the
    // catalogue last, as it adds a column.
    void records_data() { addBackendRows(); }
    void records()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("person");
        DropTables drop{b, {table, table + "_tag", table + "_later"}};
        QVERIFY(b.exec(b.createPersonTable(table)));
        QVERIFY(b.exec(QStringLiteral("create table %1_tag (code varchar(64) primary key, label text)").arg(table)));
        auto body = [&](auto& q) {
            lifeCycle(b, q, table);
            if (QTest::currentTestFailed())
                return;
            QCOMPARE(log.readAll(), QString());
            oddities(b, q, table, table + "_tag");
            if (!QTest::currentTestFailed())
                schemaNames(b, q, table);
        };
        withQuery(b, QString(), body);
    }

    // The generated key is read without naming the table, so it costs one row
    // whatever the table holds: the session's own count of rows sent says so.
    // Single writes commit whatever the session's autocommit.
    void mysqlLastIdReadsOneRow()
    {
        TESSARK_BACKEND_OF(b, Kind::MySQL);
        const QString table = uniqueName("lastid");
        DropTables drop{b, {table}};
        QVERIFY(b.exec(b.createPersonTable(table)));
        QVERIFY(b.exec(QStringLiteral("insert into %1 (username) select 'seed' from seq_1_to_2000").arg(table)));
        MySqlQuery q;
        b.init(q);
        const QString sent = QStringLiteral("show session status like 'Rows_sent'");
        auto rowsSent = [&] { return q.QueryFirst(sent).value("Value").toLongLong(); };
        const QString maxId = QStringLiteral("select max(id) as m from %1").arg(table);

        Person one(table);
        qlonglong before = rowsSent();
        QVERIFY(q.Insert(&one, true, {}));
        QVERIFY2(rowsSent() - before < 10, qPrintable(QString::number(rowsSent() - before)));
        QCOMPARE(one.id, q.QueryFirst(maxId).value("m").toInt());

        Person two(table), three(table);
        before = rowsSent();
        QVERIFY(q.InsertList(QList<ObjectModel*>{&two, &three}, true, false));
        QVERIFY2(rowsSent() - before < 10, qPrintable(QString::number(rowsSent() - before)));
        QCOMPARE(three.id, q.QueryFirst(maxId).value("m").toInt());
        QCOMPARE(two.id, three.id - 1);

        // A session that no longer commits each statement by itself: each write
        // is committed all the same, for every other session to see.
        Person four(table);
        auto other = b.help(QStringLiteral("other"));
        auto stored = [&] {
            return other->QueryFirst(QStringLiteral("select username from %1 where id=%2").arg(table).arg(four.id));
        };
        QVERIFY(q.ExecuteSQL(QStringLiteral("SET autocommit=0")));
        const bool inserted = q.Insert(&four, true, {});
        const Row afterInsert = stored();
        QVERIFY(q.ExecuteSQL(QStringLiteral("SET autocommit=0"))); // ends whatever was left open
        four.UserName = QStringLiteral("four");
        const bool updated = q.Update(&four);
        const Row afterUpdate = stored();
        QVERIFY(q.ExecuteSQL(QStringLiteral("SET autocommit=1")));
        QVERIFY(inserted && updated);
        QCOMPARE(four.id, three.id + 1);
        QVERIFY(!afterInsert.isEmpty());
        QCOMPARE(afterUpdate.value("username").toString(), QStringLiteral("four"));

        // Keyed by another column, the id given is not generated: the key read
        // back is still the session's last generated one.
        Person named(table, QStringLiteral("UserName"));
        named.id = four.id + 100;
        QVERIFY(q.Insert(&named, true, {}));
        QCOMPARE(named.UserName, QString::number(four.id));
    }

    // Values reach the server as the statement's literals would give them: a
    // session reading backslashes as escapes gets what the text stores, and a
    // NUL fails as it does in the text.
    void postgresqlValuesAsLiterals()
    {
        TESSARK_BACKEND_OF(b, Kind::PostgreSQL);
        const QString table = uniqueName("literal");
        DropTables drop{b, {table}};
        QVERIFY(b.exec(b.createPersonTable(table)));
        PostgreSQLQuery q;
        b.init(q);
        Person fast(table), text(table);
        QVERIFY(q.Insert(&fast, true, {}) && q.Insert(&text, true, {}));
        auto stored = [&](const Person& p) {
            return q.QueryFirst(QStringLiteral("select username from %1 where id=%2").arg(table).arg(p.id))
                .value("username");
        };

        QVERIFY(q.ExecuteSQL("SET escape_string_warning=off; SET standard_conforming_strings=off"));
        fast.UserName = text.UserName = QStringLiteral("a\\tb");
        const bool updated = q.Update(&fast);
        const bool byText = q.ExecuteSQL(q.GetUpdateSql(table, q.GetColumnNames(table), &text, "id"));
        QVERIFY(q.ExecuteSQL("SET standard_conforming_strings=on"));
        QVERIFY(updated && byText);
        QCOMPARE(stored(fast), stored(text));

        LogFolder log;
        fast.UserName = QStringLiteral("a") + QChar(0) + QStringLiteral("b");
        QVERIFY(!q.Update(&fast));
        QCOMPARE(stored(fast), stored(text));
        QVERIFY(!log.readAll().isEmpty());
    }

    // Tables are found in every schema; a bare name is qualified with the first
    // schema that holds it, as passed.
    void postgresqlSchemas()
    {
        TESSARK_BACKEND_OF(b, Kind::PostgreSQL);
        const QString schema = uniqueName("s"), both = uniqueName("both"), only = uniqueName("only");
        QVERIFY(b.exec("create schema " + schema));
        DropTables drop{b, {both}};
        QVERIFY(b.exec(b.createPersonTable(both)));
        QVERIFY(b.exec(b.createPersonTable(schema + "." + both)));
        QVERIFY(b.exec(b.createPersonTable(schema + "." + only)));

        PostgreSQLQuery q;
        b.init(q);
        QCOMPARE(q.GetModelTableName(both), QStringLiteral("\"public\".\"%1\"").arg(both));
        QCOMPARE(q.GetModelTableName(only), QStringLiteral("\"%1\".\"%2\"").arg(schema, only));
        QCOMPARE(q.GetModelTableName(only.toUpper()), QStringLiteral("\"%1\".\"%2\"").arg(schema, only.toUpper()));
        QCOMPARE(q.GetModelTableName("absent_table"), QStringLiteral("\"absent_table\""));
        const QStringList names = q.GetTableNames();
        QCOMPARE(names.count(both), 2);
        QVERIFY(names.contains(only));
        QVERIFY(b.exec(QStringLiteral("drop table %1.%2, %1.%3").arg(schema, both, only)));
        QVERIFY(b.exec("drop schema " + schema));
    }

    // The catalogue reads list only the connection's own database.
    void mysqlOwnDatabaseOnly()
    {
        TESSARK_BACKEND_OF(b, Kind::MySQL);
        const QString other = uniqueName("otherdb"), mine = uniqueName("mine");
        QVERIFY(b.exec("create database " + other));
        struct DropDb { const Backend& b; QString d; ~DropDb() { b.exec("drop database " + d); } } dropDb{b, other};
        DropTables drop{b, {mine}};
        QVERIFY(b.exec(b.createPersonTable(other + ".elsewhere")));
        QVERIFY(b.exec(b.createPersonTable(mine)));
        MySqlQuery q;
        b.init(q);
        QVERIFY(q.GetTableNames().contains(mine) && !q.GetTableNames().contains("elsewhere"));
        QVERIFY(q.GetColumnNames("elsewhere").isEmpty());
    }
};

TESSARK_TEST_MAIN(TestPersistence)
#include "tst_persistence.moc"
