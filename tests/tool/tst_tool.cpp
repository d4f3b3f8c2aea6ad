#include <QApplication>
#include <QFileDialog>
#include <QSemaphore>
#include <QThread>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <memory>

#include "tessarktest.h"
#include "tool/tessarkclock_p.h"
#include "tool/tessarktool.h"

namespace {

const QString separator = QStringLiteral("\n--------------------\n\n");

// The moment WriteLog sees; read concurrently by logging threads, written only
// while none runs.
QDateTime fixedNow;
QDateTime fixedClock()
{
    return fixedNow;
}

// A clock that stalls one chosen thread inside WriteLog until released.
std::atomic<QThread*> stalledThread{nullptr};
QSemaphore stallEntered;
QSemaphore stallRelease;
QDateTime stallingClock()
{
    if (QThread::currentThread() == stalledThread.load()) {
        stallEntered.release();
        stallRelease.tryAcquire(1, 10000);
    }
    return QDateTime(QDate(2024, 8, 12), QTime(10, 0, 0));
}

QDateTime at(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int ms = 0)
{
    return QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms));
}

QByteArray readBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

QStringList filesIn(const QString& dir)
{
    return QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
}

QString entry(const QString& stamp, const QString& message)
{
    return stamp + QLatin1Char('\n') + message + separator;
}

// Runs `chooser` while a timer finds the file dialog it opens, records what it
// shows and either picks `choice` or cancels (empty choice).
struct DialogProbe
{
    bool seen = false;
    QString title;
    QString directory;
    QStringList nameFilters;
    QFileDialog::FileMode fileMode = QFileDialog::AnyFile;
    bool dirsOnly = false;
};

template <typename Chooser>
QString runDialog(const QString& choice, DialogProbe* probe, Chooser chooser)
{
    QTimer::singleShot(0, [choice, probe] {
        QFileDialog* dialog = nullptr;
        for (QWidget* w : QApplication::topLevelWidgets()) {
            if (auto* d = qobject_cast<QFileDialog*>(w); d && d->isVisible())
                dialog = d;
        }
        if (!dialog) {
            // Nothing to close: leave the dialog's loop so the test can fail.
            QCoreApplication::exit(1);
            return;
        }
        probe->seen = true;
        probe->title = dialog->windowTitle();
        probe->directory = dialog->directory().absolutePath();
        probe->nameFilters = dialog->nameFilters();
        probe->fileMode = dialog->fileMode();
        probe->dirsOnly = dialog->testOption(QFileDialog::ShowDirsOnly);
        if (choice.isEmpty()) {
            dialog->reject();
        } else {
            dialog->selectFile(choice);
            static_cast<QDialog*>(dialog)->accept(); // QFileDialog::accept is protected
        }
    });
    return chooser();
}

} // namespace

class TestTool : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void logPathIsStoredUnchanged();
    void writeLogDoesNothingWhileLogPathEmpty();
    void writeLogEntryFormat_data();
    void writeLogEntryFormat();
    void writeLogAppendsSameDayInOrder();
    void writeLogStartsNewFileAfterMidnight_data();
    void writeLogStartsNewFileAfterMidnight();
    void writeLogCreatesFolderChain();
    void writeLogFollowsLogPathChange();
    void writeLogLosesEntrySilentlyWhenFolderCannotBeMade();
    void writeLogHoldsOtherWritersUntilEntryIsWhole();
    void writeLogConcurrentEntriesNeverInterleave();

    void writeFileReplacesContent_data();
    void writeFileReplacesContent();
    void writeFileIntoMissingFolderDoesNothing();
    void existProbes_data();
    void existProbes();

    void sqliteMutexIsPerExactPath();
    void sqliteMutexConcurrentGetOrCreate();

    void dateTimeFormat_data();
    void dateTimeFormat();
    void lastMomentOfMonth_data();
    void lastMomentOfMonth();
    void lastMomentAgreesWithCalendar();
    void monthDayCount_data();
    void monthDayCount();
    void monthDayCountAgreesWithCalendar();
    void timeAverage_data();
    void timeAverage();
    void timeLag_data();
    void timeLag();
    void timeUnit_data();
    void timeUnit();

    void fileDialogStartsAtRootAndReturnsChoice();
    void fileDialogCancelReturnsEmpty();
    void pathDialogShowsFoldersOnlyAndReturnsChoice();

