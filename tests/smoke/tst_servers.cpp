// Proves that the throwaway servers the scripts start are reachable through
// Qt's own drivers, before any library test depends on them.

#include <QtTest>

#include "tessarktest.h"

using TessarkTest::Server;

Q_DECLARE_METATYPE(TessarkTest::Server)

class TestServers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void selectOne_data();
    void selectOne();
    void utf8RoundTrip_data();
    void utf8RoundTrip();
};

void TestServers::initTestCase()
{
    TessarkTest::installMessageGuard();
}

void TestServers::selectOne_data()
{
    QTest::addColumn<Server>("server");
    QTest::newRow("PostgreSQL") << Server::PostgreSQL;
    QTest::newRow("MySQL") << Server::MySQL;
}

void TestServers::selectOne()
{
    QFETCH(Server, server);
    TESSARK_REQUIRE_SERVER(server, address);

    TessarkTest::RawConnection connection(address);
    QVERIFY2(connection.isOpen(), qPrintable(connection.lastError()));
    QCOMPARE(connection.scalar(QStringLiteral("select 1")).toInt(), 1);
}

void TestServers::utf8RoundTrip_data()
{
    selectOne_data();
}

void TestServers::utf8RoundTrip()
{
    QFETCH(Server, server);
    TESSARK_REQUIRE_SERVER(server, address);

    // The servers must store Chinese text: the library's own messages are Chinese.
    TessarkTest::RawConnection connection(address);
    QVERIFY2(connection.isOpen(), qPrintable(connection.lastError()));
    const QString table = TessarkTest::uniqueName(QStringLiteral("smoke"));
    const QString text = QString::fromUtf8("中文测试 ✓");
    QVERIFY2(connection.exec(QStringLiteral("create table %1 (v varchar(50))").arg(table)),
             qPrintable(connection.lastError()));
    const bool inserted = connection.exec(QStringLiteral("insert into %1 values ('%2')").arg(table, text));
    const QVariant back = connection.scalar(QStringLiteral("select v from %1").arg(table));
    const QString error = connection.lastError();
    QVERIFY2(connection.exec(QStringLiteral("drop table %1").arg(table)), qPrintable(connection.lastError()));
    QVERIFY2(inserted, qPrintable(error));
    QCOMPARE(back.toString(), text);
}

TESSARK_TEST_MAIN(TestServers)
#include "tst_servers.moc"
