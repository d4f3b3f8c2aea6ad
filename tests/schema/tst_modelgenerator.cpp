// Record-class source generation: the type tables, row conversion, golden text
// per backend, and CreateModel on a real SQLite file and PostgreSQL table.
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "../support/tessarktest.h"
#include "Model/columninfomodels.h"
#include "postgresql/postgresqlquery.h"
#include "schema/modelgenerator.h"
#include "sqlite/sqlitequery.h"

using namespace TessarkTest;

Q_DECLARE_METATYPE(RowList)

namespace {

const QDate goldenDate(2024, 3, 5);
const QString summary = QString::fromUtf8("摘要"); // the comment of every SQLite column
const QString serial = QString::fromUtf8("编号");

// One generated member: its Qt type (empty when unmapped), name, comment and declaration.
struct Field
{
    QString type;
    QString name;
    QString comment;
    QString declaration;
};

// The golden header, one generated line per line here; an empty key means no
// Key and no operator ==, the date is always goldenDate's.
QString header(const QString& cls, const QString& project, const QString& table, const QString& key,
               bool stream, const QList<Field>& fields)
{
    const QString guard = cls.toUpper();
    QString text = QStringLiteral("#ifndef %1_H\n"
                                  "#define %1_H\n"
                                  "\n"
                                  "#include <QObject>\n"
                                  "#include <QDateTime>\n"
                                  "#include <QDataStream>\n"
                                  "#include \"Model/objectmodel.h\"\n"
                                  "#include \"brelvan_global.h\"\n"
                                  "\n"
                                  "/**\n"
                                  "* @projectName   %2\n"
                                  "* @brief         \n"
                                  "* @author        Morvane\n"
                                  "* @date          2024-03-05\n"
                                  "*/\n"
                                  "struct BRELVANSHARED_EXPORT %3 : public ObjectModel\n"
                                  "{\n"
                                  "    Q_OBJECT\n"
                                  "\n"
                                  "private:\n")
                           .arg(guard, project, cls);
    for (const Field& f : fields)
        text += QStringLiteral("    Q_PROPERTY(%1 %2 READ get%2 WRITE set%2)\n"
                               "    inline %1 get%2(){ return %2;}\n"
                               "    inline void set%2(%1 value){ %2 = value;}\n"
                               "\n")
                        .arg(f.type, f.name);
    text += "public:\n";
    if (stream)
        text += QStringLiteral("    friend Q_DECL_EXPORT QDataStream& operator>>(QDataStream&, %1&);\n"
                               "    friend Q_DECL_EXPORT QDataStream& operator<<(QDataStream&, %1&);\n"
                               "\n")
                        .arg(cls);
    for (const Field& f : fields)
        text += QStringLiteral("    /**\n"
                               "    * @brief         %1\n"
                               "    */\n"
                               "    %2\n"
                               "\n")
                        .arg(f.comment, f.declaration);
    if (!key.isEmpty())
        text += QStringLiteral("    friend bool operator == (const %1 &lhs, const %1 &rhs)\n"
                               "    {\n"
                               "        return (lhs.%2 == rhs.%2);\n"
                               "    }\n"
                               "\n")
                        .arg(cls, key);
    const QString keyed = key.isEmpty() ? QString() : QStringLiteral(" Key = \"%1\";").arg(key);
    return text + QStringLiteral("   explicit %1(){TableName = \"%2\";%3}\n"
                                 "   ~%1(){}\n"
                                 "};\n"
                                 "\n"
                                 "#endif // %4_H")
                          .arg(cls, table, keyed, guard);
}

// The golden stream-operator source for the members in order.
QString source(const QString& cls, const QStringList& names)
{
    return QStringLiteral("#include \"%1.h\"\n"
                          "\n"
                          "QDataStream& operator>>(QDataStream& src, %2& data)\n"
                          "{\n"
                          "    src >> data.%3;\n"
                          "\n"
                          "    return src;\n"
                          "}\n"
                          "\n"
                          "QDataStream& operator<<(QDataStream& out, %2& data)\n"
                          "{\n"
                          "    out << data.%4;\n"
                          "\n"
                          "    return out;\n"
                          "}\n")
            .arg(cls.toLower(), cls, names.join(" >>\n           data."), names.join(" <<\n           data."));
}

// Person from person(id INTEGER), key id, with stream operators, as SQLite generates it.
const QString personHeader = header("Person", "Tessark", "person", "id", true,
                                    {{"int", "id", summary, "int id = 0;"}});
const QString personSource = source("Person", {"id"});

Row sqliteColumn(int cid, const QString& name, const QString& type)
{
    return {{"cid", cid}, {"name", name}, {"type", type}, {"notnull", 0}, {"dflt_value", QVariant()}, {"pk", 0}};
}

Row pgColumn(int attnum, const QString& name, const QString& type, const QString& description)
{
    return {{"attnum", attnum}, {"attname", name}, {"type", type}, {"description", description}};
}

Tessark::ModelText generate(const QString& backend, const RowList& rows, const Tessark::ModelRequest& request)
{
    QList<ObjectModel*> records;
    if (backend == QLatin1String("postgresql")) {
        for (auto* r : Tessark::recordsFromRows<ColumnInfoPostgreSQLModel>(rows))
            records << r;
    } else {
        for (auto* r : Tessark::recordsFromRows<ColumnInfoSQLiteModel>(rows))
            records << r;
    }
    const auto& traits = backend == "postgresql" ? Tessark::postgresqlModelTraits : Tessark::sqliteModelTraits;
    const Tessark::ModelText text = Tessark::modelText(records, traits, request, goldenDate);
    qDeleteAll(records);
    return text;
}

QByteArray readBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// The golden text dated on the day the file was written (the call may straddle midnight).
void compareDated(const QString& path, const QString& golden, const QDate& before, const QDate& after)
{
    const QString actual = QString::fromUtf8(readBytes(path));
    const QString stamp = QStringLiteral("* @date          2024-03-05\n");
    const QString dated = QStringLiteral("* @date          %1\n");
    if (actual != QString(golden).replace(stamp, dated.arg(after.toString("yyyy-MM-dd"))))
        QCOMPARE(actual, QString(golden).replace(stamp, dated.arg(before.toString("yyyy-MM-dd"))));
}

// SQLite connections are named after the file name: each test gets its own.
QString newSqliteFile(const QTemporaryDir& dir)
{
    const QString path = dir.filePath(uniqueName("gen") + ".db");
    return writeFile(path, QByteArray()) ? path : QString();
}

// A PostgreSQL table for one test, with the given columns commented, dropped at the end.
struct PgTable
{
    RawConnection raw;
    QString name;
    PgTable(const ServerAddress& address, const QString& prefix) : raw(address), name(uniqueName(prefix)) {}
    ~PgTable() { raw.exec(QStringLiteral("drop table if exists %1").arg(name)); }
    bool create(const QString& columns, const QList<QPair<QString, QString>>& comments)
    {
        if (!raw.isOpen() || !raw.exec(QStringLiteral("create table %1 (%2)").arg(name, columns)))
            return false;
        for (const auto& c : comments) {
            if (!raw.exec(QStringLiteral("comment on column %1.%2 is '%3'").arg(name, c.first, c.second)))
                return false;
        }
        return true;
    }
};

void initPg(PostgreSQLQuery& q, const ServerAddress& a)
{
    q.InitInfo(a.host, a.port, a.user, a.password, a.dbname, "genmodel");
}

} // namespace