private:
    QTemporaryDir m_scratch;
};

void TestTool::initTestCase()
{
    TessarkTest::installMessageGuard();
    if (QGuiApplication::platformName() == QLatin1String("offscreen")) {
        // The offscreen platform says so whenever a dialog is laid out.
        TessarkTest::tolerateMessage(QtWarningMsg, QRegularExpression(
                QStringLiteral("^This plugin does not support propagateSizeHints\\(\\)$")));
    }
    QVERIFY(m_scratch.isValid());
    QVERIFY(TessarkTool::GetLogPath().isEmpty());
}

void TestTool::cleanup()
{
    TessarkClock::setSource(nullptr);
    TessarkTool::SetLogPath(QString());
    TESSARK_VERIFY_EXPECTED_MESSAGES();
}

void TestTool::logPathIsStoredUnchanged()
{
    const QString path = QStringLiteral("relative//logs/./x/");
    TessarkTool::SetLogPath(path);
    QCOMPARE(TessarkTool::GetLogPath(), path);
    TessarkTool::SetLogPath(QString());
    QCOMPARE(TessarkTool::GetLogPath(), QString());
}

void TestTool::writeLogDoesNothingWhileLogPathEmpty()
{
    // An unguarded implementation would write "/2031-07-04.log" or "2031-07-04.log".
    fixedNow = at(2031, 7, 4, 12);
    TessarkClock::setSource(fixedClock);
    const QString rootFile = QStringLiteral("/2031-07-04.log");
    const QString marker = TessarkTest::uniqueName(QStringLiteral("must_not_be_written"));

    QTemporaryDir cwd;
    QVERIFY(cwd.isValid());
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(cwd.path()));
    TessarkTool::WriteLog(marker);
    QVERIFY(QDir::setCurrent(previous));

    QCOMPARE(filesIn(cwd.path()), QStringList());
    QVERIFY2(!readBytes(rootFile).contains(marker.toUtf8()), "the entry went to the file system root");
}

void TestTool::writeLogEntryFormat_data()
{
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("stamp");

    QTest::newRow("date printed twice") << at(2024, 8, 12, 9, 5, 31) << QStringLiteral("plain message")
                                        << "2024-08-12.log" << "2024-08-12 2024-08-12 09:05:31";
    QTest::newRow("24-hour clock") << at(2024, 8, 12, 21, 5, 31) << QStringLiteral("evening")
                                   << "2024-08-12.log" << "2024-08-12 2024-08-12 21:05:31";
    QTest::newRow("leading zeros") << at(2025, 1, 2, 3, 4, 5, 678) << QStringLiteral("x")
                                   << "2025-01-02.log" << "2025-01-02 2025-01-02 03:04:05";
    QTest::newRow("line breaks kept")
            << at(2024, 8, 12, 9, 5, 31)
            << QString::fromUtf8("SQLite查询出错 错误信息：\nno such table: t\n  second detail")
            << "2024-08-12.log" << "2024-08-12 2024-08-12 09:05:31";
    QTest::newRow("empty message") << at(2024, 8, 12, 0, 0, 0) << QString() << "2024-08-12.log"
                                   << "2024-08-12 2024-08-12 00:00:00";
}

void TestTool::writeLogEntryFormat()
{
    QFETCH(QDateTime, now);
    QFETCH(QString, message);
    QFETCH(QString, fileName);
    QFETCH(QString, stamp);

    TessarkTest::LogFolder log;
    QVERIFY(log.isValid());
    fixedNow = now;
    TessarkClock::setSource(fixedClock);

    TessarkTool::WriteLog(message);

    QCOMPARE(filesIn(log.path()), QStringList{fileName});
    const QByteArray expected = (stamp + QLatin1Char('\n') + message
                                 + QStringLiteral("\n--------------------\n\n")).toUtf8();
    QCOMPARE(readBytes(log.path() + QLatin1Char('/') + fileName), expected);
    QCOMPARE(separator, QLatin1Char('\n') + QString(20, QLatin1Char('-')) + QStringLiteral("\n\n"));
}

