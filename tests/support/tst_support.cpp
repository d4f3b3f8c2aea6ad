// The test support is what every other suite trusts to catch stray Qt
// warnings and to find the servers, so it is tested too.

#include <QThread>
#include <QtTest>

#include <memory>

#include "tessarktest.h"
#include "tool/tessarktool.h"

using TessarkTest::Server;
using TessarkTest::ServerAddress;

namespace {

// Emits from a worker thread: a main-thread warning inside a test function
// would, by design, fail that test function on the spot.
void warnFromWorker(const QString& text, QtMsgType type = QtWarningMsg)
{
    std::unique_ptr<QThread> worker(QThread::create([text, type] {
        if (type == QtCriticalMsg)
            qCritical("%s", qPrintable(text));
        else
            qWarning("%s", qPrintable(text));
    }));
    worker->start();
    worker->wait();
}

} // namespace

class TestSupport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void expectedMessageIsAbsorbedOnce();
    void expectationByPatternAndType();
    void unmetExpectationIsReported();
    void debugMessagesAreNotChecked();

    void parseServerAddress_data();
    void parseServerAddress();
    void lookupFollowsEnvironment_data();
    void lookupFollowsEnvironment();

    void logFolderReadsBackEntries();
    void uniqueNamesDiffer();
};

void TestSupport::initTestCase()
{
    TessarkTest::installMessageGuard();
}

void TestSupport::cleanup()
{
    TESSARK_VERIFY_EXPECTED_MESSAGES();
    QCOMPARE(TessarkTest::takeUnexpectedMessages(), QStringList());
}

void TestSupport::expectedMessageIsAbsorbedOnce()
{
    TessarkTest::expectMessage(QtWarningMsg, QStringLiteral("is still in use"));
    warnFromWorker(QStringLiteral("deliberate: connection 'x' is still in use"));
    QCOMPARE(TessarkTest::takeUnexpectedMessages(), QStringList());

    // The expectation was used up: the same warning again is unexpected.
    warnFromWorker(QStringLiteral("deliberate: connection 'x' is still in use"));
    QCOMPARE(TessarkTest::takeUnexpectedMessages(),
             QStringList{QStringLiteral("warning: deliberate: connection 'x' is still in use")});
}

void TestSupport::expectationByPatternAndType()
{
    TessarkTest::expectMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("^deliberate: disk \\d+ full$")));
    // Wrong type and non-matching text do not meet it.
    warnFromWorker(QStringLiteral("deliberate: disk 3 full"), QtWarningMsg);
    warnFromWorker(QStringLiteral("deliberate: disk three full"), QtCriticalMsg);
    warnFromWorker(QStringLiteral("deliberate: disk 3 full"), QtCriticalMsg);

    QCOMPARE(TessarkTest::takeUnexpectedMessages(),
             (QStringList{QStringLiteral("warning: deliberate: disk 3 full"),
                           QStringLiteral("critical: deliberate: disk three full")}));
}

void TestSupport::unmetExpectationIsReported()
{
    TessarkTest::expectMessage(QtWarningMsg, QStringLiteral("never emitted"));
    QCOMPARE(TessarkTest::takeUnmetExpectations(), QStringList{QStringLiteral("warning \"never emitted\"")});
    QCOMPARE(TessarkTest::takeUnmetExpectations(), QStringList());
}

void TestSupport::debugMessagesAreNotChecked()
{
    std::unique_ptr<QThread> worker(QThread::create([] { qDebug("just chatter"); }));
    worker->start();
    worker->wait();
    QCOMPARE(TessarkTest::takeUnexpectedMessages(), QStringList());
}

void TestSupport::parseServerAddress_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("dbname");

    QTest::newRow("full") << "host=127.0.0.1 port=5433 user=tessark password=s3cret dbname=tessark_test" << true
                          << "127.0.0.1" << 5433 << "tessark" << "s3cret" << "tessark_test";
    QTest::newRow("empty password") << "host=127.0.0.1 port=3307 user=tessark password= dbname=t" << true
                                    << "127.0.0.1" << 3307 << "tessark" << QString() << "t";
    QTest::newRow("any order, extra spaces") << "  dbname=d   user=u port=1 host=h  " << true << "h" << 1 << "u"
                                             << QString() << "d";
    QTest::newRow("missing port") << "host=h user=u dbname=d" << false << QString() << 0 << QString()
                                  << QString() << QString();
    QTest::newRow("port not a number") << "host=h port=abc user=u dbname=d" << false << QString() << 0
                                       << QString() << QString() << QString();
    QTest::newRow("port out of range") << "host=h port=70000 user=u dbname=d" << false << QString() << 0
                                       << QString() << QString() << QString();
    QTest::newRow("unknown key") << "host=h port=1 user=u dbname=d sslmode=off" << false << QString() << 0
                                 << QString() << QString() << QString();
    QTest::newRow("not key=value") << "host=h port=1 user=u dbname=d oops" << false << QString() << 0
                                   << QString() << QString() << QString();
}

