// Statement text of every builder, the four dialects side by side.
#include <QtTest>

#include "../common/testrecords.h"
#include "../support/tessarktest.h"
#include "core/dialect.h"
#include "mysql/mysqlmodel.h"
#include "oracle/oraclemodel.h"
#include "postgresql/postgresqlmodel.h"
#include "sqlite/sqlitemodel.h"

namespace {

const QStringList personColumns = {"id", "username", "score", "born"};

void fill(Person& p)
{
    p.id = 7;
    p.UserName = QStringLiteral("Ann");
    p.score = 1.5;
    p.born = QDateTime(QDate(2024, 8, 12), QTime(9, 5, 3, 7));
    p.nickname = QStringLiteral("never written");
}

// A subclass that names nickname again, in other letters: the last one of
// that name is the key's value.
class Member : public Person
{
    Q_OBJECT
    Q_PROPERTY(QString NICKNAME READ getNickname)

public:
    QString getNickname() const { return QStringLiteral("last"); }
};

// The row name says which dialect; the test compares what the builder gave.
void row(const char* name, const QString& actual, const QString& expected)
{
    QTest::newRow(name) << actual << expected;
}

} // namespace

class TestStatements : public QObject
{
    Q_OBJECT

    SQLiteModel sqlite;
    PostgreSQLModel pg;
    MySqlModel mysql;
    OracleModel oracle;

    void columns()
    {
        QTest::addColumn<QString>("actual");
        QTest::addColumn<QString>("expected");
    }

private slots:
    void initTestCase() { TessarkTest::installMessageGuard(); }

    void insertObject_data()
    {
        columns();
        Person p;
        fill(p);
        const QString sqliteDate = "'2024-08-12 09:05:03.007'";
        const QString isoDate = "'2024-08-12T09:05:03.007'";
        const QString toDate = "to_date('2024-08-12 09:05:03', 'yyyy/mm/dd hh24:mi:ss')";

        row("sqlite generated key", sqlite.GetInsertSql("person", personColumns, &p, "id", true, {}),
            "INSERT INTO \"person\" (\"username\",\"score\",\"born\") VALUES ('Ann','1.5'," + sqliteDate + ")");
        row("postgresql generated key", pg.GetInsertSql("person", personColumns, &p, "id", true, {}),
            "INSERT INTO person (\"username\",\"score\",\"born\") VALUES ('Ann','1.5'," + isoDate + ") RETURNING id");
        row("mysql generated key", mysql.GetInsertSql("person", personColumns, &p, "id", true, {}),
            "INSERT INTO person (username,score,born) VALUES ('Ann','1.5'," + isoDate + ")");
        row("oracle generated key", oracle.GetInsertSql("person", personColumns, &p, "id", true, {}),
            "INSERT INTO \"person\" (\"username\",\"score\",\"born\") VALUES ('Ann','1.5'," + toDate + ")");

        row("sqlite caller key", sqlite.GetInsertSql("person", personColumns, &p, "ID", false, {}),
            "INSERT INTO \"person\" (\"id\",\"username\",\"score\",\"born\") VALUES ('7','Ann','1.5',"
                + sqliteDate + ")");
        row("postgresql caller key keeps RETURNING", pg.GetInsertSql("person", personColumns, &p, "id", false, {}),
            "INSERT INTO person (\"id\",\"username\",\"score\",\"born\") VALUES ('7','Ann','1.5'," + isoDate
                + ") RETURNING id");
        row("mysql caller key", mysql.GetInsertSql("person", personColumns, &p, "id", false, {}),
            "INSERT INTO person (id,username,score,born) VALUES ('7','Ann','1.5'," + isoDate + ")");
        row("oracle caller key", oracle.GetInsertSql("person", personColumns, &p, "id", false, {}),
            "INSERT INTO \"person\" (\"id\",\"username\",\"score\",\"born\") VALUES ('7','Ann','1.5'," + toDate + ")");

        row("sqlite excluded exact form", sqlite.GetInsertSql("person", personColumns, &p, "id", true, {"score"}),
            "INSERT INTO \"person\" (\"username\",\"born\") VALUES ('Ann'," + sqliteDate + ")");
        row("sqlite excluded other case ignored",
            sqlite.GetInsertSql("person", personColumns, &p, "id", true, {"Score"}),
            "INSERT INTO \"person\" (\"username\",\"score\",\"born\") VALUES ('Ann','1.5'," + sqliteDate + ")");
        row("sqlite empty column list", sqlite.GetInsertSql("person", {}, &p, "id", true, {}),
            "INSERT INTO \"person\" () VALUES ()");
        row("sqlite objectName column is written",
            sqlite.GetInsertSql("person", {"OBJECTNAME"}, &p, "id", true, {}),
            "INSERT INTO \"person\" (\"OBJECTNAME\") VALUES ('')");
    }
    void insertObject() { compare(); }