void TestTool::writeLogAppendsSameDayInOrder()
{
    TessarkTest::LogFolder log;
    QVERIFY(log.isValid());
    const QString file = log.path() + QStringLiteral("/2024-08-12.log");
    QVERIFY(writeBytes(file, "kept from before\n"));
    TessarkClock::setSource(fixedClock);

    fixedNow = at(2024, 8, 12, 0, 0, 1);
    TessarkTool::WriteLog(QStringLiteral("first"));
    fixedNow = at(2024, 8, 12, 23, 59, 59);
    TessarkTool::WriteLog(QString::fromUtf8("第二条"));

    QCOMPARE(filesIn(log.path()), QStringList{QStringLiteral("2024-08-12.log")});
    const QString expected = QStringLiteral("kept from before\n")
            + entry(QStringLiteral("2024-08-12 2024-08-12 00:00:01"), QStringLiteral("first"))
            + entry(QStringLiteral("2024-08-12 2024-08-12 23:59:59"), QString::fromUtf8("第二条"));
    QCOMPARE(QString::fromUtf8(readBytes(file)), expected);
}

void TestTool::writeLogStartsNewFileAfterMidnight_data()
{
    QTest::addColumn<QDateTime>("before");
    QTest::addColumn<QDateTime>("after");
    QTest::addColumn<QString>("day1");
    QTest::addColumn<QString>("day2");

    QTest::newRow("into leap day") << at(2024, 2, 28, 23, 59, 59, 999) << at(2024, 2, 29)
                                   << "2024-02-28" << "2024-02-29";
    QTest::newRow("out of leap day") << at(2024, 2, 29, 23, 59, 59, 999) << at(2024, 3, 1)
                                     << "2024-02-29" << "2024-03-01";
    QTest::newRow("new year") << at(2023, 12, 31, 23, 59, 59, 999) << at(2024, 1, 1)
                              << "2023-12-31" << "2024-01-01";
}

void TestTool::writeLogStartsNewFileAfterMidnight()
{
    QFETCH(QDateTime, before);
    QFETCH(QDateTime, after);
    QFETCH(QString, day1);
    QFETCH(QString, day2);

    TessarkTest::LogFolder log;
    QVERIFY(log.isValid());
    TessarkClock::setSource(fixedClock);
    fixedNow = before;
    TessarkTool::WriteLog(QStringLiteral("late"));
    fixedNow = after;
    TessarkTool::WriteLog(QStringLiteral("early"));

    QCOMPARE(filesIn(log.path()), (QStringList{day1 + ".log", day2 + ".log"}));
    QCOMPARE(QString::fromUtf8(readBytes(log.path() + "/" + day1 + ".log")),
             entry(day1 + " " + day1 + " 23:59:59", QStringLiteral("late")));
    QCOMPARE(QString::fromUtf8(readBytes(log.path() + "/" + day2 + ".log")),
             entry(day2 + " " + day2 + " 00:00:00", QStringLiteral("early")));
}

void TestTool::writeLogCreatesFolderChain()
{
    QTemporaryDir root;
    QVERIFY(root.isValid());
    const QString folder = root.path() + QStringLiteral("/a/b/c");
    TessarkTool::SetLogPath(folder);
    fixedNow = at(2024, 8, 12, 9);
    TessarkClock::setSource(fixedClock);

    TessarkTool::WriteLog(QStringLiteral("hello"));

    QCOMPARE(filesIn(folder), QStringList{QStringLiteral("2024-08-12.log")});
    QCOMPARE(QString::fromUtf8(readBytes(folder + QStringLiteral("/2024-08-12.log"))),
             entry(QStringLiteral("2024-08-12 2024-08-12 09:00:00"), QStringLiteral("hello")));
}

void TestTool::writeLogFollowsLogPathChange()
{
    QTemporaryDir root;
    QVERIFY(root.isValid());
    fixedNow = at(2024, 8, 12, 9);
    TessarkClock::setSource(fixedClock);

    TessarkTool::SetLogPath(root.path() + QStringLiteral("/one"));
    TessarkTool::WriteLog(QStringLiteral("to one"));
    TessarkTool::SetLogPath(root.path() + QStringLiteral("/two"));
    TessarkTool::WriteLog(QStringLiteral("to two"));

    const QString stamp = QStringLiteral("2024-08-12 2024-08-12 09:00:00");
    QCOMPARE(QString::fromUtf8(readBytes(root.path() + QStringLiteral("/one/2024-08-12.log"))),
             entry(stamp, QStringLiteral("to one")));
    QCOMPARE(QString::fromUtf8(readBytes(root.path() + QStringLiteral("/two/2024-08-12.log"))),
             entry(stamp, QStringLiteral("to two")));
}