void TestSupport::parseServerAddress()
{
    QFETCH(QString, text);
    QFETCH(bool, ok);

    ServerAddress address;
    QString error;
    QCOMPARE(TessarkTest::parseServerAddress(Server::MySQL, text, &address, &error), ok);
    if (!ok) {
        QVERIFY(!error.isEmpty());
        return;
    }
    QFETCH(QString, host);
    QFETCH(int, port);
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QString, dbname);
    QCOMPARE(address.host, host);
    QCOMPARE(address.port, port);
    QCOMPARE(address.user, user);
    QCOMPARE(address.password, password);
    QCOMPARE(address.dbname, dbname);
    QCOMPARE(address.driver(), QStringLiteral("QMYSQL"));
}

void TestSupport::lookupFollowsEnvironment_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("require");
    QTest::addColumn<int>("lookup");

    const QByteArray good = "host=127.0.0.1 port=5433 user=tessark password= dbname=tessark_test";
    QTest::newRow("absent, by hand") << QByteArray() << QByteArray() << int(TessarkTest::Lookup::Skip);
    QTest::newRow("absent, required") << QByteArray() << QByteArray("1") << int(TessarkTest::Lookup::Fail);
    QTest::newRow("present") << good << QByteArray("1") << int(TessarkTest::Lookup::Found);
    QTest::newRow("malformed") << QByteArray("host=x") << QByteArray() << int(TessarkTest::Lookup::Fail);
}

void TestSupport::lookupFollowsEnvironment()
{
    QFETCH(QByteArray, value);
    QFETCH(QByteArray, require);
    QFETCH(int, lookup);

    // Restores the real environment, which later suites in this process don't need
    // but a rerun of this one by hand does.
    const QByteArray savedPg = qgetenv("TESSARK_TEST_PG");
    const QByteArray savedRequire = qgetenv("TESSARK_TEST_REQUIRE_SERVERS");
    const bool hadPg = qEnvironmentVariableIsSet("TESSARK_TEST_PG");
    const bool hadRequire = qEnvironmentVariableIsSet("TESSARK_TEST_REQUIRE_SERVERS");
    auto setOrUnset = [](const char* name, const QByteArray& v, bool set) {
        if (set)
            qputenv(name, v);
        else
            qunsetenv(name);
    };
    setOrUnset("TESSARK_TEST_PG", value, !value.isEmpty());
    setOrUnset("TESSARK_TEST_REQUIRE_SERVERS", require, !require.isEmpty());

    ServerAddress address;
    QString message;
    const TessarkTest::Lookup result = TessarkTest::lookupServer(Server::PostgreSQL, &address, &message);

    setOrUnset("TESSARK_TEST_PG", savedPg, hadPg);
    setOrUnset("TESSARK_TEST_REQUIRE_SERVERS", savedRequire, hadRequire);

    QCOMPARE(int(result), lookup);
    if (result == TessarkTest::Lookup::Found) {
        QCOMPARE(address.port, 5433);
        QCOMPARE(address.driver(), QStringLiteral("QPSQL"));
    } else if (value.isEmpty()) {
        QVERIFY2(message.contains(QStringLiteral("scripts/test")), qPrintable(message));
        QVERIFY2(message.contains(QStringLiteral("TESSARK_TEST_PG")), qPrintable(message));
    }
}

void TestSupport::logFolderReadsBackEntries()
{
    QString folder;
    {
        TessarkTest::LogFolder log;
        QVERIFY(log.isValid());
        folder = log.path();
        QCOMPARE(TessarkTool::GetLogPath(), folder);
        QCOMPARE(log.messages(), QStringList());

        TessarkTool::WriteLog(QStringLiteral("one\nline two"));
        TessarkTool::WriteLog(QString::fromUtf8("二"));
        QCOMPARE(log.messages(), (QStringList{QStringLiteral("one\nline two"), QString::fromUtf8("二")}));
        QVERIFY(log.readToday().endsWith(QString::fromUtf8("二\n--------------------\n\n")));
    }
    QCOMPARE(TessarkTool::GetLogPath(), QString());
    QVERIFY(!QFileInfo::exists(folder));
}

void TestSupport::uniqueNamesDiffer()
{
    const QString a = TessarkTest::uniqueName(QStringLiteral("t"));
    const QString b = TessarkTest::uniqueName(QStringLiteral("t"));
    QVERIFY(a != b);
    QVERIFY(a.startsWith(QStringLiteral("t_")));
    // Usable unquoted as a table name on every backend.
    QVERIFY(QRegularExpression(QStringLiteral("^[a-z][a-z0-9_]*$")).match(a).hasMatch());
}

TESSARK_TEST_MAIN(TestSupport)
#include "tst_support.moc"
