// Record-class source generation: golden text for both backends, the type
// tables, row conversion, and CreateModel on a real SQLite file and PostgreSQL table.
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

QString utf8(const char* text)
{
    return QString::fromUtf8(text);
}

// Everything before the struct line; only the guard and the project word vary.
QString prologue(const char* guard, const char* project)
{
    return utf8("#ifndef %1_H\n"
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
                "*/\n")
        .arg(QLatin1String(guard), QLatin1String(project));
}

// The one-column table person(id INTEGER) as class Person, key id, with stream operators.
const char* const personHeader =
    "#ifndef PERSON_H\n"
    "#define PERSON_H\n"
    "\n"
    "#include <QObject>\n"
    "#include <QDateTime>\n"
    "#include <QDataStream>\n"
    "#include \"Model/objectmodel.h\"\n"
    "#include \"brelvan_global.h\"\n"
    "\n"
    "/**\n"
    "* @projectName   Tessark\n"
    "* @brief         \n"
    "* @author        Morvane\n"
    "* @date          2024-03-05\n"
    "*/\n"
    "struct BRELVANSHARED_EXPORT Person : public ObjectModel\n"
    "{\n"
    "    Q_OBJECT\n"
    "\n"
    "private:\n"
    "    Q_PROPERTY(int id READ getid WRITE setid)\n"
    "    inline int getid(){ return id;}\n"
    "    inline void setid(int value){ id = value;}\n"
    "\n"
    "public:\n"
    "    friend Q_DECL_EXPORT QDataStream& operator>>(QDataStream&, Person&);\n"
    "    friend Q_DECL_EXPORT QDataStream& operator<<(QDataStream&, Person&);\n"
    "\n"
    "    /**\n"
    "    * @brief         \xE6\x91\x98\xE8\xA6\x81\n"
    "    */\n"
    "    int id = 0;\n"
    "\n"
    "    friend bool operator == (const Person &lhs, const Person &rhs)\n"
    "    {\n"
    "        return (lhs.id == rhs.id);\n"
    "    }\n"
    "\n"
    "   explicit Person(){TableName = \"person\"; Key = \"id\";}\n"
    "   ~Person(){}\n"
    "};\n"
    "\n"
    "#endif // PERSON_H";

const char* const personSource =
    "#include \"person.h\"\n"
    "\n"
    "QDataStream& operator>>(QDataStream& src, Person& data)\n"
    "{\n"
    "    src >> data.id;\n"
    "\n"
    "    return src;\n"
    "}\n"
    "\n"
    "QDataStream& operator<<(QDataStream& out, Person& data)\n"
    "{\n"
    "    out << data.id;\n"
    "\n"
    "    return out;\n"
    "}\n";

// The comment of every SQLite column.
const char* const summary = "\xE6\x91\x98\xE8\xA6\x81";

QString member(const QString& comment, const char* line)
{
    return utf8("    /**\n"
                "    * @brief         %1\n"
                "    */\n")
               .arg(comment)
        + QLatin1String(line);
}

Row sqliteColumn(int cid, const QString& name, const QString& type, bool pk = false)
{
    return {{"cid", cid}, {"name", name}, {"type", type}, {"notnull", 0}, {"dflt_value", QVariant()}, {"pk", int(pk)}};
}

Row pgColumn(int attnum, const QString& name, const QString& type, const QString& description)
{
    return {{"attnum", attnum}, {"attname", name}, {"type", type}, {"description", description}};
}

Tessark::ModelText generate(const QString& backend, const RowList& rows, const Tessark::ModelRequest& request,
                            const QDate& date)
{
    QList<ObjectModel*> records;
    const Tessark::ModelTraits* traits = &Tessark::sqliteModelTraits;
    if (backend == QLatin1String("postgresql")) {
        traits = &Tessark::postgresqlModelTraits;
        for (auto* r : Tessark::recordsFromRows<ColumnInfoPostgreSQLModel>(rows))
            records << r;
    } else {
        for (auto* r : Tessark::recordsFromRows<ColumnInfoSQLiteModel>(rows))
            records << r;
    }
    const Tessark::ModelText text = Tessark::modelText(records, *traits, request, date);
    qDeleteAll(records);
    return text;
}