void TestTool::writeLogLosesEntrySilentlyWhenFolderCannotBeMade()
{
    QTemporaryDir root;
    QVERIFY(root.isValid());
    const QString blocker = root.filePath(QStringLiteral("plain-file"));
    QVERIFY(writeBytes(blocker, "not a folder"));
    TessarkTool::SetLogPath(blocker + QStringLiteral("/logs"));

    TessarkTool::WriteLog(QStringLiteral("lost"));

    QCOMPARE(filesIn(root.path()), QStringList{QStringLiteral("plain-file")});
    QCOMPARE(readBytes(blocker), QByteArray("not a folder"));
}

void TestTool::writeLogHoldsOtherWritersUntilEntryIsWhole()
{
    TessarkTest::LogFolder log;
    QVERIFY(log.isValid());
    TessarkClock::setSource(stallingClock);

    std::unique_ptr<QThread> first(QThread::create([] { TessarkTool::WriteLog(QStringLiteral("first")); }));
    stalledThread = first.get();
    first->start();
    const bool firstInside = stallEntered.tryAcquire(1, 10000);

    std::atomic<bool> secondDone{false};
    std::unique_ptr<QThread> second(QThread::create([&secondDone] {
        TessarkTool::WriteLog(QStringLiteral("second"));
        secondDone = true;
    }));
    second->start();
    QThread::msleep(300);
    const bool secondFinishedEarly = secondDone.load();

    stallRelease.release();
    QVERIFY(first->wait(10000));
    QVERIFY(second->wait(10000));
    stalledThread = nullptr;

    QVERIFY2(firstInside, "the first writer never read the clock");
    QVERIFY2(!secondFinishedEarly, "a second entry was written while the first one was incomplete");
    QCOMPARE(log.messages(), (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
}

void TestTool::writeLogConcurrentEntriesNeverInterleave()
{
    TessarkTest::LogFolder log;
    QVERIFY(log.isValid());
    fixedNow = at(2024, 8, 12, 9, 30);
    TessarkClock::setSource(fixedClock);
    const QString stamp = QStringLiteral("2024-08-12 2024-08-12 09:30:00");

    constexpr int threadCount = 4;
    constexpr int perThread = 50;
    auto message = [](int t, int i) {
        // Large enough that a non-atomic writer would split it across writes.
        return QStringLiteral("thread %1 entry %2\n").arg(t).arg(i)
                + QString(20000, QChar(u'甲' + t)) + QStringLiteral("\nend %1/%2").arg(t).arg(i);
    };

    std::vector<std::unique_ptr<QThread>> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back(QThread::create([t, message] {
            for (int i = 0; i < perThread; ++i)
                TessarkTool::WriteLog(message(t, i));
        }));
    }
    for (auto& thread : threads)
        thread->start();
    for (auto& thread : threads)
        QVERIFY(thread->wait(60000));

    const QString text = log.readAll();
    int expectedLength = 0;
    for (int t = 0; t < threadCount; ++t) {
        int lastPosition = -1;
        for (int i = 0; i < perThread; ++i) {
            const QString whole = entry(stamp, message(t, i));
            expectedLength += whole.size();
            const int position = text.indexOf(whole);
            QVERIFY2(position >= 0, qPrintable(QStringLiteral("entry %1/%2 is not whole").arg(t).arg(i)));
            QVERIFY2(position > lastPosition, "one thread's entries are out of order");
            lastPosition = position;
        }
    }
    // Every entry whole and nothing else in the file: no interleaving.
    QCOMPARE(text.size(), expectedLength);
}

void TestTool::writeFileReplacesContent_data()
{
    QTest::addColumn<QByteArray>("existing");
    QTest::addColumn<QString>("content");

    QTest::newRow("longer file shortened") << QByteArray("old content that is much longer\nline two\n")
                                           << QStringLiteral("short");
    QTest::newRow("missing file created") << QByteArray() << QStringLiteral("hello\n");
    QTest::newRow("utf-8") << QByteArray("x") << QString::fromUtf8("中文内容\n第二行");
    QTest::newRow("emptied") << QByteArray("something") << QString();
}

void TestTool::writeFileReplacesContent()
{
    QFETCH(QByteArray, existing);
    QFETCH(QString, content);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("out.txt"));
    if (!existing.isEmpty())
        QVERIFY(writeBytes(path, existing));

    TessarkTool::WriteFile(path, content);

    QVERIFY(QFileInfo(path).isFile());
    QCOMPARE(readBytes(path), content.toUtf8());
}