class TestModelGenerator : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }
    void cleanup() { TESSARK_VERIFY_EXPECTED_MESSAGES(); }

    void columnType_data()
    {
        QTest::addColumn<QString>("backend");
        QTest::addColumn<QString>("declared");
        QTest::addColumn<QString>("expected");

        // SQLite: lower-cased, substrings tried in table order. PostgreSQL: case-sensitive,
        // on typname followed by format_type's text. An empty expectation: unmapped.
        const char* const cases[][3] = {
            {"sqlite", "INTEGER", "int"}, {"sqlite", "BIGINT", "int"}, {"sqlite", "POINT", "int"},
            {"sqlite", "TEXT INT", "int"}, {"sqlite", "TEXT", "QString"}, {"sqlite", "VARCHAR(20)", "QString"},
            {"sqlite", "TIMESTAMP", "QDateTime"}, {"sqlite", "DataTime", "QDateTime"}, {"sqlite", "DATETIME", ""},
            {"sqlite", "FLOAT", "float"}, {"sqlite", "DOUBLE PRECISION", "double"}, {"sqlite", "DECIMAL(10,2)", "long"},
            {"sqlite", "NUMERIC", ""}, {"sqlite", "REAL", ""}, {"sqlite", "BLOB", ""}, {"sqlite", "", ""},
            {"postgresql", "int2smallint", "short"}, {"postgresql", "int4integer", "int"},
            {"postgresql", "numericnumeric(12,2)", "int"}, {"postgresql", "int8bigint", "qint64"},
            {"postgresql", "float4real", "float"}, {"postgresql", "float8double precision", "double"},
            {"postgresql", "decimal", "long"}, {"postgresql", "timestamptimestamp without time zone", "QDateTime"},
            {"postgresql", "timestamptztimestamp with time zone", "QDateTime"},
            {"postgresql", "varcharcharacter varying(40)", "QString"}, {"postgresql", "texttext", "QString"},
            {"postgresql", "INT4", ""}, {"postgresql", "boolboolean", ""}, {"postgresql", "datedate", ""},
        };
        for (const auto& c : cases)
            QTest::addRow("%s %s", c[0], c[1]) << c[0] << c[1] << c[2];
    }
    void columnType()
    {
        QFETCH(QString, backend);
        QFETCH(QString, declared);
        QFETCH(QString, expected);
        const auto& traits = backend == "postgresql" ? Tessark::postgresqlModelTraits : Tessark::sqliteModelTraits;
        QCOMPARE(Tessark::columnType(traits, declared), expected);
    }

    void rowConversion()
    {
        // Names match ignoring case; inherited meta-properties take part too.
        const QList<ColumnInfoSQLiteModel*> records = Tessark::recordsFromRows<ColumnInfoSQLiteModel>(
            {{{"CID", 3}, {"Name", "title"}, {"TYPE", "TEXT"}, {"notnull", 1}},
             {{"cid", "7"}, {"name", "id"}, {"tablename", "books"}}});
        QCOMPARE(records.size(), 2);
        QCOMPARE(records[0]->cid, 3);
        QCOMPARE(records[0]->name, QStringLiteral("title"));
        QCOMPARE(records[0]->type, QStringLiteral("TEXT"));
        QCOMPARE(records[0]->property("TableName").toString(), QString());
        QCOMPARE(records[1]->cid, 7);
        QCOMPARE(records[1]->type, QString());
        QCOMPARE(records[1]->property("TableName").toString(), QStringLiteral("books"));
        qDeleteAll(records);

        const QList<ColumnInfoPostgreSQLModel*> pg = Tessark::recordsFromRows<ColumnInfoPostgreSQLModel>(
            {pgColumn(2, "owner", "varcharcharacter varying(40)", serial)});
        QCOMPARE(pg.size(), 1);
        QCOMPARE(QStringList({QString::number(pg[0]->attnum), pg[0]->attname, pg[0]->type, pg[0]->description}),
                 QStringList({"2", "owner", "varcharcharacter varying(40)", serial}));
        qDeleteAll(pg);

        // Several spellings of one name: the last in the row's own order wins.
        const Row spellings = {{"name", "lower"}, {"NAME", "upper"}, {"Name", "mixed"}};
        ColumnInfoSQLiteModel record;
        record.cid = 5;
        record.type = "TEXT";
        Tessark::fillFromRow(&record, spellings);
        QString last;
        for (const QVariant& value : spellings)
            last = value.toString();
        QCOMPARE(record.name, last);
        // A null value resets; an absent one leaves the field alone.
        Tessark::fillFromRow(&record, {{"cid", QVariant()}, {"TYPE", QVariant()}});
        QCOMPARE(record.cid, 0);
        QCOMPARE(record.type, QString());
        QCOMPARE(record.name, last);
    }

    void text_data()
    {
        QTest::addColumn<QString>("backend");
        QTest::addColumn<RowList>("rows");
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("className");
        QTest::addColumn<bool>("withStream");
        QTest::addColumn<QString>("header");
        QTest::addColumn<QString>("source");

        QTest::newRow("sqlite one column, key, stream")
            << "sqlite" << RowList{sqliteColumn(0, "id", "INTEGER")} << "person" << "id" << "Person" << true
            << personHeader << personSource;
        QTest::newRow("sqlite no key, stream")
            << "sqlite"
            << RowList{sqliteColumn(0, "id", "INTEGER"), sqliteColumn(1, "title", "TEXT"),
                       sqliteColumn(2, "price", "DECIMAL(8,2)")}
            << "book" << "" << "Book" << true
            << header("Book", "Tessark", "book", "", true,
                      {{"int", "id", summary, "int id = 0;"}, {"QString", "title", summary, "QString title;"},
                       {"long", "price", summary, "long price = 0;"}})
            << source("Book", {"id", "title", "price"});
        QTest::newRow("sqlite key, no stream, DATETIME unmapped")
            << "sqlite"
            << RowList{sqliteColumn(0, "id", "INTEGER"), sqliteColumn(1, "at", "DATETIME"),
                       sqliteColumn(2, "weight", "FLOAT")}
            << "stamp" << "id" << "Stamp" << false
            << header("Stamp", "Tessark", "stamp", "id", false,
                      {{"int", "id", summary, "int id = 0;"}, {"", "at", summary, " at;"},
                       {"float", "weight", summary, "float weight = 0;"}})
            << "";
        QTest::newRow("postgresql mixed-case class, key, stream")
            << "postgresql"
            << RowList{pgColumn(1, "id", "int4integer", serial),
                       pgColumn(2, "balance", "numericnumeric(12,2)", "Balance in cents"),
                       pgColumn(3, "ratio", "float8double precision", "ratio %1 of 100%"),
                       pgColumn(4, "owner", "varcharcharacter varying(40)", "Owner")}
            << "account" << "id" << "AccountRow" << true
            << header("AccountRow", "", "account", "id", true,
                      {{"int", "id", serial, "int id = 0;"}, {"int", "balance", "Balance in cents", "int balance = 0;"},
                       {"double", "ratio", "ratio %1 of 100%", "double ratio = 0;"},
                       {"QString", "owner", "Owner", "QString owner;"}})
            << source("AccountRow", {"id", "balance", "ratio", "owner"});
        QTest::newRow("postgresql no key, no stream, bool unmapped")
            << "postgresql"
            << RowList{pgColumn(1, "seq", "int8bigint", "Sequence"), pgColumn(2, "kind", "int2smallint", "Kind"),
                       pgColumn(3, "at", "timestamptimestamp without time zone", "When"),
                       pgColumn(4, "live", "boolboolean", "Live"), pgColumn(5, "weight", "float4real", "Weight")}
            << "event" << "" << "Event" << false
            << header("Event", "", "event", "", false,
                      {{"qint64", "seq", "Sequence", "qint64 seq = 0;"}, {"short", "kind", "Kind", "short kind = 0;"},
                       {"QDateTime", "at", "When", "QDateTime at;"}, {"", "live", "Live", " live;"},
                       {"float", "weight", "Weight", "float weight = 0;"}})
            << "";
    }
    void text()
    {
        QFETCH(QString, backend);
        QFETCH(RowList, rows);
        QFETCH(QString, table);
        QFETCH(QString, key);
        QFETCH(QString, className);
        QFETCH(bool, withStream);
        QFETCH(QString, header);
        QFETCH(QString, source);

        const Tessark::ModelText text = generate(backend, rows, {table, key, className, withStream});
        QCOMPARE(text.header, header);
        QCOMPARE(text.source, source);
    }

    void sqliteCreateModel()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString db = newSqliteFile(dir);
        QVERIFY(!db.isEmpty());
        SQLiteQuery q;
        q.InitInfo(db, "genmodel");
        QVERIFY(q.ExecuteSQL("create table person (id INTEGER)"));

        // Longer stale files: the new text must replace them entirely, run after run.
        const QString out = dir.filePath("out");
        QVERIFY(QDir().mkpath(out));
        QVERIFY(writeFile(out + "/person.h", QByteArray(4096, 'x')));
        QVERIFY(writeFile(out + "/person.cpp", QByteArray(4096, 'x')));
        for (int run = 0; run < 2; ++run) {
            const QDate before = QDate::currentDate();
            QVERIFY(q.CreateModel("person", "id", out, "Person", true));
            compareDated(out + "/person.h", personHeader, before, QDate::currentDate());
            QCOMPARE(readBytes(out + "/person.cpp"), personSource.toUtf8());
        }
        // UTF-8 without a byte-order mark.
        QVERIFY(readBytes(out + "/person.h").startsWith("#ifndef PERSON_H\n"));

        const QString headerOnly = dir.filePath("headeronly");
        QVERIFY(QDir().mkpath(headerOnly));
        QVERIFY(q.CreateModel("person", "", headerOnly, "Person", false));
        QCOMPARE(QDir(headerOnly).entryList(QDir::Files), QStringList{"person.h"});
        const QString text = QString::fromUtf8(readBytes(headerOnly + "/person.h"));
        QVERIFY(!text.contains("friend"));
        QVERIFY(text.contains("   explicit Person(){TableName = \"person\";}\n"));
    }

    void failures_data()
    {
        QTest::addColumn<QString>("backend");
        QTest::addColumn<bool>("knownTable");
        QTest::addColumn<bool>("folderExists");

        for (const char* backend : {"sqlite", "postgresql"}) {
            QTest::addRow("%s missing folder", backend) << backend << true << false;
            QTest::addRow("%s unknown table", backend) << backend << false << true;
        }
    }
    void failures()
    {
        QFETCH(QString, backend);
        QFETCH(bool, knownTable);
        QFETCH(bool, folderExists);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString folder = dir.filePath("out");
        if (folderExists)
            QVERIFY(QDir().mkpath(folder));
        const QString suffix = knownTable ? "" : "_absent";

        bool created = true;
        if (backend == "sqlite") {
            const QString db = newSqliteFile(dir);
            QVERIFY(!db.isEmpty());
            SQLiteQuery q;
            q.InitInfo(db, "genmodel");
            QVERIFY(q.ExecuteSQL("create table gen_fail (id INTEGER, name TEXT)"));
            created = q.CreateModel("gen_fail" + suffix, "id", folder, "Failing", true);
        } else {
            TESSARK_REQUIRE_SERVER(Server::PostgreSQL, address);
            PgTable table(address, "gen_fail");
            QVERIFY2(table.create("id int4", {{"id", "Id"}}), qPrintable(table.raw.lastError()));
            PostgreSQLQuery q;
            initPg(q, address);
            created = q.CreateModel(table.name + suffix, "id", folder, "Failing", true);
        }
        QVERIFY(!created);
        QCOMPARE(QDir(folder).exists(), folderExists);
        if (folderExists)
            QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::NoDotAndDotDot), QStringList());
    }

    void postgresqlCreateModel()
    {
        TESSARK_REQUIRE_SERVER(Server::PostgreSQL, address);
        PgTable table(address, "gen_pg");
        QVERIFY2(table.create("id serial primary key", {{"id", serial}}), qPrintable(table.raw.lastError()));

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        PostgreSQLQuery q;
        initPg(q, address);
        const QDate before = QDate::currentDate();
        QVERIFY(q.CreateModel(table.name, "id", dir.path(), "PgPerson", true));
        compareDated(dir.filePath("pgperson.h"),
                     header("PgPerson", "", table.name, "id", true, {{"int", "id", serial, "int id = 0;"}}), before,
                     QDate::currentDate());
        QCOMPARE(QString::fromUtf8(readBytes(dir.filePath("pgperson.cpp"))), source("PgPerson", {"id"}));
    }

    void postgresqlColumnInfo()
    {
        TESSARK_REQUIRE_SERVER(Server::PostgreSQL, address);
        PgTable table(address, "gen_info");
        QVERIFY2(table.create("id serial primary key, name varchar(40), note text", {{"id", "Key"}, {"name", "Name"}}),
                 qPrintable(table.raw.lastError()));

        PostgreSQLQuery q;
        initPg(q, address);
        QList<ColumnInfoPostgreSQLModel*> info = q.GetColumnInfo(table.name);
        std::sort(info.begin(), info.end(), [](auto* a, auto* b) { return a->attnum < b->attnum; });
        QStringList seen;
        for (const ColumnInfoPostgreSQLModel* c : info)
            seen << QStringLiteral("%1 %2 %3 %4").arg(c->attnum).arg(c->attname, c->type, c->description);
        qDeleteAll(info);
        // The uncommented column is not reported.
        QCOMPARE(seen, QStringList({"1 id int4integer Key", "2 name varcharcharacter varying(40) Name"}));
        QVERIFY(q.GetColumnInfo(table.name + "_absent").isEmpty());
    }
};

TESSARK_TEST_MAIN(TestModelGenerator)
#include "tst_modelgenerator.moc"
