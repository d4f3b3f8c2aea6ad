// Record persistence: the same scenarios against every available backend.
#include <QThread>
#include <QtTest>

#include <type_traits>

#include "../common/backends.h"
#include "../common/testrecords.h"

using namespace TessarkTest;

namespace {

QDateTime bornAt()
{
    return QDateTime(QDate(2024, 8, 12), QTime(9, 5, 3, 7));
}

QDateTime asDateTime(const QVariant& value)
{
    if (value.userType() == QMetaType::QDateTime)
        return value.toDateTime();
    return QDateTime::fromString(value.toString().replace(QLatin1Char(' '), QLatin1Char('T')), Qt::ISODateWithMs);
}

// PostgreSQL's deletes carry one more (unused) flag.
template <class Q>
bool deleteValue(Q& q, const QString& column, const QVariant& value, const QString& table)
{
    if constexpr (std::is_same_v<Q, PostgreSQLQuery>)
        return q.Delete(column, value, table, true);
    else
        return q.Delete(column, value, table);
}
template <class Q>
bool deleteRecord(Q& q, const QString& column, const QVariant& value, ObjectModel* obj)
{
    if constexpr (std::is_same_v<Q, PostgreSQLQuery>)
        return q.Delete(column, value, obj, true);
    else
        return q.Delete(column, value, obj);
}
template <class Q>
bool deleteFields(Q& q, const QString& table, const QString& key, const QList<FieldPair>& fields)
{
    if constexpr (std::is_same_v<Q, PostgreSQLQuery>)
        return q.Delete(table, key, fields, false);
    else
        return q.Delete(table, key, fields);
}

struct DropTables
{
    const Backend& b;
    QStringList tables;
    ~DropTables()
    {
        for (const QString& t : tables)
            b.exec(QStringLiteral("drop table %1").arg(t));
    }
};

// Runs body with a configured persistence object of the row's backend.
#define WITH_QUERY(b, body)                                                                \
    switch (b.kind) {                                                                      \
    case Kind::SQLite: { SQLiteQuery q; b.init(q); body(q); break; }                       \
    case Kind::PostgreSQL: { PostgreSQLQuery q; b.init(q); body(q); break; }               \
    case Kind::MySQL: { MySqlQuery q; b.init(q); body(q); break; }                         \
    }

QString usernameOf(const RowList& rows, int id)
{
    for (const Row& row : rows) {
        if (row.value("id").toInt() == id)
            return row.value("username").toString();
    }
    return QStringLiteral("<none>");
}

} // namespace

class TestPersistence : public QObject
{
    Q_OBJECT