void TestTool::writeFileIntoMissingFolderDoesNothing()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    TessarkTool::WriteFile(dir.filePath(QStringLiteral("missing/out.txt")), QStringLiteral("x"));
    QCOMPARE(filesIn(dir.path()), QStringList());
}

void TestTool::existProbes_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("isDir");
    QTest::addColumn<bool>("isFile");

    const QString base = m_scratch.path();
    QDir(base).mkpath(QStringLiteral("folder"));
    writeBytes(base + QStringLiteral("/file.txt"), "x");

    QTest::newRow("empty") << QString() << false << false;
    QTest::newRow("missing") << base + QStringLiteral("/nothing-here") << false << false;
    QTest::newRow("folder") << base + QStringLiteral("/folder") << true << false;
    QTest::newRow("folder with slash") << base + QStringLiteral("/folder/") << true << false;
    QTest::newRow("file") << base + QStringLiteral("/file.txt") << false << true;
    QTest::newRow("root") << QStringLiteral("/") << true << false;
}

void TestTool::existProbes()
{
    QFETCH(QString, path);
    QFETCH(bool, isDir);
    QFETCH(bool, isFile);

    QCOMPARE(TessarkTool::isDirExist(path), isDir);
    QCOMPARE(TessarkTool::isFileExist(path), isFile);
}

void TestTool::sqliteMutexIsPerExactPath()
{
    const QString path = TessarkTest::uniqueName(QStringLiteral("same")) + QStringLiteral(".db");
    QMutex* m = TessarkTool::SQLiteMutex(path);
    QVERIFY(m);
    QCOMPARE(TessarkTool::SQLiteMutex(path), m);
    QCOMPARE(TessarkTool::SQLiteLock.value(path), m);

    // The key is the path exactly as given: no case folding, no normalising.
    QVERIFY(TessarkTool::SQLiteMutex(path.toUpper()) != m);
    QVERIFY(TessarkTool::SQLiteMutex(QStringLiteral("./") + path) != m);
    QVERIFY(TessarkTool::SQLiteMutex(path + QStringLiteral("-other")) != m);

    // Non-recursive: the holder itself cannot take it twice.
    QVERIFY(m->tryLock());
    QVERIFY(!m->tryLock());
    m->unlock();
}

void TestTool::sqliteMutexConcurrentGetOrCreate()
{
    constexpr int rounds = 3; // a lost race shows up only now and then
    constexpr int threadCount = 6;
    constexpr int paths = 1500;

    for (int round = 0; round < rounds; ++round) {
        const QString prefix = TessarkTest::uniqueName(QStringLiteral("race"));
        const int before = TessarkTool::SQLiteLock.size();

        std::vector<std::vector<QMutex*>> seen(threadCount, std::vector<QMutex*>(paths, nullptr));
        std::vector<std::unique_ptr<QThread>> threads;
        QSemaphore ready;
        QSemaphore go;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back(QThread::create([t, prefix, &seen, &ready, &go] {
                ready.release();
                go.acquire(); // all start together
                // Alternate direction so threads collide on fresh paths.
                for (int k = 0; k < paths; ++k) {
                    const int i = t % 2 ? paths - 1 - k : k;
                    seen[t][i] = TessarkTool::SQLiteMutex(prefix + QString::number(i));
                }
            }));
        }
        for (auto& thread : threads)
            thread->start();
        QVERIFY(ready.tryAcquire(threadCount, 10000));
        go.release(threadCount);
        for (auto& thread : threads)
            QVERIFY(thread->wait(60000));

        for (int i = 0; i < paths; ++i) {
            QVERIFY(seen[0][i]);
            for (int t = 1; t < threadCount; ++t)
                QCOMPARE(seen[t][i], seen[0][i]);
        }
        QCOMPARE(TessarkTool::SQLiteLock.size(), before + paths);
    }
}

