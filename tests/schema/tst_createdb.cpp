// SQLite database creation from a description.
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QtTest>

#include "../support/tessarktest.h"
#include "Model/columninfomodels.h"
#include "schema/sqlitecreator.h"
#include "sqlite/sqlitequery.h"

Q_DECLARE_METATYPE(QList<TableInfoModel>)

using namespace TessarkTest;

namespace {

// flags: p primary key, a autoincrement, i indexed, d descending.
ColumnInfoModel column(const QString& name, const QString& type, const QByteArray& flags = "")
{
    ColumnInfoModel c;
    c.Name = name;
    c.Type = type;
    c.IsPrimaryKey = flags.contains('p');
    c.IsAutoIncrement = flags.contains('a');
    c.IsIndex = flags.contains('i');
    c.IsDesc = flags.contains('d');
    return c;
}

} // namespace

class TestCreateDatabase : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }

    void statementTexts_data()
    {
        QTest::addColumn<QList<TableInfoModel>>("tables");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("key, autoincrement and kept blanks")
            << QList<TableInfoModel>{{"t", "", {column("id", "int", "pa"), column("name", "QString")}}}
            << QStringList{"t=create table t(id INTEGER PRIMARY KEY AUTOINCREMENT,name TEXT  )"};
        QTest::newRow("index over two columns")
            << QList<TableInfoModel>{{"t", "ix", {column("a", "qint64", "id"), column("b", "double", "i"),
                                                  column("c", "QByteArray", "d")}}}
            << QStringList{"ix=create index ix ON t(a DESC,b ASC)", "t=create table t(a INTEGER  ,b DOUBLE  ,c BLOB  )"};
        QTest::newRow("type mapping")
            << QList<TableInfoModel>{{"m", "", {column("a", "quint16"), column("b", "float"), column("c", "QDateTime"),
                                                column("d", "QVariant")}}}
            << QStringList{"m=create table m(a INTEGER  ,b FLOAT  ,c TIMESTAMP  ,d   )"};
    }
    void statementTexts()
    {
        QFETCH(QList<TableInfoModel>, tables);
        QFETCH(QStringList, expected);
        // Missing folders are made, and an existing file is replaced, not added to.
        QTemporaryDir dir;
        CreateDatabaseModel model{dir.filePath("a/b/texts.db"), {{"stale", "", {column("x", "int")}}}};
        SQLiteQuery q;
        QVERIFY(q.CreateDatabase(model));
        model.Tables = tables;
        QVERIFY(q.CreateDatabase(model));
        QStringList sent; // "=" where no index is made
        for (const TableInfoModel& t : tables)
            sent << t.TableName + "=" + Tessark::createTableSql(t) << t.IndexName + "=" + Tessark::createIndexSql(t);
        sent.removeAll("=");
        sent.sort();
        QCOMPARE(sent, expected);
        // SQLite keeps the text as sent, with its keywords upper-cased.
        QStringList stored;
        const auto schema = sqliteSchema(model.DatabasePath);
        for (auto it = schema.begin(); it != schema.end(); ++it)
            stored << it.key() + "=" + it.value();
        for (QString& e : expected)
            e.replace("create table", "CREATE TABLE").replace("create index", "CREATE INDEX");
        QCOMPARE(stored, expected);
    }

    // Only the last statement decides (earlier failures are skipped); a file
    // that cannot be replaced fails the whole. Throughout, the application's
    // default connection stays as it was, and no connection is left behind.
    void outcome()
    {
        QTemporaryDir dir;
        {
            QSqlDatabase app = QSqlDatabase::addDatabase("QSQLITE");
            app.setDatabaseName(dir.filePath("app.db"));
            QVERIFY(app.open() && QSqlQuery(app).exec("create table mine(x)"));
        }
        const QStringList before = QSqlDatabase::connectionNames();
        const TableInfoModel broken{"bad", "", {column("x", "int", "p"), column("x", "int")}}, fine{"good", "", {column("y", "int")}};
        CreateDatabaseModel model{dir.filePath("last.db"), {broken, fine}};
        SQLiteQuery q;
        QVERIFY(q.CreateDatabase(model));
        QCOMPARE(sqliteSchema(model.DatabasePath).keys(), QStringList{"good"});
        model.Tables = {fine, broken};
        QVERIFY(!q.CreateDatabase(model));
        model.Tables.clear();
        QVERIFY(q.CreateDatabase(model)); // no tables: the open decides
        QVERIFY(QDir(dir.path()).mkpath("occupied.db/inside"));
        model.DatabasePath = dir.filePath("occupied.db");
        model.Tables = {fine};
        QVERIFY(!q.CreateDatabase(model));
        QVERIFY(QFileInfo(model.DatabasePath).isDir());
        QCOMPARE(QSqlDatabase::connectionNames(), before);
        // Still open (not reopened here) on the application's file.
        QVERIFY(QSqlQuery(QSqlDatabase::database(QSqlDatabase::defaultConnection, false)).exec("select * from mine"));
        QSqlDatabase::removeDatabase(QSqlDatabase::defaultConnection);
    }
};

TESSARK_TEST_MAIN(TestCreateDatabase)
#include "tst_createdb.moc"