    template <class Q>
    void lifeCycle(const Backend& b, Q& q, const QString& table, const LogFolder& log)
    {
        Person ann(table);
        ann.UserName = "ann";
        ann.score = 1.5;
        ann.born = bornAt();
        QVERIFY(q.Insert(&ann, true, {}));
        QVERIFY(ann.id > 0);

        Person bob(table, "ID"); // Key differs from the property's case
        bob.UserName = "bob";
        if (b.foldsKeyCase) {
            // RETURNING ID yields a column named id: no value under Key, so false
            // although the row is stored.
            QVERIFY(!q.Insert(&bob, true, {}));
            QCOMPARE(bob.id, 0);
            bob.id = q.QueryFirst(QStringLiteral("select max(id) as m from %1").arg(table)).value("m").toInt();
        } else {
            QVERIFY(q.Insert(&bob, true, {}));
        }
        QVERIFY(bob.id > ann.id);

        const Row stored = q.QueryFirst(QStringLiteral("select * from %1 where id = %2").arg(table).arg(ann.id));
        QCOMPARE(stored.value("username").toString(), QStringLiteral("ann"));
        QCOMPARE(stored.value("score").toDouble(), 1.5);
        QCOMPARE(asDateTime(stored.value("born")), bornAt());

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
        if (b.collectsIds) {
            for (int i = 0; i < 5; ++i)
                QCOMPARE(more.at(i)->id, all.at(i + 2).value("id").toInt());
        } else {
            for (Person* p : more)
                QCOMPARE(p->id, 0); // no read-back for batches on this backend
            for (int i = 0; i < 5; ++i)
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

        // Every delete form.
        QVERIFY(deleteValue(q, "id", more.at(0)->id, table));
        QVERIFY(deleteRecord(q, "id", more.at(1)->id, &ann));
        if (b.quotedValueIsName) {
            QVERIFY(!deleteFields(q, table, "id", {{"ID", QString::number(more.at(2)->id)}}));
            QVERIFY(log.messages().last().contains(QStringLiteral("column \"%1\" does not exist").arg(more.at(2)->id)));
            QVERIFY(deleteValue(q, "id", more.at(2)->id, table));
        } else {
            QVERIFY(deleteFields(q, table, "id", {{"ID", QString::number(more.at(2)->id)}}));
        }
        QVERIFY(q.DeleteList(QList<ObjectModel*>{more.at(3)}, false));
        QVERIFY(q.DeleteList("id", QList<QVariant>{more.at(4)->id}, table, true));
        QCOMPARE(q.QueryRow(&ann), 2);
        QVERIFY(q.DeleteList(QStringList{QStringLiteral("delete from %1 where id = %2").arg(table).arg(bob.id)}, false));
        QVERIFY(q.DeleteAll(table));
        QCOMPARE(q.QueryRow(&ann), 0);
        qDeleteAll(more);
    }

    template <class Q>
    void schemaNames(const Backend& b, Q& q, const QString& table)
    {
        QVERIFY(q.GetTableNames().contains(table));
        QCOMPARE(q.GetTableReal(table.toUpper()), table);
        QCOMPARE(q.GetTableReal("no_such_table_anywhere"), QString());
        QStringList columns = q.GetColumnNames(table);
        columns.sort();
        QCOMPARE(columns, (QStringList{"born", "id", "score", "username"}));

        // Names are cached: a new table and a new column stay unseen until cleaned.
        const QString later = table + "_later";
        QVERIFY(b.exec(b.createPersonTable(later)));
        DropTables drop{b, {later}};
        QVERIFY(!q.GetTableNames().contains(later));
        QCOMPARE(q.GetColumnNames(later).size(), 4); // a second table's columns are cached too
        QVERIFY(b.exec(QStringLiteral("alter table %1 add nickname varchar(20)").arg(table)));
        QVERIFY(b.exec(QStringLiteral("alter table %1 add nickname varchar(20)").arg(later)));
        QCOMPARE(q.GetColumnNames(table).size(), 4);
        QCOMPARE(q.GetColumnNames(later).size(), 4);
        Person p(table);
        p.UserName = "x";
        p.nickname = "nick";
        QVERIFY(q.Insert(&p, true, {}));
        QVERIFY(q.QueryFirst(QStringLiteral("select nickname from %1").arg(table)).value("nickname").isNull());

        q.CleanTable();
        QVERIFY(q.GetTableNames().contains(later));
        q.CleanColumn();
        QCOMPARE(q.GetColumnNames(table).size(), 5);
        QVERIFY(q.Insert(&p, true, {}));
        QCOMPARE(q.QueryRow(QStringLiteral("select count(*) from %1 where nickname = 'nick'").arg(table)), 1);
    }

    template <class Q>
    void oddities(const Backend& b, Q& q, const QString& table, const QString& tags)
    {
        // A one-character text key reports failure although the row is stored.
        Tag one(tags);
        one.code = "a";
        one.label = "short";
        QVERIFY(!q.Insert(&one, false, {}));
        Tag two(tags);
        two.code = "ab";
        QVERIFY(q.Insert(&two, false, {}));
        QCOMPARE(q.QueryRow(QStringLiteral("select count(*) from %1").arg(tags)), 2);

        // Field inserts.
        QVERIFY(q.Insert(tags, {{"code", "xyz"}, {"label", "f"}}, "code", false) || !b.collectsIds);
        QVERIFY(q.InsertList(tags, {{{"code", "l1"}}, {{"code", "l2"}}}, "code", false, false));
        QCOMPARE(q.QueryRow(QStringLiteral("select count(*) from %1").arg(tags)), 5);

        // Empty lists are refused before any statement is sent.
        QVERIFY(!q.InsertList(QList<ObjectModel*>(), true, true));
        QVERIFY(!q.InsertList(tags, QList<QList<FieldPair>>(), "code", false, true));
        QVERIFY(!q.UpdateList(QList<ObjectModel*>(), true));
        QVERIFY(!q.DeleteList(QList<ObjectModel*>(), true));
        QVERIFY(!q.DeleteList(QStringList(), true));
        QVERIFY(!q.DeleteList("code", QList<QVariant>(), tags, true)); // an empty batch

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

    // Values with quotes, backslashes and SQL in them are stored and read back exactly.
    template <class Q>
    void hostileValues(const Backend& b, Q& q, const QString& table)
    {
        const QStringList values = {"O'Brien", "back\\slash\\", "\"double\"", "''", "\\'", "-- comment",
                                    "a; drop table x;", "%1 %2", QString::fromUtf8("中文 ✓ ñ"), ""};
        for (const QString& value : values) {
            Person p(table);
            p.UserName = value;
            QVERIFY2(q.Insert(&p, true, {}), qPrintable(value));
            Row row = q.QueryFirst(QStringLiteral("select username from %1 where id = %2").arg(table).arg(p.id));
            QCOMPARE(row.value("username").toString(), value);
            p.UserName = value + value;
            QVERIFY(q.Update(&p));
            row = q.QueryFirst(QStringLiteral("select username from %1 where id = %2").arg(table).arg(p.id));
            QCOMPARE(row.value("username").toString(), value + value);
            QVERIFY(q.Update(table, "username", {{"username", value + value}, {"score", "2"}}));
            QCOMPARE(q.QueryRow(QStringLiteral("select count(*) from %1 where score = 2").arg(table)), 1);
            QVERIFY(deleteValue(q, "username", value + value, table));
            QCOMPARE(q.QueryRow(QStringLiteral("select count(*) from %1").arg(table)), 0);
        }
        Q_UNUSED(b);
    }

    template <class Q>
    void lockReleased(Q& q, const QString& tags)
    {
        // Inserting without a generated key must not leave the object locked.
        Tag tag(tags);
        tag.code = "key1";
        QVERIFY(q.Insert(&tag, false, {}));
        bool done = false;
        QThread* second = QThread::create([&] { done = q.QueryRow(QStringLiteral("select count(*) from %1").arg(tags)) == 1; });
        second->start();
        const bool returned = second->wait(20000);
        if (!returned) {
            second->terminate();
            second->wait();
        }
        delete second;
        QVERIFY2(returned, "the second call on the object never returned");
        QVERIFY(done);
    }

    QString createTables(const Backend& b, QStringList& created, bool withTags = false)
    {
        const QString table = uniqueName("person");
        if (b.exec(b.createPersonTable(table)))
            created << table;
        if (withTags && b.exec(b.createTagTable(table + "_tag")))
            created << table + "_tag";
        return table;
    }

private slots:
    void initTestCase() { installMessageGuard(); }

    void lifeCycle_data() { addBackendRows(); }
    void lifeCycle()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        QStringList created;
        const QString table = createTables(b, created);
        DropTables drop{b, created};
        QCOMPARE(created.size(), 1);
        auto body = [&](auto& q) { lifeCycle(b, q, table, log); };
        WITH_QUERY(b, body);
        QCOMPARE(log.messages().size(), b.quotedValueIsName ? 1 : 0);
    }

    void schemaNames_data() { addBackendRows(); }
    void schemaNames()
    {
        TESSARK_BACKEND(b);
        QStringList created;
        const QString table = createTables(b, created);
        DropTables drop{b, created};
        auto body = [&](auto& q) { schemaNames(b, q, table); };
        WITH_QUERY(b, body);
    }

    void oddities_data() { addBackendRows(); }
    void oddities()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        QStringList created;
        const QString table = createTables(b, created, true);
        DropTables drop{b, created};
        QCOMPARE(created.size(), 2);
        auto body = [&](auto& q) { oddities(b, q, table, created.at(1)); };
        WITH_QUERY(b, body);
    }