void TestTool::dateTimeFormat_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("formatted");

    const QString server = QStringLiteral("yyyy-MM-dd HH:mm:ss");
    QTest::newRow("PostgreSQL") << 0 << server << "2024-08-12 21:05:31";
    QTest::newRow("Oracle") << 1 << server << "2024-08-12 21:05:31";
    QTest::newRow("SQLite") << 2 << QStringLiteral("yyyy-MM-ddTHH:mm:ss") << "2024-08-12T21:05:31";
    QTest::newRow("MySQL") << 3 << QString() << QString();
    QTest::newRow("negative") << -1 << QString() << QString();
    QTest::newRow("above 3") << 4 << QString() << QString();
    QTest::newRow("short max") << 32767 << QString() << QString();
    QTest::newRow("short min") << -32768 << QString() << QString();
}

void TestTool::dateTimeFormat()
{
    QFETCH(int, type);
    QFETCH(QString, pattern);
    QFETCH(QString, formatted);

    const QString actual = TessarkTool::GetDateTimeFormat(static_cast<short>(type));
    QCOMPARE(actual, pattern);
    QCOMPARE(QLocale::c().toString(at(2024, 8, 12, 21, 5, 31), actual), formatted);
}

void TestTool::lastMomentOfMonth_data()
{
    QTest::addColumn<QDateTime>("moment");
    QTest::addColumn<QDateTime>("last");

    QTest::newRow("February leap year") << at(2024, 2, 10, 8) << at(2024, 2, 29, 23, 59, 59);
    QTest::newRow("already the last moment") << at(2024, 2, 29, 23, 59, 59) << at(2024, 2, 29, 23, 59, 59);
    QTest::newRow("February common year") << at(2023, 2, 1) << at(2023, 2, 28, 23, 59, 59);
    QTest::newRow("1900 is not leap") << at(1900, 2, 15) << at(1900, 2, 28, 23, 59, 59);
    QTest::newRow("2000 is leap") << at(2000, 2, 15) << at(2000, 2, 29, 23, 59, 59);
    QTest::newRow("December, milliseconds dropped")
            << at(2023, 12, 31, 23, 59, 59, 999) << at(2023, 12, 31, 23, 59, 59);
    QTest::newRow("January") << at(2024, 1, 1) << at(2024, 1, 31, 23, 59, 59);
    QTest::newRow("April") << at(2024, 4, 30, 12) << at(2024, 4, 30, 23, 59, 59);
    QTest::newRow("three-digit year") << at(999, 5, 5) << QDateTime();
    QTest::newRow("five-digit year") << at(10000, 5, 5) << QDateTime();
    QTest::newRow("invalid") << QDateTime() << QDateTime();
}

void TestTool::lastMomentOfMonth()
{
    QFETCH(QDateTime, moment);
    QFETCH(QDateTime, last);

    const QDateTime actual = TessarkTool::GetLast(moment);
    QCOMPARE(actual.isValid(), last.isValid());
    if (last.isValid())
        QCOMPARE(actual, last);
}

void TestTool::lastMomentAgreesWithCalendar()
{
    for (int year = 1900; year <= 2100; ++year) {
        for (int month = 1; month <= 12; ++month) {
            const QDate date(year, month, 1);
            const QDateTime expected(QDate(year, month, date.daysInMonth()), QTime(23, 59, 59));
            const QDateTime actual = TessarkTool::GetLast(QDateTime(QDate(year, month, 15), QTime(12, 0)));
            if (actual != expected)
                QFAIL(qPrintable(QStringLiteral("%1-%2: got %3").arg(year).arg(month).arg(actual.toString(Qt::ISODate))));
        }
    }
}

void TestTool::monthDayCount_data()
{
    QTest::addColumn<int>("year");
    QTest::addColumn<int>("month");
    QTest::addColumn<int>("days");

    QTest::newRow("January") << 2023 << 1 << 31;
    QTest::newRow("April") << 2023 << 4 << 30;
    QTest::newRow("July") << 2023 << 7 << 31;
    QTest::newRow("August") << 2023 << 8 << 31;
    QTest::newRow("September") << 2023 << 9 << 30;
    QTest::newRow("December") << 2023 << 12 << 31;
    QTest::newRow("Feb 2023") << 2023 << 2 << 28;
    QTest::newRow("Feb 2024") << 2024 << 2 << 29;
    QTest::newRow("Feb 1900 (by 100)") << 1900 << 2 << 28;
    QTest::newRow("Feb 2000 (by 400)") << 2000 << 2 << 29;
    QTest::newRow("Feb 2100") << 2100 << 2 << 28;
    QTest::newRow("month 0") << 2024 << 0 << 0;
    QTest::newRow("month 13") << 2024 << 13 << 0;
    QTest::newRow("month -1") << 2024 << -1 << 0;
}