    void insertFields_data()
    {
        columns();
        const QList<FieldPair> fields = {{"ID", "9"}, {"UserName", "Bo"}, {"nope", "x"}};
        row("sqlite", sqlite.GetInsertSql("person", personColumns, fields, "id", false),
            "INSERT INTO \"person\" (\"id\",\"username\") VALUES ('9','Bo')");
        row("postgresql", pg.GetInsertSql("person", personColumns, fields, "id", false),
            "INSERT INTO person (\"id\",\"username\") VALUES ('9','Bo') RETURNING id");
        row("mysql trailing blank", mysql.GetInsertSql("person", personColumns, fields, "id", false),
            "INSERT INTO person (id,username) VALUES ('9','Bo') ");
        row("oracle trailing blank", oracle.GetInsertSql("person", personColumns, fields, "id", false),
            "INSERT INTO \"person\" (\"id\",\"username\") VALUES ('9','Bo') ");
        row("sqlite generated key skips key field", sqlite.GetInsertSql("person", personColumns, fields, "id", true),
            "INSERT INTO \"person\" (\"username\") VALUES ('Bo')");
        row("sqlite date text as given", sqlite.GetInsertSql("person", personColumns, {{"born", "2024-01-02"}}, "id", true),
            "INSERT INTO \"person\" (\"born\") VALUES ('2024-01-02')");
    }
    void insertFields() { compare(); }

    void updateObject_data()
    {
        columns();
        Person p;
        fill(p);
        row("sqlite", sqlite.GetUpdateSql("person", personColumns, &p, "id"),
            "UPDATE \"person\" set \"id\" = '7',\"username\" = 'Ann',\"score\" = '1.5',\"born\" = "
            "'2024-08-12 09:05:03.007' where \"id\"='7'");
        row("postgresql", pg.GetUpdateSql("person", personColumns, &p, "id"),
            "UPDATE person set \"id\" = '7',\"username\" = 'Ann',\"score\" = '1.5',\"born\" = "
            "'2024-08-12T09:05:03.007' where \"id\"='7'");
        row("mysql", mysql.GetUpdateSql("person", personColumns, &p, "id"),
            "UPDATE person set id = '7',username = 'Ann',score = '1.5',born = '2024-08-12T09:05:03.007' "
            "WHERE id='7'");
        row("oracle", oracle.GetUpdateSql("person", personColumns, &p, "id"),
            "UPDATE \"person\" set \"id\" = '7',\"username\" = 'Ann',\"score\" = '1.5',\"born\" = "
            "to_date('2024-08-12 09:05:03', 'yyyy/mm/dd hh24:mi:ss') WHERE \"id\"='7'");
        row("sqlite key as passed", sqlite.GetUpdateSql("person", {"id", "username"}, &p, "ID"),
            "UPDATE \"person\" set \"id\" = '7',\"username\" = 'Ann' where \"ID\"='7'");
        row("sqlite key not a column", sqlite.GetUpdateSql("person", {"username"}, &p, "id"),
            "UPDATE \"person\" set \"username\" = 'Ann' where \"id\"=''");
        row("sqlite objectName never set", sqlite.GetUpdateSql("person", {"objectname", "id"}, &p, "id"),
            "UPDATE \"person\" set \"id\" = '7' where \"id\"='7'");
        row("sqlite empty column list", sqlite.GetUpdateSql("person", {}, &p, "id"),
            "UPDATE \"person\" set where \"id\"=''");
        Person empty;
        empty.born = QDateTime();
        row("sqlite null date", sqlite.GetUpdateSql("person", {"id", "born"}, &empty, "id"),
            "UPDATE \"person\" set \"id\" = '0',\"born\" = NULL where \"id\"='0'");
        row("postgresql null date", pg.GetUpdateSql("person", {"id", "born"}, &empty, "id"),
            "UPDATE person set \"id\" = '0',\"born\" = NULL where \"id\"='0'");
        row("mysql null date", mysql.GetUpdateSql("person", {"id", "born"}, &empty, "id"),
            "UPDATE person set id = '0',born = NULL WHERE id='0'");
        row("oracle null date", oracle.GetUpdateSql("person", {"id", "born"}, &empty, "id"),
            "UPDATE \"person\" set \"id\" = '0',\"born\" = NULL WHERE \"id\"='0'");
    }
    void updateObject() { compare(); }

