// Every other suite trusts the message guard to fail on stray Qt warnings,
// so the guard is tested too.

#include <QThread>
#include <QtTest>

#include <memory>

#include "tessarktest.h"

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
    void forbiddenTextFailsWhateverTheMessage();
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

void TestSupport::forbiddenTextFailsWhateverTheMessage()
{
    TessarkTest::forbidInMessages(QStringLiteral("hunter2"));
    TessarkTest::expectMessage(QtWarningMsg, QStringLiteral("still in use"));
    warnFromWorker(QStringLiteral("deliberate: connection 'x|hunter2' is still in use"));
    std::unique_ptr<QThread> worker(QThread::create([] { qDebug("deliberate: hunter2"); }));
    worker->start();
    worker->wait();
    QCOMPARE(TessarkTest::takeUnexpectedMessages(),
             (QStringList{QStringLiteral("forbidden text in warning: deliberate: connection 'x|hunter2' is still in use"),
                          QStringLiteral("forbidden text in message: deliberate: hunter2")}));
}

TESSARK_TEST_MAIN(TestSupport)
#include "tst_support.moc"
