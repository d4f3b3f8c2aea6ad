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
    Sample()
    {
        TableName = QStringLiteral("t");
        Key = QStringLiteral("id");
    }
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

    void dateRule_data()
    {
        QTest::addColumn<QString>("dialect");
        QTest::addColumn<QDateTime>("at");

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
        for (const char* dialect : {"sqlite", "oracle", "postgresql", "mysql"}) {
            for (const auto& sample : samples)
                QTest::newRow(QByteArray(dialect).append(' ').append(sample.first).constData())
                    << dialect << sample.second;
        }
    }
    void dateRule()
    {
        QFETCH(QString, dialect);
        QFETCH(QDateTime, at);
        Sample stamp;
        stamp.at = at;
        const QString column = QStringLiteral("at");
        // A date-time that is no date (nor has ISO text) is NULL everywhere.
        const QString variant = QVariant(at).toString();
        const auto value = [&](const QString& text) {
            return at.isValid() && !text.isEmpty() ? text : QStringLiteral("NULL");
        };
        if (dialect == QLatin1String("sqlite")) {
            QCOMPARE(insert<SQLiteModel>(&stamp, column),
                     QStringLiteral("INSERT INTO \"t\" (\"at\") VALUES (%1)")
                         .arg(value(QStringLiteral("'%1'").arg(at.toString("yyyy-MM-dd HH:mm:ss.zzz")))));
        } else if (dialect == QLatin1String("oracle")) {
            QCOMPARE(insert<OracleModel>(&stamp, column),
                     QStringLiteral("INSERT INTO \"t\" (\"at\") VALUES (%1)")
                         .arg(value(QStringLiteral("to_date('%1', 'yyyy/mm/dd hh24:mi:ss')")
                                        .arg(at.toString("yyyy-MM-dd HH:mm:ss")))));
        } else {
            const QString text = value(variant.isEmpty() ? QString() : QStringLiteral("'%1'").arg(variant));
            if (dialect == QLatin1String("postgresql"))
                QCOMPARE(insert<PostgreSQLModel>(&stamp, column),
                         QStringLiteral("INSERT INTO t (\"at\") VALUES (%1) RETURNING id").arg(text));
            else
                QCOMPARE(insert<MySqlModel>(&stamp, column), QStringLiteral("INSERT INTO t (at) VALUES (%1)").arg(text));
        }
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