    void updateByKey_data()
    {
        columns();
        Person p;
        fill(p);
        const QStringList cols = {"id", "username"};
        row("sqlite", sqlite.GetUpdateSqlByKey("person", "USERNAME", cols, &p),
            "UPDATE \"person\" set \"id\" = '7',\"username\" = 'Ann' where \"username\"='Ann' ");
        row("mysql", mysql.GetUpdateSqlByKey("person", "USERNAME", cols, &p),
            "UPDATE person set id = '7',username = 'Ann' where username='Ann' ");
        row("oracle", oracle.GetUpdateSqlByKey("person", "USERNAME", cols, &p),
            "UPDATE \"person\" set \"id\" = '7',\"username\" = 'Ann' where \"username\"='Ann' ");
        row("sqlite key property that is no column", sqlite.GetUpdateSqlByKey("person", "nickname", cols, &p),
            "UPDATE \"person\" set \"id\" = '7',\"username\" = 'Ann' where \"\"='never written' ");
        Member m;
        fill(m);
        row("sqlite key named twice", sqlite.GetUpdateSqlByKey("person", "nickname", cols, &m),
            "UPDATE \"person\" set \"id\" = '7',\"username\" = 'Ann' where \"\"='last' ");
    }
    void updateByKey() { compare(); }

    void updateFields_data()
    {
        columns();
        const QList<FieldPair> fields = {{"id", "3"}, {"UserName", "Bo"}};
        row("sqlite lower-cases key", sqlite.GetUpdateSql("person", "Id", personColumns, fields),
            "UPDATE \"person\" set \"id\" = '3',\"username\" = 'Bo' where \"id\"='3'");
        row("postgresql lower-cases key", pg.GetUpdateSql("person", "Id", personColumns, fields),
            "UPDATE person set \"id\" = '3',\"username\" = 'Bo' where \"id\"='3'");
        row("mysql upper-cases key", mysql.GetUpdateSql("person", "Id", personColumns, fields),
            "UPDATE person set id = '3',username = 'Bo' where ID='3'");
        row("oracle upper-cases key", oracle.GetUpdateSql("person", "Id", personColumns, fields),
            "UPDATE \"person\" set \"id\" = '3',\"username\" = 'Bo' where \"ID\"='3'");
        row("sqlite later key field wins",
            sqlite.GetUpdateSql("person", "id", {"id"}, {{"id", "1"}, {"ID", "2"}}),
            "UPDATE \"person\" set \"id\" = '1',\"id\" = '2' where \"id\"='2'");
    }
    void updateFields() { compare(); }