    void hostileValues_data() { addBackendRows(); }
    void hostileValues()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        QStringList created;
        const QString table = createTables(b, created);
        DropTables drop{b, created};
        auto body = [&](auto& q) { hostileValues(b, q, table); };
        WITH_QUERY(b, body);
        QCOMPARE(log.readAll(), QString());
    }

    void lockReleased_data() { addBackendRows(); }
    void lockReleased()
    {
        TESSARK_BACKEND(b);
        QStringList created;
        createTables(b, created, true);
        DropTables drop{b, created};
        auto body = [&](auto& q) { lockReleased(q, created.at(1)); };
        WITH_QUERY(b, body);
    }

    // Tables are found in every schema; a bare name is qualified with the first
    // schema that holds it, as passed.
    void postgresqlSchemas()
    {
        TESSARK_REQUIRE_SERVER(Server::PostgreSQL, address);
        Backend b;
        b.kind = Kind::PostgreSQL;
        b.server = address;
        const QString schema = uniqueName("s");
        const QString both = uniqueName("both");
        const QString only = uniqueName("only");
        QVERIFY(b.exec("create schema " + schema));
        QVERIFY(b.exec(b.createPersonTable(both)));
        QVERIFY(b.exec(b.createPersonTable(schema + "." + both)));
        QVERIFY(b.exec(b.createPersonTable(schema + "." + only)));
        DropTables drop{b, {both}};

        PostgreSQLQuery q;
        b.init(q);
        QCOMPARE(q.GetModelTableName(both), QStringLiteral("\"public\".\"%1\"").arg(both));
        QCOMPARE(q.GetModelTableName(only), QStringLiteral("\"%1\".\"%2\"").arg(schema, only));
        QCOMPARE(q.GetModelTableName(only.toUpper()), QStringLiteral("\"%1\".\"%2\"").arg(schema, only.toUpper()));
        QCOMPARE(q.GetModelTableName("absent_table"), QStringLiteral("\"absent_table\""));
        const QStringList names = q.GetTableNames();
        QCOMPARE(names.count(both), 2);
        QVERIFY(names.contains(only));
        QVERIFY(b.exec("drop table " + schema + "." + both));
        QVERIFY(b.exec("drop table " + schema + "." + only));
        QVERIFY(b.exec("drop schema " + schema));
    }

    // The catalogue reads list only the connection's own database.
    void mysqlOwnDatabaseOnly()
    {
        TESSARK_REQUIRE_SERVER(Server::MySQL, address);
        Backend b;
        b.kind = Kind::MySQL;
        b.server = address;
        const QString other = uniqueName("otherdb");
        const QString mine = uniqueName("mine");
        QVERIFY(b.exec("create database " + other));
        struct DropDb { const Backend& b; QString d; ~DropDb() { b.exec("drop database " + d); } } dropDb{b, other};
        QVERIFY(b.exec(b.createPersonTable(other + ".elsewhere")));
        QVERIFY(b.exec(b.createPersonTable(mine)));
        DropTables drop{b, {mine}};
        MySqlQuery q;
        b.init(q);
        const QStringList names = q.GetTableNames();
        QVERIFY(names.contains(mine));
        QVERIFY(!names.contains("elsewhere"));
        QVERIFY(q.GetColumnNames("elsewhere").isEmpty());
    }

    void nullRecordsAreRefused()
    {
        LogFolder log;
        SQLiteQuery q;
        QVERIFY(!q.Insert(static_cast<ObjectModel*>(nullptr), true, {}));
        QVERIFY(!q.Update(static_cast<ObjectModel*>(nullptr)));
        QVERIFY(!q.InsertList(QList<ObjectModel*>{nullptr}, true, true));
        QVERIFY(q.Query(static_cast<ObjectModel*>(nullptr)).isEmpty());
        QCOMPARE(q.QueryRow(static_cast<ObjectModel*>(nullptr)), 0);
        QCOMPARE(log.messages().size(), 5);
    }
};

TESSARK_TEST_MAIN(TestPersistence)
#include "tst_persistence.moc"
