// Date-times in statements are written exactly as Qt writes them: with the
// dialect's format for SQLite and Oracle, as the variant's text (ISO 8601)
// for PostgreSQL and MySQL; run again under ar_EG, whose digits are not ASCII.
// Floating-point values are written as the variant's text too.
#include <QRandomGenerator>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

#include "../support/tessarktest.h"
#include "Model/objectmodel.h"
#include "mysql/mysqlmodel.h"
#include "oracle/oraclemodel.h"
#include "postgresql/postgresqlmodel.h"
#include "sqlite/sqlitemodel.h"

namespace {

class Sample : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(QDateTime at MEMBER at)
    Q_PROPERTY(double value MEMBER value)

public:
    Sample() { TableName = QStringLiteral("t"), Key = QStringLiteral("id"); }
    QDateTime at;
    double value = 0;
};

template <class Model>
QString insert(ObjectModel* record, const QString& column)
{
    return Model().GetInsertSql(QStringLiteral("t"), {column}, record, QStringLiteral("id"), false, {});
}

} // namespace

class TestDateText : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { TessarkTest::installMessageGuard(); }

    // A date-time that is no date (nor has ISO text) is NULL everywhere.
    void dateRule_data()
    {
        QTest::addColumn<QString>("actual");
        QTest::addColumn<QString>("expected");
        // Short, long and negative years, milliseconds, local/UTC/offset times, invalid.
        const QList<QPair<const char*, QDateTime>> samples = {
            {"year 1", QDateTime(QDate(1, 1, 1), QTime(0, 0))},
            {"year 999", QDateTime(QDate(999, 12, 31), QTime(23, 59, 58, 999))},
            {"year 123456", QDateTime(QDate(123456, 12, 31), QTime(23, 59, 58, 999))},
            {"year -44", QDateTime(QDate(-44, 3, 15), QTime(12, 0))},
            {"UTC", QDateTime(QDate(2024, 2, 29), QTime(12, 0, 0, 1), Qt::UTC)},
            {"offset", QDateTime(QDate(2024, 7, 1), QTime(1, 2, 3, 45), Qt::OffsetFromUTC, -9000)},
            {"daylight-saving gap", QDateTime(QDate(2024, 3, 31), QTime(2, 30))},
            {"invalid", QDateTime()},
        };
        for (const auto& [name, at] : samples) {
            Sample stamp;
            stamp.at = at;
            const auto value = [&at = at](const char* form, const QString& text) {
                return at.isValid() && !text.isEmpty() ? QString::fromLatin1(form).arg(text) : QStringLiteral("NULL");
            };
            const auto row = [&name = name](const char* dialect, const QString& actual, const QString& expected) {
                QTest::addRow("%s %s", dialect, name) << actual << expected;
            };
            const QString iso = value("'%1'", QVariant(at).toString());
            row("sqlite", insert<SQLiteModel>(&stamp, "at"),
                "INSERT INTO \"t\" (\"at\") VALUES (" + value("'%1'", at.toString("yyyy-MM-dd HH:mm:ss.zzz")) + ")");
            row("oracle", insert<OracleModel>(&stamp, "at"),
                "INSERT INTO \"t\" (\"at\") VALUES ("
                    + value("to_date('%1', 'yyyy/mm/dd hh24:mi:ss')", at.toString("yyyy-MM-dd HH:mm:ss")) + ")");
            row("postgresql", insert<PostgreSQLModel>(&stamp, "at"), "INSERT INTO t (\"at\") VALUES (" + iso + ") RETURNING id");
            row("mysql", insert<MySqlModel>(&stamp, "at"), "INSERT INTO t (at) VALUES (" + iso + ")");
        }
    }
    void dateRule()
    {
        QFETCH(QString, actual);
        QFETCH(QString, expected);
        QCOMPARE(actual, expected);
    }

    // Plain decimals take a faster path than Qt's formatter; both must agree
    // on digits, and on where the exponent form starts.
    void doublesAsVariantText()
    {
        Sample m;
        QList<double> values{0.0, -0.0, 1e15, 999999999999999.9, 1e-5, 1e-4, 1e16, 5e-324, 0.1 + 0.2,
                             std::numeric_limits<double>::max(), std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()};
        for (int exponent = -20; exponent <= 20; ++exponent) {
            for (double mantissa : {1.0, 5.0, 123.0, 1.5, 9.999})
                values << mantissa * std::pow(10.0, exponent) << -mantissa * std::pow(10.0, exponent);
        }
        QRandomGenerator random(20261122);
        for (int i = 0; i < 20000; ++i) {
            const quint64 bits = random.generate64();
            double any;
            std::memcpy(&any, &bits, sizeof any);
            const double decimal = std::pow(10.0, random.bounded(26.0) - 8);
            values << any << decimal << std::round(decimal * 100) / 100;
        }
        for (double value : values) {
            m.value = value;
            QCOMPARE(insert<SQLiteModel>(&m, QStringLiteral("value")),
                     QStringLiteral("INSERT INTO \"t\" (\"value\") VALUES ('%1')").arg(QVariant(value).toString()));
        }
    }
};

TESSARK_TEST_MAIN(TestDateText)
#include "tst_datetext.moc"