    void deletes_data()
    {
        columns();
        row("sqlite value", sqlite.GetDeleteSql("person", "id", QVariant(7)), "DELETE FROM \"person\" where \"id\"='7'");
        row("postgresql value", pg.GetDeleteSql("person", "id", QVariant(7)), "DELETE FROM person where \"id\"='7'");
        row("mysql value", mysql.GetDeleteSql("person", "id", QVariant(7)), "DELETE FROM person where id='7'");
        row("oracle value", oracle.GetDeleteSql("person", "id", QVariant(7)), "DELETE FROM \"person\" where \"id\"='7'");
        const QList<FieldPair> fields = {{"x", "1"}, {"ID", "5"}, {"id", "6"}};
        // The field form compares with a value, never with a column the value names.
        row("sqlite field", sqlite.GetDeleteSql("person", "id", fields), "DELETE FROM \"person\" where \"id\"='5'");
        row("postgresql field", pg.GetDeleteSql("person", "id", fields), "DELETE FROM person where \"id\"='5'");
        row("mysql field verbatim", mysql.GetDeleteSql("person", "id", fields), "DELETE FROM person where id=5");
        row("oracle field", oracle.GetDeleteSql("person", "id", fields), "DELETE FROM \"person\" where \"id\"='5'");
        row("sqlite field no match", sqlite.GetDeleteSql("person", "id", QList<FieldPair>{{"x", "1"}}),
            "DELETE FROM \"person\" where \"id\"=''");
        row("sqlite all", sqlite.GetDeleteAllSql("person"), "DELETE FROM \"person\" ");
        row("postgresql all", pg.GetDeleteAllSql("person"), "DELETE FROM person ");
        row("mysql all", mysql.GetDeleteAllSql("person"), "DELETE FROM person ");
        row("oracle all", oracle.GetDeleteAllSql("person"), "DELETE FROM \"person\" ");
    }
    void deletes() { compare(); }

    void queries_data()
    {
        columns();
        row("sqlite all", sqlite.GetQuerySql("person"), "select * from \"person\" ");
        row("postgresql all", pg.GetQuerySql("\"public\".\"person\""), "select * from \"public\".\"person\" ");
        row("mysql all", mysql.GetQuerySql("person"), "select * from person ");
        row("oracle all", oracle.GetQuerySql("person"), "select * from \"person\" ");
        row("sqlite page", sqlite.GetQueryIndexSql("person", 20, 10), "select * from \"person\" t LIMIT 10 OFFSET 20 ");
        row("postgresql page", pg.GetQueryIndexSql("person", 20, 10), "select * from person t LIMIT 10 OFFSET 20 ");
        row("mysql page", mysql.GetQueryIndexSql("person", 20, 10), "select * from person t LIMIT 10 OFFSET 20 ");
        row("oracle page", oracle.GetQueryIndexSql("person", 20, 10),
            "Select * From (select a.*,rownum r from  (person) a) where r>20 and r<=30");
        row("sqlite count", sqlite.GetQueryRowSql("person"), "select COUNT(*) as rowCount from \"person\" ");
        row("postgresql count", pg.GetQueryRowSql("person"), "select COUNT(*) as rowCount from person ");
        row("mysql count", mysql.GetQueryRowSql("person"), "select COUNT(*) as rowCount from person ");
        row("oracle count", oracle.GetQueryRowSql("person"), "select COUNT(*) as rowCount from \"person\" ");
    }
    void queries() { compare(); }

