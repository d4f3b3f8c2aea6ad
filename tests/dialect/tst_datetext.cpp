// Date-times in statements are written exactly as Qt writes them: with the
// dialect's format for SQLite and Oracle, as the variant's text (ISO 8601)
// for PostgreSQL and MySQL. Every year, millisecond and time spec, invalid
// values, and (run again under ar_EG) a locale whose digits are not ASCII.
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

class Stamp : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(QDateTime at READ getat WRITE setat)

public:
    Stamp()
    {
        TableName = QStringLiteral("t");
        Key = QStringLiteral("id");
    }
    QDateTime at;
    QDateTime getat() const { return at; }
    void setat(const QDateTime& value) { at = value; }
};

class Measure : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(double value READ getvalue WRITE setvalue)

public:
    Measure()
    {
        TableName = QStringLiteral("t");
        Key = QStringLiteral("id");
    }
    double value = 0;
    double getvalue() const { return value; }
    void setvalue(double v) { value = v; }
};

QList<QDateTime> samples()
{
    QList<QDateTime> list;
    const QTime time(23, 59, 58, 999);
    for (int year : {1, 9, 99, 999, 1000, 1969, 1970, 2038, 9999, 10000, 123456, -1, -44})
        list << QDateTime(QDate(year, 12, 31), time) << QDateTime(QDate(year, 1, 1), QTime(0, 0));
    list << QDateTime() << QDateTime(QDate(2024, 2, 29), QTime(12, 0, 0, 1), Qt::UTC)
         << QDateTime(QDate(2024, 7, 1), QTime(1, 2, 3, 45), Qt::OffsetFromUTC, -9000)
         << QDateTime(QDate(2024, 3, 31), QTime(2, 30)); // in a daylight-saving gap where there is one
    QRandomGenerator random(20261122);
    for (int i = 0; i < 2000; ++i) {
        const QDate date = QDate(1000, 1, 1).addDays(random.bounded(3000000));
        list << QDateTime(date, QTime::fromMSecsSinceStartOfDay(random.bounded(86400000)));
    }
    return list;
}

} // namespace

class TestDateText : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { TessarkTest::installMessageGuard(); }

    void sqliteWritesToStringWithMilliseconds()
    {
        SQLiteModel sqlite;
        Stamp stamp;
        for (const QDateTime& at : samples()) {
            stamp.at = at;
            const QString text = at.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
            QCOMPARE(sqlite.GetInsertSql(QStringLiteral("t"), {QStringLiteral("at")}, &stamp, QStringLiteral("id"),
                                         false, {}),
                     QStringLiteral("INSERT INTO \"t\" (\"at\") VALUES ('%1')").arg(text));
        }
    }

    void oracleWritesToStringInToDate()
    {
        OracleModel oracle;
        Stamp stamp;
        for (const QDateTime& at : samples()) {
            stamp.at = at;
            const QString text = at.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
            QCOMPARE(oracle.GetInsertSql(QStringLiteral("t"), {QStringLiteral("at")}, &stamp, QStringLiteral("id"),
                                         false, {}),
                     QStringLiteral("INSERT INTO \"t\" (\"at\") VALUES (to_date('%1', 'yyyy/mm/dd hh24:mi:ss'))")
                         .arg(text));
        }
    }

    // Plain decimals take a faster path than Qt's formatter; both must agree
    // on digits, and on where the exponent form starts.
    void doublesAsVariantText()
    {
        SQLiteModel sqlite;
        Measure m;
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
            QCOMPARE(sqlite.GetInsertSql(QStringLiteral("t"), {QStringLiteral("value")}, &m, QStringLiteral("id"),
                                         false, {}),
                     QStringLiteral("INSERT INTO \"t\" (\"value\") VALUES ('%1')").arg(QVariant(value).toString()));
        }
    }

    void postgresqlWritesVariantTextOrNull()
    {
        PostgreSQLModel pg;
        Stamp stamp;
        for (const QDateTime& at : samples()) {
            stamp.at = at;
            const QString text = QVariant(at).toString();
            const QString value = text.isEmpty() ? QStringLiteral("NULL") : QStringLiteral("'%1'").arg(text);
            QCOMPARE(pg.GetInsertSql(QStringLiteral("t"), {QStringLiteral("at")}, &stamp, QStringLiteral("id"), false,
                                     {}),
                     QStringLiteral("INSERT INTO t (\"at\") VALUES (%1) RETURNING id").arg(value));
        }
    }

    void mysqlWritesVariantText()
    {
        MySqlModel mysql;
        Stamp stamp;
        for (const QDateTime& at : samples()) {
            stamp.at = at;
            QCOMPARE(mysql.GetInsertSql(QStringLiteral("t"), {QStringLiteral("at")}, &stamp, QStringLiteral("id"),
                                        false, {}),
                     QStringLiteral("INSERT INTO t (at) VALUES ('%1')").arg(QVariant(at).toString()));
        }
    }
};

TESSARK_TEST_MAIN(TestDateText)
#include "tst_datetext.moc"
