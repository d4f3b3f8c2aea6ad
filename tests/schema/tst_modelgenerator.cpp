// Record-class source generation: the type tables, golden text per backend,
// and CreateModel on a real SQLite file. tst_genmodel_roundtrip_* build and run
// classes generated from live SQLite and PostgreSQL tables.
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include "../support/tessarktest.h"
#include "Model/columninfomodels.h"
#include "schema/modelgenerator.h"
#include "sqlite/sqlitequery.h"

using namespace TessarkTest;

// One generated member: its Qt type (empty when unmapped), name, comment and
// declaration; for PostgreSQL also the catalogue's typname + format_type text.
struct Field
{
    QString type, name, comment, declaration, pgType;
};

Q_DECLARE_METATYPE(QList<Field>)
Q_DECLARE_METATYPE(Tessark::ModelRequest)

namespace {

const QDate goldenDate(2024, 3, 5);
const QString serial = QString::fromUtf8("编号");

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
        // on typname followed by format_type's text (its other types are in postgresqlText).
        // An empty expectation: unmapped.
        const char* const cases[][3] = {
            {"sqlite", "TEXT INT", "int"}, {"sqlite", "VARCHAR(20)", "QString"}, {"sqlite", "TIMESTAMP", "QDateTime"},
            {"sqlite", "FLOAT", "float"}, {"sqlite", "DOUBLE PRECISION", "double"}, {"sqlite", "DECIMAL(10,2)", "long"},
            {"sqlite", "DATETIME", ""}, {"postgresql", "decimal", "long"}, {"postgresql", "INT4", ""},
            {"postgresql", "timestamptztimestamp with time zone", "QDateTime"},
        };
        for (const auto& c : cases)
            QTest::newRow(QByteArray(c[0]).append(' ').append(c[1]).constData()) << c[0] << c[1] << c[2];
    }
    void columnType()
    {
        QFETCH(QString, backend);
        QFETCH(QString, declared);
        QFETCH(QString, expected);
        const auto& traits = backend == "postgresql" ? Tessark::postgresqlModelTraits : Tessark::sqliteModelTraits;
        QCOMPARE(Tessark::columnType(traits, declared), expected);
    }

    // PostgreSQL's text differs from SQLite's in project and comments, and
    // here covers several columns and no key; SQLite's is compared below.
    void postgresqlText_data()
    {
        QTest::addColumn<QList<Field>>("fields");
        QTest::addColumn<Tessark::ModelRequest>("request");
        QTest::addColumn<QString>("source");

        QTest::newRow("postgresql mixed-case class, key, stream")
            << QList<Field>{{"int", "id", serial, "int id = 0;", "int4integer"},
                            {"int", "balance", "Balance in cents", "int balance = 0;", "numericnumeric(12,2)"},
                            {"double", "ratio", "ratio %1 of 100%", "double ratio = 0;", "float8double precision"},
                            {"QString", "owner", "Owner", "QString owner;", "varcharcharacter varying(40)"}}
            << Tessark::ModelRequest{"account", "id", "AccountRow", true}
            << source("AccountRow", {"id", "balance", "ratio", "owner"});
        QTest::newRow("postgresql no key, no stream, bool unmapped")
            << QList<Field>{{"qint64", "seq", "Sequence", "qint64 seq = 0;", "int8bigint"},
                            {"short", "kind", "Kind", "short kind = 0;", "int2smallint"},
                            {"QDateTime", "at", "When", "QDateTime at;", "timestamptimestamp without time zone"},
                            {"", "live", "Live", " live;", "boolboolean"},
                            {"float", "weight", "Weight", "float weight = 0;", "float4real"}}
            << Tessark::ModelRequest{"event", "", "Event", false} << "";
    }
    void postgresqlText()
    {
        QFETCH(QList<Field>, fields);
        QFETCH(Tessark::ModelRequest, request);
        QFETCH(QString, source);
        RowList rows;
        for (const Field& f : fields)
            rows << Row{{"attnum", int(rows.size()) + 1}, {"attname", f.name}, {"type", f.pgType},
                        {"description", f.comment}};

        const QList<ColumnInfoPostgreSQLModel*> columns = Tessark::recordsFromRows<ColumnInfoPostgreSQLModel>(rows);
        const QList<ObjectModel*> records(columns.begin(), columns.end());
        const Tessark::ModelText text =
            Tessark::modelText(records, Tessark::postgresqlModelTraits, request, goldenDate);
        qDeleteAll(records);
        QCOMPARE(text.header,
                 header(request.className, "", request.tableName, request.keyName, request.withStream, fields));
        QCOMPARE(text.source, source);
    }

    void sqliteCreateModel()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath("gen.db");
        QVERIFY(writeFile(db, QByteArray()));
        SQLiteQuery q;
        q.InitInfo(db, "genmodel");
        QVERIFY(q.ExecuteSQL("create table person (id INTEGER)"));

        // SQLite generates the project name and one fixed comment for every column.
        const QString personHeader = header("Person", "Tessark", "person", "id", true,
                                            {{"int", "id", QString::fromUtf8("摘要"), "int id = 0;", ""}});
        // Longer stale files: the new text must replace them entirely, run after run.
        const QString out = dir.path();
        QVERIFY(writeFile(out + "/person.h", QByteArray(4096, 'x')));
        QVERIFY(writeFile(out + "/person.cpp", QByteArray(4096, 'x')));
        for (int run = 0; run < 2; ++run) {
            const QDate before = QDate::currentDate();
            QVERIFY(q.CreateModel("person", "id", out, "Person", true));
            // Dated on the day the file was written (the call may straddle midnight).
            const QString written = readFile(out + "/person.h"), stamp = "@date          %1\n";
            const QDate day = written.contains(stamp.arg(before.toString(Qt::ISODate))) ? before : QDate::currentDate();
            QCOMPARE(written,
                     QString(personHeader).replace(stamp.arg("2024-03-05"), stamp.arg(day.toString(Qt::ISODate))));
            QCOMPARE(readFile(out + "/person.cpp"), source("Person", {"id"}));
        }
        // UTF-8 without a byte-order mark.
        QFile file(out + "/person.h");
        QVERIFY(file.open(QIODevice::ReadOnly) && file.read(9) == "#ifndef P");

        // An unknown table writes nothing; without stream operators only the header.
        const QString other = dir.filePath("other");
        QVERIFY(QDir().mkpath(other));
        QVERIFY(!q.CreateModel("absent", "id", other, "Absent", true));
        QCOMPARE(QDir(other).entryList(QDir::Files), QStringList());
        QVERIFY(q.CreateModel("person", "", other, "Person", false));
        QCOMPARE(QDir(other).entryList(QDir::Files), QStringList{"person.h"});
    }
};

TESSARK_TEST_MAIN(TestModelGenerator)
#include "tst_modelgenerator.moc"