    // A browsing view's pages: condition and order on the paged SELECT itself,
    // never inside a derived table (MariaDB would drop the order there).
    void browse_data()
    {
        columns();
        const auto dialect = [](Tessark::Kind kind) { return Tessark::Dialect(Tessark::rulesFor(DbType(kind))->dialect); };
        const Tessark::Dialect sqliteText = dialect(Tessark::Kind::SQLite), pgText = dialect(Tessark::Kind::PostgreSQL),
                               mysqlText = dialect(Tessark::Kind::MySQL), oracleText = dialect(Tessark::Kind::Oracle);
        Tessark::BrowseSource table{"person", QString(), " score > 1 ", "id", true, "id"};
        row("sqlite page", sqliteText.GetBrowsePageSql(table, 200, 100),
            "select * from \"person\" t where score > 1 order by \"id\" desc LIMIT 100 OFFSET 200");
        row("postgresql page", pgText.GetBrowsePageSql(table, 200, 100),
            "select * from person t where score > 1 order by \"id\" desc LIMIT 100 OFFSET 200");
        row("mysql page", mysqlText.GetBrowsePageSql(table, 200, 100),
            "select * from person t where score > 1 order by id desc LIMIT 100 OFFSET 200");
        row("oracle page orders inside the rownum bounds", oracleText.GetBrowsePageSql(table, 200, 100),
            "Select * From (select a.*,rownum r from  (select * from \"person\" t where score > 1 order by \"id\" "
            "desc) a) where r>200 and r<=300");
        row("sqlite count keeps the condition", sqliteText.GetBrowseCountSql(table),
            "select COUNT(*) as rowCount from \"person\" t where score > 1");
        const Tessark::BrowseSource query{QString(), " select id from person ", QString(), "score", false, "id"};
        row("mysql query ordered outside its derived table", mysqlText.GetBrowsePageSql(query, 0, 10),
            "select * from (select id from person) t order by score,id LIMIT 10 OFFSET 0");
        row("postgresql query count", pgText.GetBrowseCountSql(query),
            "select COUNT(*) as rowCount from (select id from person) t");
        row("sqlite unordered blank condition", sqliteText.GetBrowsePageSql({"person", QString(), "  ", QString(), true, QString()}, 0, 5),
            "select * from \"person\" t LIMIT 5 OFFSET 0");
        row("postgresql key alone", pgText.GetBrowsePageSql({"person", QString(), QString(), QString(), false, "id"}, 5, 5),
            "select * from person t order by \"id\" LIMIT 5 OFFSET 5");
    }
    void browse() { compare(); }

    // Values never leave their quotes; values without quote characters are untouched.
    void escaping_data()
    {
        columns();
        const QList<FieldPair> fields = {{"username", "a\\b'c"}};
        row("sqlite quote doubled", sqlite.GetInsertSql("t", {"username"}, fields, "id", false),
            "INSERT INTO \"t\" (\"username\") VALUES ('a\\b''c')");
        row("postgresql quote doubled", pg.GetInsertSql("t", {"username"}, fields, "id", false),
            "INSERT INTO t (\"username\") VALUES ('a\\b''c') RETURNING id");
        row("mysql quote and backslash doubled", mysql.GetInsertSql("t", {"username"}, fields, "id", false),
            "INSERT INTO t (username) VALUES ('a\\\\b''c') ");
        row("oracle quote doubled", oracle.GetInsertSql("t", {"username"}, fields, "id", false),
            "INSERT INTO \"t\" (\"username\") VALUES ('a\\b''c') ");
        row("sqlite update key value", sqlite.GetUpdateSql("t", "username", {"username"}, fields),
            "UPDATE \"t\" set \"username\" = 'a\\b''c' where \"username\"='a\\b''c'");
        row("sqlite delete value", sqlite.GetDeleteSql("t", "k", QVariant("O'Brien")),
            "DELETE FROM \"t\" where \"k\"='O''Brien'");
        row("sqlite field delete quote doubled", sqlite.GetDeleteSql("t", "k", QList<FieldPair>{{"k", "say \"O'Brien\""}}),
            "DELETE FROM \"t\" where \"k\"='say \"O''Brien\"'");
        row("postgresql field delete quote doubled", pg.GetDeleteSql("t", "k", QList<FieldPair>{{"k", "a'b"}}),
            "DELETE FROM t where \"k\"='a''b'");
        row("oracle field delete quote doubled", oracle.GetDeleteSql("t", "k", QList<FieldPair>{{"k", "a'b"}}),
            "DELETE FROM \"t\" where \"k\"='a''b'");
        row("mysql field delete is the caller's literal", mysql.GetDeleteSql("t", "k", QList<FieldPair>{{"k", "'it''s'"}}),
            "DELETE FROM t where k='it''s'");
        row("sqlite placeholders in values stay text", sqlite.GetInsertSql("t", {"a", "b"}, {{"a", "%2"}, {"b", "%1"}}, "id", false),
            "INSERT INTO \"t\" (\"a\",\"b\") VALUES ('%2','%1')");
    }
    void escaping() { compare(); }

private:
    void compare()
    {
        QFETCH(QString, actual);
        QFETCH(QString, expected);
        QCOMPARE(actual, expected);
    }
};

TESSARK_TEST_MAIN(TestStatements)
#include "tst_statements.moc"