void TestTool::monthDayCount()
{
    QFETCH(int, year);
    QFETCH(int, month);
    QFETCH(int, days);

    QCOMPARE(TessarkTool::GetMonthDayCount(year, month), days);
}

void TestTool::monthDayCountAgreesWithCalendar()
{
    for (int year = 1; year <= 2500; ++year) {
        for (int month = 1; month <= 12; ++month) {
            const int expected = QDate(year, month, 1).daysInMonth();
            if (TessarkTool::GetMonthDayCount(year, month) != expected)
                QFAIL(qPrintable(QStringLiteral("%1-%2 should have %3 days").arg(year).arg(month).arg(expected)));
        }
    }
}

void TestTool::timeAverage_data()
{
    QTest::addColumn<QList<QDateTime>>("moments");
    QTest::addColumn<QDateTime>("average");

    const QDateTime base = at(1970, 1, 1);
    QTest::newRow("empty list is invalid") << QList<QDateTime>() << QDateTime();
    QTest::newRow("one moment") << QList<QDateTime>{at(2024, 3, 10, 12, 34, 56)} << at(2024, 3, 10, 12, 34, 56);
    QTest::newRow("milliseconds truncated")
            << QList<QDateTime>{at(2024, 3, 10, 12, 34, 56, 999)} << at(2024, 3, 10, 12, 34, 56);
    QTest::newRow("midpoint") << QList<QDateTime>{at(2024, 1, 1), at(2024, 1, 1, 0, 0, 10)}
                              << at(2024, 1, 1, 0, 0, 5);
    QTest::newRow("odd total rounds down") << QList<QDateTime>{at(2024, 1, 1), at(2024, 1, 1, 0, 0, 1)}
                                           << at(2024, 1, 1);
    QTest::newRow("order irrelevant") << QList<QDateTime>{at(2024, 1, 1, 0, 0, 10), at(2024, 1, 1)}
                                      << at(2024, 1, 1, 0, 0, 5);
    QTest::newRow("across a leap day") << QList<QDateTime>{at(2024, 2, 28, 12), at(2024, 3, 1, 12)}
                                       << at(2024, 2, 29, 12);
    QTest::newRow("three moments")
            << QList<QDateTime>{at(2024, 1, 1), at(2024, 1, 2), at(2024, 1, 3)} << at(2024, 1, 2);
    QTest::newRow("base itself") << QList<QDateTime>{base} << base;
    // Distances are unsigned: moments before 1970 are mirrored after it.
    QTest::newRow("before base mirrored") << QList<QDateTime>{base.addSecs(-10)} << base.addSecs(10);
    QTest::newRow("mixed sides") << QList<QDateTime>{base.addSecs(-10), base.addSecs(30)} << base.addSecs(20);
    QTest::newRow("truncated per step")
            << QList<QDateTime>{base.addMSecs(1600), base.addMSecs(1600)} << base.addSecs(1);
}

void TestTool::timeAverage()
{
    QFETCH(QList<QDateTime>, moments);
    QFETCH(QDateTime, average);

    const QDateTime actual = TessarkTool::GetTimeAve(moments);
    QCOMPARE(actual.isValid(), average.isValid());
    if (average.isValid())
        QCOMPARE(actual, average);
}

void TestTool::timeLag_data()
{
    QTest::addColumn<QDateTime>("first");
    QTest::addColumn<QDateTime>("second");
    QTest::addColumn<qint64>("lag");

    QTest::newRow("equal") << at(2024, 1, 1) << at(2024, 1, 1) << qint64(0);
    QTest::newRow("milliseconds") << at(2024, 1, 1) << at(2024, 1, 1, 0, 0, 1, 250) << qint64(1250);
    QTest::newRow("leap day counted") << at(2024, 2, 28, 12) << at(2024, 3, 1, 12) << qint64(2) * 86400000;
    QTest::newRow("common year") << at(2023, 2, 28, 12) << at(2023, 3, 1, 12) << qint64(86400000);
    QTest::newRow("beyond 32 bits") << at(2000, 1, 1) << at(2024, 1, 1)
                                    << at(2000, 1, 1).msecsTo(at(2024, 1, 1));
}

