// TessarkTool: the log (entry format, midnight switch, concurrency, folders),
// file helpers, the SQLite mutex registry and date/time helpers.
#include <QSemaphore>
#include <QThread>
#include <QtTest>

#include <memory>
#include <vector>

#include "tessarktest.h"
#include "tool/tessarkclock_p.h"
#include "tool/tessarktool.h"

namespace {

// The moment WriteLog sees; logging threads read it, tests set it only while none runs.
QDateTime fixedNow;

// Stops the library's clock at now (cleanup() restarts it).
void freeze(const QDateTime& now)
{
    fixedNow = now;
    TessarkClock::setSource([] { return fixedNow; });
}

QDateTime at(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int ms = 0)
{
    return QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms));
}

QStringList filesIn(const QString& dir)
{
    return QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
}

// One whole log entry, spelt out rather than built from the library's constants.
QString entry(const QString& stamp, const QString& message)
{
    return stamp + "\n" + message + "\n--------------------\n\n";
}

} // namespace

class TestTool : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_scratch;

private slots:
    void initTestCase()
    {
        TessarkTest::installMessageGuard();
        QVERIFY(m_scratch.isValid());
        QVERIFY(TessarkTool::GetLogPath().isEmpty());
    }

    void cleanup()
    {
        TessarkClock::setSource(nullptr);
        TessarkTool::SetLogPath(QString());
        TESSARK_VERIFY_EXPECTED_MESSAGES();
    }

    void writeLogDoesNothingWhileLogPathEmpty()
    {
        freeze(at(2031, 7, 4, 12));
        QTemporaryDir cwd;
        const QString previous = QDir::currentPath();
        QVERIFY(cwd.isValid() && QDir::setCurrent(cwd.path()));
        TessarkTool::WriteLog("must not be written");
        QVERIFY(QDir::setCurrent(previous));
        QCOMPARE(filesIn(cwd.path()), QStringList());
        QVERIFY2(!TessarkTest::readFile("/2031-07-04.log").contains("must not be written"), "the entry went to the root");
    }

    void writeLogEntryFormat_data()
    {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("stamp");
        QTest::newRow("24-hour clock, leading zeros, no ms")
                << at(2025, 1, 2, 21, 4, 5, 678) << "x" << "2025-01-02 2025-01-02 21:04:05";
        QTest::newRow("line breaks kept") << at(2024, 8, 12, 9, 5, 31)
                                          << QString::fromUtf8("SQLite查询出错 错误信息：\nno such table: t\n  detail")
                                          << "2024-08-12 2024-08-12 09:05:31";
    }
    void writeLogEntryFormat()
    {
        QFETCH(QDateTime, now);
        QFETCH(QString, message);
        QFETCH(QString, stamp);
        TessarkTest::LogFolder log;
        freeze(now);
        TessarkTool::WriteLog(message);

        const QString file = stamp.left(10) + ".log";
        QCOMPARE(filesIn(log.path()), QStringList{file});
        QCOMPARE(TessarkTest::readFile(log.path() + "/" + file), entry(stamp, message));
    }

    void writeLogStartsNewFileAfterMidnight()
    {
        TessarkTest::LogFolder log;
        const QString day1 = log.path() + "/2023-12-31.log";
        QVERIFY(TessarkTest::writeFile(day1, "kept from before\n"));

        freeze(at(2023, 12, 31, 23, 59, 59, 999));
        TessarkTool::WriteLog(QString::fromUtf8("第二条"));
        fixedNow = fixedNow.addMSecs(1);
        TessarkTool::WriteLog("early");

        QCOMPARE(filesIn(log.path()), (QStringList{"2023-12-31.log", "2024-01-01.log"}));
        QCOMPARE(TessarkTest::readFile(day1),
                 "kept from before\n" + entry("2023-12-31 2023-12-31 23:59:59", QString::fromUtf8("第二条")));
        QCOMPARE(TessarkTest::readFile(log.path() + "/2024-01-01.log"), entry("2024-01-01 2024-01-01 00:00:00", "early"));
    }

    void writeLogCreatesFolders()
    {
        QTemporaryDir root;
        freeze(at(2024, 8, 12, 9));
        TessarkTool::SetLogPath(root.path() + "//a/./b/c/");
        TessarkTool::WriteLog("hello");
        // A folder that cannot be made loses the entry silently.
        QVERIFY(TessarkTest::writeFile(root.filePath("plain-file"), "not a folder"));
        TessarkTool::SetLogPath(root.filePath("plain-file") + "/logs");
        TessarkTool::WriteLog("lost");

        QCOMPARE(TessarkTest::readFile(root.path() + "/a/b/c/2024-08-12.log"), entry("2024-08-12 2024-08-12 09:00:00", "hello"));
        QCOMPARE(TessarkTest::readFile(root.filePath("plain-file")), QStringLiteral("not a folder"));
    }

    void writeLogConcurrentEntriesNeverInterleave()
    {
        TessarkTest::LogFolder log;
        freeze(at(2024, 8, 12, 9, 30));
        constexpr int threadCount = 4;
        constexpr int perThread = 50;
        // Large enough that a non-atomic writer would split it across writes.
        auto message = [](int t, int i) {
            return QStringLiteral("%1/%2\n").arg(t).arg(i) + QString(20000, QChar(u'甲' + t));
        };
        std::vector<std::unique_ptr<QThread>> threads;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back(QThread::create([t, message] {
                for (int i = 0; i < perThread; ++i)
                    TessarkTool::WriteLog(message(t, i));
            }));
            threads.back()->start();
        }
        for (auto& thread : threads)
            QVERIFY(thread->wait(60000));

        const QString text = log.readAll();
        int expectedLength = 0;
        for (int t = 0; t < threadCount; ++t) {
            for (int i = 0; i < perThread; ++i) {
                const QString whole = entry("2024-08-12 2024-08-12 09:30:00", message(t, i));
                expectedLength += whole.size();
                QVERIFY2(text.contains(whole), qPrintable(QStringLiteral("entry %1/%2 is not whole").arg(t).arg(i)));
            }
        }
        QCOMPARE(text.size(), expectedLength);
    }

    // A longer file is shortened to the new text; a missing folder gets nothing.
    void writeFile()
    {
        QTemporaryDir dir;
        QVERIFY(TessarkTest::writeFile(dir.filePath("out.txt"), "old content, much longer\nline two\n"));
        TessarkTool::WriteFile(dir.filePath("out.txt"), QString::fromUtf8("中文\n短"));
        TessarkTool::WriteFile(dir.filePath("missing/out.txt"), "x");
        QCOMPARE(filesIn(dir.path()), QStringList{"out.txt"});
        QCOMPARE(TessarkTest::readFile(dir.filePath("out.txt")), QString::fromUtf8("中文\n短"));
    }

    void sqliteMutexIsPerExactPath()
    {
        const QString path = TessarkTest::uniqueName("same") + ".db";
        QMutex* m = TessarkTool::SQLiteMutex(path);
        QVERIFY(m && TessarkTool::SQLiteLock.value(path) == m);
        // The key is the path exactly as given: no case folding, no normalising.
        QVERIFY(TessarkTool::SQLiteMutex(path.toUpper()) != m && TessarkTool::SQLiteMutex("./" + path) != m);
        // Non-recursive: the holder itself cannot take it twice.
        QVERIFY(m->tryLock() && !m->tryLock());
        m->unlock();
    }

    // The registry is guarded: threads racing to create the same paths' mutexes
    // all get one mutex per path, and no entry is lost.
    void sqliteMutexConcurrentGetOrCreate()
    {
        constexpr int threadCount = 6;
        constexpr int paths = 1500;
        const QString prefix = TessarkTest::uniqueName("race");
        const int before = TessarkTool::SQLiteLock.size();
        std::vector<std::vector<QMutex*>> seen(threadCount, std::vector<QMutex*>(paths, nullptr));
        std::vector<std::unique_ptr<QThread>> threads;
        QSemaphore go;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back(QThread::create([t, prefix, &seen, &go] {
                go.acquire();
                for (int k = 0; k < paths; ++k) { // alternate directions so threads collide
                    const int i = t % 2 ? paths - 1 - k : k;
                    seen[t][i] = TessarkTool::SQLiteMutex(prefix + QString::number(i));
                }
            }));
            threads.back()->start();
        }
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

    void helpers_data()
    {
        QTest::addColumn<QVariant>("actual");
        QTest::addColumn<QVariant>("expected");
        auto row = [](const char* name, const QVariant& actual, const QVariant& expected) {
            QTest::newRow(name) << actual << expected;
        };
        using T = TessarkTool;
        const QDateTime invalid;

        // A folder is no file and a file no folder.
        const QString scratch = m_scratch.path();
        QDir(scratch).mkpath("folder");
        TessarkTest::writeFile(scratch + "/file.txt", "x");
        row("isDirExist: file", T::isDirExist(scratch + "/file.txt"), false);
        row("isFileExist: folder", T::isFileExist(scratch + "/folder"), false);

        // 0 PostgreSQL, 1 Oracle, 2 SQLite, none for the rest.
        const auto formatted = [](short type) {
            return QLocale::c().toString(at(2024, 8, 12, 21, 5, 31), T::GetDateTimeFormat(type));
        };
        row("format PostgreSQL", formatted(0), "2024-08-12 21:05:31");
        row("format SQLite", formatted(2), "2024-08-12T21:05:31");
        row("format MySQL", T::GetDateTimeFormat(3), QString());

        row("last: February leap year", T::GetLast(at(2024, 2, 10, 8)), at(2024, 2, 29, 23, 59, 59));
        row("last: December, ms dropped", T::GetLast(at(2023, 12, 31, 23, 59, 59, 999)), at(2023, 12, 31, 23, 59, 59));
        row("last: three-digit year", T::GetLast(at(999, 5, 5)), invalid);
        row("last: five-digit year", T::GetLast(at(10000, 5, 5)), invalid);

        row("days: Apr 2023", T::GetMonthDayCount(2023, 4), 30);
        row("days: Feb 2023", T::GetMonthDayCount(2023, 2), 28);
        row("days: Feb 1900 (by 100)", T::GetMonthDayCount(1900, 2), 28);
        row("days: Feb 2000 (by 400)", T::GetMonthDayCount(2000, 2), 29);
        row("days: month 13", T::GetMonthDayCount(2024, 13), 0);

        // Distances from 1970 are unsigned whole seconds: moments before it are mirrored after it.
        const QDateTime base = at(1970, 1, 1);
        row("average: empty is invalid", T::GetTimeAve({}), invalid);
        row("average: midpoint", T::GetTimeAve({at(2024, 1, 1, 0, 0, 10), at(2024, 1, 1)}), at(2024, 1, 1, 0, 0, 5));
        row("average: mixed sides", T::GetTimeAve({base.addSecs(-10), base.addSecs(30)}), base.addSecs(20));
        row("average: truncated per step", T::GetTimeAve({base.addMSecs(1600), base.addMSecs(1600)}), base.addSecs(1));

        row("lag: milliseconds", T::GetTimeLag(at(2024, 1, 1), at(2024, 1, 1, 0, 0, 1, 250)), qint64(1250));
        row("lag: beyond 32 bits", T::GetTimeLag(at(2024, 1, 1), at(2000, 1, 1)), qint64(8766) * 86400000);

        const struct { int ms; const char* text; } units[] = {
            {999, "999毫秒"}, {59999, "60.0秒"}, {60000, "1.0分"}, {215999999, "60.0时"}, {216000000, "-"}};
        for (const auto& u : units)
            QTest::addRow("unit %d", u.ms) << QVariant(T::GetTimeUnit(u.ms)) << QVariant(QString::fromUtf8(u.text));
    }
    void helpers()
    {
        QFETCH(QVariant, actual);
        QFETCH(QVariant, expected);
        QCOMPARE(actual, expected);
    }
};

TESSARK_TEST_MAIN(TestTool)
#include "tst_tool.moc"