QString readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("<unreadable %1>").arg(path);
    return QString::fromUtf8(file.readAll());
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
void compareDated(const QString& actual, const QString& golden, const QDate& before, const QDate& after)
{
    const QString stamp = QStringLiteral("* @date          2024-03-05\n");
    const QString dated = QStringLiteral("* @date          %1\n");
    const QString onBefore = QString(golden).replace(stamp, dated.arg(before.toString("yyyy-MM-dd")));
    const QString onAfter = QString(golden).replace(stamp, dated.arg(after.toString("yyyy-MM-dd")));
    if (actual != onAfter)
        QCOMPARE(actual, onBefore);
}

std::unique_ptr<RawConnection> pgConnection(const ServerAddress& address)
{
    auto raw = std::make_unique<RawConnection>(address);
    if (!raw->isOpen())
        qWarning("cannot open PostgreSQL: %s", qPrintable(raw->lastError()));
    return raw;
}

// SQLite connections are named after the file name: each test gets its own.
QString newSqliteFile(const QTemporaryDir& dir)
{
    const QString path = dir.filePath(uniqueName("gen") + ".db");
    QFile file(path);
    return file.open(QIODevice::WriteOnly) ? path : QString();
}

struct DropPgTable
{
    RawConnection& raw;
    QString table;
    ~DropPgTable() { raw.exec(QStringLiteral("drop table if exists %1").arg(table)); }
};

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

        // SQLite: lower-cased, substrings tried in table order.
        QTest::newRow("sqlite INTEGER") << "sqlite" << "INTEGER" << "int";
        QTest::newRow("sqlite BIGINT") << "sqlite" << "BIGINT" << "int";
        QTest::newRow("sqlite POINT contains int") << "sqlite" << "POINT" << "int";
        QTest::newRow("sqlite int before text") << "sqlite" << "TEXT INT" << "int";
        QTest::newRow("sqlite TEXT") << "sqlite" << "TEXT" << "QString";
        QTest::newRow("sqlite VARCHAR(20)") << "sqlite" << "VARCHAR(20)" << "QString";
        QTest::newRow("sqlite TIMESTAMP") << "sqlite" << "TIMESTAMP" << "QDateTime";
        QTest::newRow("sqlite datatime") << "sqlite" << "DataTime" << "QDateTime";
        QTest::newRow("sqlite DATETIME unmapped") << "sqlite" << "DATETIME" << "";
        QTest::newRow("sqlite FLOAT") << "sqlite" << "FLOAT" << "float";
        QTest::newRow("sqlite DOUBLE") << "sqlite" << "DOUBLE PRECISION" << "double";
        QTest::newRow("sqlite DECIMAL") << "sqlite" << "DECIMAL(10,2)" << "long";
        QTest::newRow("sqlite NUMERIC unmapped") << "sqlite" << "NUMERIC" << "";
        QTest::newRow("sqlite REAL unmapped") << "sqlite" << "REAL" << "";
        QTest::newRow("sqlite BLOB unmapped") << "sqlite" << "BLOB" << "";
        QTest::newRow("sqlite no type") << "sqlite" << "" << "";

        // PostgreSQL: case-sensitive, on typname followed by format_type's text.
        QTest::newRow("postgresql int2") << "postgresql" << "int2smallint" << "short";
        QTest::newRow("postgresql int4") << "postgresql" << "int4integer" << "int";
        QTest::newRow("postgresql numeric") << "postgresql" << "numericnumeric(12,2)" << "int";
        QTest::newRow("postgresql int8") << "postgresql" << "int8bigint" << "qint64";
        QTest::newRow("postgresql float4") << "postgresql" << "float4real" << "float";
        QTest::newRow("postgresql float8") << "postgresql" << "float8double precision" << "double";
        QTest::newRow("postgresql decimal") << "postgresql" << "decimal" << "long";
        QTest::newRow("postgresql timestamp") << "postgresql" << "timestamptimestamp without time zone"
                                              << "QDateTime";
        QTest::newRow("postgresql timestamptz") << "postgresql" << "timestamptztimestamp with time zone"
                                                << "QDateTime";
        QTest::newRow("postgresql varchar") << "postgresql" << "varcharcharacter varying(40)" << "QString";
        QTest::newRow("postgresql text") << "postgresql" << "texttext" << "QString";
        QTest::newRow("postgresql upper case unmapped") << "postgresql" << "INT4" << "";
        QTest::newRow("postgresql bool unmapped") << "postgresql" << "boolboolean" << "";
        QTest::newRow("postgresql date unmapped") << "postgresql" << "datedate" << "";
    }
    void columnType()
    {
        QFETCH(QString, backend);
        QFETCH(QString, declared);
        QFETCH(QString, expected);
        const Tessark::ModelTraits& traits =
            backend == "postgresql" ? Tessark::postgresqlModelTraits : Tessark::sqliteModelTraits;
        QCOMPARE(Tessark::columnType(traits, declared), expected);
    }

    void convertMatchesNamesIgnoringCase()
    {
        const RowList rows = {
            {{"CID", 3}, {"Name", "title"}, {"TYPE", "TEXT"}, {"notnull", 1}},
            {{"cid", "7"}, {"name", "id"}, {"tablename", "books"}},
        };
        const QList<ColumnInfoSQLiteModel*> records = Tessark::recordsFromRows<ColumnInfoSQLiteModel>(rows);
        QCOMPARE(records.size(), 2);
        QCOMPARE(records[0]->cid, 3);
        QCOMPARE(records[0]->name, QStringLiteral("title"));
        QCOMPARE(records[0]->type, QStringLiteral("TEXT"));
        QCOMPARE(records[1]->cid, 7);
        QCOMPARE(records[1]->name, QStringLiteral("id"));
        QCOMPARE(records[1]->type, QString());
        // Inherited meta-properties take part too.
        QCOMPARE(records[1]->property("TableName").toString(), QStringLiteral("books"));
        QCOMPARE(records[0]->property("TableName").toString(), QString());
        qDeleteAll(records);

        const QList<ColumnInfoPostgreSQLModel*> pg = Tessark::recordsFromRows<ColumnInfoPostgreSQLModel>(
            {pgColumn(2, "owner", "varcharcharacter varying(40)", utf8("\xE5\xA7\x93\xE5\x90\x8D"))});
        QCOMPARE(pg.size(), 1);
        QCOMPARE(pg[0]->attnum, 2);
        QCOMPARE(pg[0]->attname, QStringLiteral("owner"));
        QCOMPARE(pg[0]->type, QStringLiteral("varcharcharacter varying(40)"));
        QCOMPARE(pg[0]->description, utf8("\xE5\xA7\x93\xE5\x90\x8D"));
        qDeleteAll(pg);
    }

    void convertLastMatchingKeyWins()
    {
        const Row row = {{"name", "lower"}, {"NAME", "upper"}, {"Name", "mixed"}};
        QString expected;
        for (auto it = row.constBegin(); it != row.constEnd(); ++it)
            expected = it.value().toString();
        ColumnInfoSQLiteModel record;
        Tessark::fillFromRow(&record, row);
        QCOMPARE(record.name, expected);
    }

    void convertAbsentValueResets()
    {
        ColumnInfoSQLiteModel record;
        record.cid = 5;
        record.name = "kept";
        record.type = "TEXT";
        Tessark::fillFromRow(&record, {{"cid", QVariant()}, {"TYPE", QVariant()}});
        QCOMPARE(record.cid, 0);
        QCOMPARE(record.type, QString());
        QCOMPARE(record.name, QStringLiteral("kept"));
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
            << "sqlite" << RowList{sqliteColumn(0, "id", "INTEGER", true)} << "person" << "id" << "Person" << true
            << utf8(personHeader) << utf8(personSource);

        QTest::newRow("sqlite three columns, no key, stream")
            << "sqlite"
            << RowList{sqliteColumn(0, "id", "INTEGER"), sqliteColumn(1, "title", "TEXT"),
                       sqliteColumn(2, "price", "DECIMAL(8,2)")}
            << "book" << "" << "Book" << true
            << prologue("BOOK", "Tessark")
                   + "struct BRELVANSHARED_EXPORT Book : public ObjectModel\n"
                     "{\n"
                     "    Q_OBJECT\n"
                     "\n"
                     "private:\n"
                     "    Q_PROPERTY(int id READ getid WRITE setid)\n"
                     "    inline int getid(){ return id;}\n"
                     "    inline void setid(int value){ id = value;}\n"
                     "\n"
                     "    Q_PROPERTY(QString title READ gettitle WRITE settitle)\n"
                     "    inline QString gettitle(){ return title;}\n"
                     "    inline void settitle(QString value){ title = value;}\n"
                     "\n"
                     "    Q_PROPERTY(long price READ getprice WRITE setprice)\n"
                     "    inline long getprice(){ return price;}\n"
                     "    inline void setprice(long value){ price = value;}\n"
                     "\n"
                     "public:\n"
                     "    friend Q_DECL_EXPORT QDataStream& operator>>(QDataStream&, Book&);\n"
                     "    friend Q_DECL_EXPORT QDataStream& operator<<(QDataStream&, Book&);\n"
                     "\n"
                   + member(utf8(summary), "    int id = 0;\n\n")
                   + member(utf8(summary), "    QString title;\n\n")
                   + member(utf8(summary), "    long price = 0;\n\n")
                   + "   explicit Book(){TableName = \"book\";}\n"
                     "   ~Book(){}\n"
                     "};\n"
                     "\n"
                     "#endif // BOOK_H"
            << utf8("#include \"book.h\"\n"
                    "\n"
                    "QDataStream& operator>>(QDataStream& src, Book& data)\n"
                    "{\n"
                    "    src >> data.id >>\n"
                    "           data.title >>\n"
                    "           data.price;\n"
                    "\n"
                    "    return src;\n"
                    "}\n"
                    "\n"
                    "QDataStream& operator<<(QDataStream& out, Book& data)\n"
                    "{\n"
                    "    out << data.id <<\n"
                    "           data.title <<\n"
                    "           data.price;\n"
                    "\n"
                    "    return out;\n"
                    "}\n");

        QTest::newRow("sqlite no stream, DATETIME unmapped")
            << "sqlite"
            << RowList{sqliteColumn(0, "id", "INTEGER", true), sqliteColumn(1, "at", "DATETIME"),
                       sqliteColumn(2, "weight", "FLOAT")}
            << "stamp" << "id" << "Stamp" << false
            << prologue("STAMP", "Tessark")
                   + "struct BRELVANSHARED_EXPORT Stamp : public ObjectModel\n"
                     "{\n"
                     "    Q_OBJECT\n"
                     "\n"
                     "private:\n"
                     "    Q_PROPERTY(int id READ getid WRITE setid)\n"
                     "    inline int getid(){ return id;}\n"
                     "    inline void setid(int value){ id = value;}\n"
                     "\n"
                     "    Q_PROPERTY( at READ getat WRITE setat)\n"
                     "    inline  getat(){ return at;}\n"
                     "    inline void setat( value){ at = value;}\n"
                     "\n"
                     "    Q_PROPERTY(float weight READ getweight WRITE setweight)\n"
                     "    inline float getweight(){ return weight;}\n"
                     "    inline void setweight(float value){ weight = value;}\n"
                     "\n"
                     "public:\n"
                   + member(utf8(summary), "    int id = 0;\n\n")
                   + member(utf8(summary), "     at;\n\n")
                   + member(utf8(summary), "    float weight = 0;\n\n")
                   + "    friend bool operator == (const Stamp &lhs, const Stamp &rhs)\n"
                     "    {\n"
                     "        return (lhs.id == rhs.id);\n"
                     "    }\n"
                     "\n"
                     "   explicit Stamp(){TableName = \"stamp\"; Key = \"id\";}\n"
                     "   ~Stamp(){}\n"
                     "};\n"
                     "\n"
                     "#endif // STAMP_H"
            << "";

        QTest::newRow("postgresql mixed-case class, key, stream")
            << "postgresql"
            << RowList{pgColumn(1, "id", "int4integer", utf8("\xE7\xBC\x96\xE5\x8F\xB7")),
                       pgColumn(2, "balance", "numericnumeric(12,2)", "Balance in cents"),
                       pgColumn(3, "ratio", "float8double precision", "ratio %1 of 100%"),
                       pgColumn(4, "owner", "varcharcharacter varying(40)", "Owner")}
            << "account" << "id" << "AccountRow" << true
            << prologue("ACCOUNTROW", "")
                   + "struct BRELVANSHARED_EXPORT AccountRow : public ObjectModel\n"
                     "{\n"
                     "    Q_OBJECT\n"
                     "\n"
                     "private:\n"
                     "    Q_PROPERTY(int id READ getid WRITE setid)\n"
                     "    inline int getid(){ return id;}\n"
                     "    inline void setid(int value){ id = value;}\n"
                     "\n"
                     "    Q_PROPERTY(int balance READ getbalance WRITE setbalance)\n"
                     "    inline int getbalance(){ return balance;}\n"
                     "    inline void setbalance(int value){ balance = value;}\n"
                     "\n"
                     "    Q_PROPERTY(double ratio READ getratio WRITE setratio)\n"
                     "    inline double getratio(){ return ratio;}\n"
                     "    inline void setratio(double value){ ratio = value;}\n"
                     "\n"
                     "    Q_PROPERTY(QString owner READ getowner WRITE setowner)\n"
                     "    inline QString getowner(){ return owner;}\n"
                     "    inline void setowner(QString value){ owner = value;}\n"
                     "\n"
                     "public:\n"
                     "    friend Q_DECL_EXPORT QDataStream& operator>>(QDataStream&, AccountRow&);\n"
                     "    friend Q_DECL_EXPORT QDataStream& operator<<(QDataStream&, AccountRow&);\n"
                     "\n"
                   + member(utf8("\xE7\xBC\x96\xE5\x8F\xB7"), "    int id = 0;\n\n")
                   + member("Balance in cents", "    int balance = 0;\n\n")
                   + member("ratio %1 of 100%", "    double ratio = 0;\n\n")
                   + member("Owner", "    QString owner;\n\n")
                   + "    friend bool operator == (const AccountRow &lhs, const AccountRow &rhs)\n"
                     "    {\n"
                     "        return (lhs.id == rhs.id);\n"
                     "    }\n"
                     "\n"
                     "   explicit AccountRow(){TableName = \"account\"; Key = \"id\";}\n"
                     "   ~AccountRow(){}\n"
                     "};\n"
                     "\n"
                     "#endif // ACCOUNTROW_H"
            << utf8("#include \"accountrow.h\"\n"
                    "\n"
                    "QDataStream& operator>>(QDataStream& src, AccountRow& data)\n"
                    "{\n"
                    "    src >> data.id >>\n"
                    "           data.balance >>\n"
                    "           data.ratio >>\n"
                    "           data.owner;\n"
                    "\n"
                    "    return src;\n"
                    "}\n"
                    "\n"
                    "QDataStream& operator<<(QDataStream& out, AccountRow& data)\n"
                    "{\n"
                    "    out << data.id <<\n"
                    "           data.balance <<\n"
                    "           data.ratio <<\n"
                    "           data.owner;\n"
                    "\n"
                    "    return out;\n"
                    "}\n");

        QTest::newRow("postgresql no key, no stream, bool unmapped")
            << "postgresql"
            << RowList{pgColumn(1, "seq", "int8bigint", "Sequence"), pgColumn(2, "kind", "int2smallint", "Kind"),
                       pgColumn(3, "at", "timestamptimestamp without time zone", "When"),
                       pgColumn(4, "live", "boolboolean", "Live"), pgColumn(5, "weight", "float4real", "Weight")}
            << "event" << "" << "Event" << false
            << prologue("EVENT", "")
                   + "struct BRELVANSHARED_EXPORT Event : public ObjectModel\n"
                     "{\n"
                     "    Q_OBJECT\n"
                     "\n"
                     "private:\n"
                     "    Q_PROPERTY(qint64 seq READ getseq WRITE setseq)\n"
                     "    inline qint64 getseq(){ return seq;}\n"
                     "    inline void setseq(qint64 value){ seq = value;}\n"
                     "\n"
                     "    Q_PROPERTY(short kind READ getkind WRITE setkind)\n"
                     "    inline short getkind(){ return kind;}\n"
                     "    inline void setkind(short value){ kind = value;}\n"
                     "\n"
                     "    Q_PROPERTY(QDateTime at READ getat WRITE setat)\n"
                     "    inline QDateTime getat(){ return at;}\n"
                     "    inline void setat(QDateTime value){ at = value;}\n"
                     "\n"
                     "    Q_PROPERTY( live READ getlive WRITE setlive)\n"
                     "    inline  getlive(){ return live;}\n"
                     "    inline void setlive( value){ live = value;}\n"
                     "\n"
                     "    Q_PROPERTY(float weight READ getweight WRITE setweight)\n"
                     "    inline float getweight(){ return weight;}\n"
                     "    inline void setweight(float value){ weight = value;}\n"
                     "\n"
                     "public:\n"
                   + member("Sequence", "    qint64 seq = 0;\n\n") + member("Kind", "    short kind = 0;\n\n")
                   + member("When", "    QDateTime at;\n\n") + member("Live", "     live;\n\n")
                   + member("Weight", "    float weight = 0;\n\n")
                   + "   explicit Event(){TableName = \"event\";}\n"
                     "   ~Event(){}\n"
                     "};\n"
                     "\n"
                     "#endif // EVENT_H"
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

        const Tessark::ModelText text = generate(backend, rows, {table, key, className, withStream}, goldenDate);
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

        const QString out = dir.filePath("out");
        QVERIFY(QDir().mkpath(out));
        // Longer stale files: the new text must replace them entirely.
        const QByteArray stale(4096, 'x');
        QVERIFY(writeFile(out + "/person.h", stale));
        QVERIFY(writeFile(out + "/person.cpp", stale));

        for (int run = 0; run < 2; ++run) {
            const QDate before = QDate::currentDate();
            QVERIFY(q.CreateModel("person", "id", out, "Person", true));
            const QDate after = QDate::currentDate();
            compareDated(readFile(out + "/person.h"), utf8(personHeader), before, after);
            QCOMPARE(readBytes(out + "/person.cpp"), QByteArray(personSource));
        }
        // UTF-8 without a byte-order mark.
        QVERIFY(readBytes(out + "/person.h").startsWith("#ifndef PERSON_H\n"));
        QVERIFY(readBytes(out + "/person.h").contains("    * @brief         \xE6\x91\x98\xE8\xA6\x81\n"));

        const QString headerOnly = dir.filePath("headeronly");
        QVERIFY(QDir().mkpath(headerOnly));
        QVERIFY(q.CreateModel("person", "", headerOnly, "Person", false));
        QCOMPARE(QDir(headerOnly).entryList(QDir::Files), QStringList{"person.h"});
        const QString header = readFile(headerOnly + "/person.h");
        QVERIFY(!header.contains("friend"));
        QVERIFY(header.contains("   explicit Person(){TableName = \"person\";}\n"));
    }

    void failures_data()
    {
        QTest::addColumn<QString>("backend");
        QTest::addColumn<bool>("knownTable");
        QTest::addColumn<bool>("folderExists");

        QTest::newRow("sqlite missing folder") << "sqlite" << true << false;
        QTest::newRow("sqlite unknown table") << "sqlite" << false << true;
        QTest::newRow("postgresql missing folder") << "postgresql" << true << false;
        QTest::newRow("postgresql unknown table") << "postgresql" << false << true;
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
        const QString table = uniqueName("gen_fail");
        const QString asked = knownTable ? table : table + "_absent";

        bool created = true;
        if (backend == "sqlite") {
            const QString db = newSqliteFile(dir);
            QVERIFY(!db.isEmpty());
            SQLiteQuery q;
            q.InitInfo(db, "genmodel");
            QVERIFY(q.ExecuteSQL(QStringLiteral("create table %1 (id INTEGER, name TEXT)").arg(table)));
            created = q.CreateModel(asked, "id", folder, "Failing", true);
        } else {
            TESSARK_REQUIRE_SERVER(Server::PostgreSQL, address);
            auto raw = pgConnection(address);
            QVERIFY(raw->isOpen());
            DropPgTable drop{*raw, table};
            QVERIFY2(raw->exec(QStringLiteral("create table %1 (id int4)").arg(table)), qPrintable(raw->lastError()));
            QVERIFY(raw->exec(QStringLiteral("comment on column %1.id is 'Id'").arg(table)));
            PostgreSQLQuery q;
            q.InitInfo(address.host, address.port, address.user, address.password, address.dbname, "genmodel");
            created = q.CreateModel(asked, "id", folder, "Failing", true);
        }
        QVERIFY(!created);
        QCOMPARE(QDir(folder).exists(), folderExists);
        if (folderExists)
            QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::NoDotAndDotDot), QStringList());
    }

    void postgresqlCreateModel()
    {
        TESSARK_REQUIRE_SERVER(Server::PostgreSQL, address);
        auto raw = pgConnection(address);
        QVERIFY(raw->isOpen());
        const QString table = uniqueName("gen_pg");
        DropPgTable drop{*raw, table};
        QVERIFY2(raw->exec(QStringLiteral("create table %1 (id serial primary key)").arg(table)),
                 qPrintable(raw->lastError()));
        QVERIFY(raw->exec(QStringLiteral("comment on column %1.id is '%2'")
                              .arg(table, utf8("\xE7\xBC\x96\xE5\x8F\xB7"))));

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        PostgreSQLQuery q;
        q.InitInfo(address.host, address.port, address.user, address.password, address.dbname, "genmodel");
        const QDate before = QDate::currentDate();
        QVERIFY(q.CreateModel(table, "id", dir.path(), "PgPerson", true));
        const QDate after = QDate::currentDate();

        const QString expected =
            prologue("PGPERSON", "")
            + "struct BRELVANSHARED_EXPORT PgPerson : public ObjectModel\n"
              "{\n"
              "    Q_OBJECT\n"
              "\n"
              "private:\n"
              "    Q_PROPERTY(int id READ getid WRITE setid)\n"
              "    inline int getid(){ return id;}\n"
              "    inline void setid(int value){ id = value;}\n"
              "\n"
              "public:\n"
              "    friend Q_DECL_EXPORT QDataStream& operator>>(QDataStream&, PgPerson&);\n"
              "    friend Q_DECL_EXPORT QDataStream& operator<<(QDataStream&, PgPerson&);\n"
              "\n"
            + member(utf8("\xE7\xBC\x96\xE5\x8F\xB7"), "    int id = 0;\n\n")
            + "    friend bool operator == (const PgPerson &lhs, const PgPerson &rhs)\n"
              "    {\n"
              "        return (lhs.id == rhs.id);\n"
              "    }\n"
              "\n"
            + QStringLiteral("   explicit PgPerson(){TableName = \"%1\"; Key = \"id\";}\n").arg(table)
            + "   ~PgPerson(){}\n"
              "};\n"
              "\n"
              "#endif // PGPERSON_H";
        compareDated(readFile(dir.filePath("pgperson.h")), expected, before, after);
        QCOMPARE(readFile(dir.filePath("pgperson.cpp")), utf8(personSource)
                                                             .replace("person.h", "pgperson.h")
                                                             .replace("Person&", "PgPerson&"));
    }

    void postgresqlColumnInfo()
    {
        TESSARK_REQUIRE_SERVER(Server::PostgreSQL, address);
        auto raw = pgConnection(address);
        QVERIFY(raw->isOpen());
        const QString table = uniqueName("gen_info");
        DropPgTable drop{*raw, table};
        QVERIFY2(raw->exec(QStringLiteral("create table %1 (id serial primary key, name varchar(40), note text)")
                               .arg(table)),
                 qPrintable(raw->lastError()));
        QVERIFY(raw->exec(QStringLiteral("comment on column %1.id is 'Key'").arg(table)));
        QVERIFY(raw->exec(QStringLiteral("comment on column %1.name is 'Name'").arg(table)));

        PostgreSQLQuery q;
        q.InitInfo(address.host, address.port, address.user, address.password, address.dbname, "genmodel");
        QList<ColumnInfoPostgreSQLModel*> info = q.GetColumnInfo(table);
        std::sort(info.begin(), info.end(), [](auto* a, auto* b) { return a->attnum < b->attnum; });
        QStringList seen;
        for (const ColumnInfoPostgreSQLModel* c : info)
            seen << QStringLiteral("%1 %2 %3 %4").arg(c->attnum).arg(c->attname, c->type, c->description);
        qDeleteAll(info);
        // The uncommented column is not reported.
        QCOMPARE(seen, QStringList({"1 id int4integer Key", "2 name varcharcharacter varying(40) Name"}));

        QVERIFY(q.GetColumnInfo(table + "_absent").isEmpty());
    }
};

TESSARK_TEST_MAIN(TestModelGenerator)
#include "tst_modelgenerator.moc"