void TestTool::timeLag()
{
    QFETCH(QDateTime, first);
    QFETCH(QDateTime, second);
    QFETCH(qint64, lag);

    QCOMPARE(TessarkTool::GetTimeLag(first, second), lag);
    QCOMPARE(TessarkTool::GetTimeLag(second, first), lag);
}

void TestTool::timeUnit_data()
{
    QTest::addColumn<int>("milliseconds");
    QTest::addColumn<QString>("text");

    QTest::newRow("most negative") << INT_MIN << QString::fromUtf8("-2147483648毫秒");
    QTest::newRow("negative") << -5 << QString::fromUtf8("-5毫秒");
    QTest::newRow("zero") << 0 << QString::fromUtf8("0毫秒");
    QTest::newRow("999") << 999 << QString::fromUtf8("999毫秒");
    QTest::newRow("1000") << 1000 << QString::fromUtf8("1.0秒");
    QTest::newRow("1500") << 1500 << QString::fromUtf8("1.5秒");
    QTest::newRow("59999 rounds up") << 59999 << QString::fromUtf8("60.0秒");
    QTest::newRow("60000") << 60000 << QString::fromUtf8("1.0分");
    QTest::newRow("90000") << 90000 << QString::fromUtf8("1.5分");
    QTest::newRow("3599999") << 3599999 << QString::fromUtf8("60.0分");
    QTest::newRow("3600000") << 3600000 << QString::fromUtf8("1.0时");
    QTest::newRow("5400000") << 5400000 << QString::fromUtf8("1.5时");
    QTest::newRow("215999999") << 215999999 << QString::fromUtf8("60.0时");
    QTest::newRow("216000000") << 216000000 << QStringLiteral("-");
    QTest::newRow("most positive") << INT_MAX << QStringLiteral("-");
}

void TestTool::timeUnit()
{
    QFETCH(int, milliseconds);
    QFETCH(QString, text);

    QCOMPARE(TessarkTool::GetTimeUnit(milliseconds), text);
}

void TestTool::fileDialogStartsAtRootAndReturnsChoice()
{
    const QString file = m_scratch.filePath(QStringLiteral("pick.db"));
    QVERIFY(writeBytes(file, "x"));
    DialogProbe probe;

    const QString chosen = runDialog(file, &probe, [] {
        return TessarkTool::FileDialog(nullptr, QStringLiteral("Open database"),
                                       QStringLiteral("Databases (*.db)"));
    });

    QVERIFY2(probe.seen, "no file dialog was shown");
    QCOMPARE(probe.title, QStringLiteral("Open database"));
    QCOMPARE(probe.directory, QStringLiteral("/"));
    QCOMPARE(probe.nameFilters, QStringList{QStringLiteral("Databases (*.db)")});
    QCOMPARE(probe.fileMode, QFileDialog::ExistingFile);
    QCOMPARE(chosen, file);
}

void TestTool::fileDialogCancelReturnsEmpty()
{
    DialogProbe probe;
    const QString chosen = runDialog(QString(), &probe, [] {
        return TessarkTool::FileDialog(nullptr, QStringLiteral("Open"), QString());
    });
    QVERIFY2(probe.seen, "no file dialog was shown");
    QCOMPARE(chosen, QString());
}

void TestTool::pathDialogShowsFoldersOnlyAndReturnsChoice()
{
    const QString folder = m_scratch.filePath(QStringLiteral("picked-folder"));
    QVERIFY(QDir().mkpath(folder));
    DialogProbe probe;

    const QString chosen = runDialog(folder, &probe, [] {
        return TessarkTool::PathDialog(nullptr, QStringLiteral("Choose log folder"));
    });

    QVERIFY2(probe.seen, "no folder dialog was shown");
    QCOMPARE(probe.title, QStringLiteral("Choose log folder"));
    QCOMPARE(probe.directory, QStringLiteral("/"));
    // Qt reports ShowDirsOnly as a folder mode of its own; any file mode is wrong.
    QVERIFY(probe.fileMode != QFileDialog::AnyFile && probe.fileMode != QFileDialog::ExistingFile
            && probe.fileMode != QFileDialog::ExistingFiles);
    QVERIFY(probe.dirsOnly);
    QCOMPARE(chosen, folder);
}

TESSARK_TEST_GUI_MAIN(TestTool)
#include "tst_tool.moc"
