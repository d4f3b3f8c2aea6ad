// TessarkTool: the log (entry format, midnight switch, concurrency, folders),
// file helpers, the SQLite mutex registry, date/time helpers and the pickers.
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

// The moment WriteLog sees; logging threads read it, tests set it only while none runs.
QDateTime fixedNow;
QDateTime fixedClock()
{
    return fixedNow;
}

// Stalls one chosen thread inside WriteLog until released.
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

QString readText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
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

// One whole log entry, spelt out rather than built from the library's constants.
QString entry(const QString& stamp, const QString& message)
{
    return stamp + "\n" + message + "\n--------------------\n\n";
}

// Runs `chooser` while a timer finds the dialog it opens, describes it in
// *shown and picks `choice`, or cancels when `choice` is empty.
template <typename Chooser>
QString runDialog(const QString& choice, QString* shown, Chooser chooser)
{
    QTimer::singleShot(0, [choice, shown] {
        QFileDialog* dialog = nullptr;
        for (QWidget* w : QApplication::topLevelWidgets()) {
            if (auto* d = qobject_cast<QFileDialog*>(w); d && d->isVisible())
                dialog = d;
        }
        if (!dialog) {
            QCoreApplication::exit(1); // leave the dialog's loop so the test can fail
            return;
        }
        // Qt versions name the folder mode differently; any file mode is wrong for it.
        const QFileDialog::FileMode mode = dialog->fileMode();
        const bool fileMode = mode == QFileDialog::AnyFile || mode == QFileDialog::ExistingFile
                || mode == QFileDialog::ExistingFiles;
        const QString kind = mode == QFileDialog::ExistingFile ? dialog->nameFilters().join(';')
                : !fileMode && dialog->testOption(QFileDialog::ShowDirsOnly) ? QStringLiteral("folders only")
                                                                              : QStringLiteral("wrong mode");
        *shown = dialog->windowTitle() + " in " + dialog->directory().absolutePath() + ": " + kind;
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

private:
    QTemporaryDir m_scratch;

private slots:
    void initTestCase()
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

    void cleanup()
    {
        TessarkClock::setSource(nullptr);
        TessarkTool::SetLogPath(QString());
        TESSARK_VERIFY_EXPECTED_MESSAGES();
    }

    void writeLogDoesNothingWhileLogPathEmpty()
    {
        // An unguarded writer would create "2031-07-04.log" in the working folder or at the root.
        fixedNow = at(2031, 7, 4, 12);
        TessarkClock::setSource(fixedClock);
        const QString marker = TessarkTest::uniqueName("must_not_be_written");
        QTemporaryDir cwd;
        const QString previous = QDir::currentPath();
        QVERIFY(cwd.isValid() && QDir::setCurrent(cwd.path()));
        TessarkTool::WriteLog(marker);
        QVERIFY(QDir::setCurrent(previous));

        QCOMPARE(filesIn(cwd.path()), QStringList());
        QVERIFY2(!readText("/2031-07-04.log").contains(marker), "the entry went to the file system root");
    }

    void writeLogEntryFormat_data()
    {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("day");
        QTest::addColumn<QString>("time");

        QTest::newRow("24-hour clock") << at(2024, 8, 12, 21, 5, 31) << "evening" << "2024-08-12" << "21:05:31";
        QTest::newRow("leading zeros, no ms") << at(2025, 1, 2, 3, 4, 5, 678) << "x" << "2025-01-02" << "03:04:05";
        QTest::newRow("line breaks kept") << at(2024, 8, 12, 9, 5, 31)
                                          << QString::fromUtf8("SQLite查询出错 错误信息：\nno such table: t\n  detail")
                                          << "2024-08-12" << "09:05:31";
    }
    void writeLogEntryFormat()
    {
        QFETCH(QDateTime, now);
        QFETCH(QString, message);
        QFETCH(QString, day);
        QFETCH(QString, time);

        TessarkTest::LogFolder log;
        QVERIFY(log.isValid());
        fixedNow = now;
        TessarkClock::setSource(fixedClock);
        TessarkTool::WriteLog(message);

        // The stamp prints the date twice: the day, then the full moment.
        QCOMPARE(filesIn(log.path()), QStringList{day + ".log"});
        QCOMPARE(readText(log.path() + "/" + day + ".log"), entry(day + " " + day + " " + time, message));
    }

    void writeLogStartsNewFileAfterMidnight()
    {
        TessarkTest::LogFolder log;
        QVERIFY(log.isValid());
        const QString day1 = log.path() + "/2023-12-31.log";
        QVERIFY(writeBytes(day1, "kept from before\n"));
        TessarkClock::setSource(fixedClock);

        fixedNow = at(2023, 12, 31, 0, 0, 1);
        TessarkTool::WriteLog("first");
        fixedNow = at(2023, 12, 31, 23, 59, 59, 999);
        TessarkTool::WriteLog(QString::fromUtf8("第二条"));
        fixedNow = fixedNow.addMSecs(1);
        TessarkTool::WriteLog("early");

        QCOMPARE(filesIn(log.path()), (QStringList{"2023-12-31.log", "2024-01-01.log"}));
        QCOMPARE(readText(day1), "kept from before\n" + entry("2023-12-31 2023-12-31 00:00:01", "first")
                                         + entry("2023-12-31 2023-12-31 23:59:59", QString::fromUtf8("第二条")));
        QCOMPARE(readText(log.path() + "/2024-01-01.log"), entry("2024-01-01 2024-01-01 00:00:00", "early"));
    }

    void writeLogCreatesAndFollowsFolders()
    {
        QTemporaryDir root;
        QVERIFY(root.isValid());
        fixedNow = at(2024, 8, 12, 9);
        TessarkClock::setSource(fixedClock);
        const QString stamp = "2024-08-12 2024-08-12 09:00:00";

        // The path is kept as given, and a missing folder chain is made on the first entry.
        const QString chain = root.path() + "//a/./b/c/";
        TessarkTool::SetLogPath(chain);
        QCOMPARE(TessarkTool::GetLogPath(), chain);
        TessarkTool::WriteLog("hello");
        TessarkTool::SetLogPath(root.path() + "/two");
        TessarkTool::WriteLog("to two");
        // A folder that cannot be made loses the entry silently.
        QVERIFY(writeBytes(root.filePath("plain-file"), "not a folder"));
        TessarkTool::SetLogPath(root.filePath("plain-file") + "/logs");
        TessarkTool::WriteLog("lost");

        QCOMPARE(filesIn(root.path()), (QStringList{"a", "plain-file", "two"}));
        QCOMPARE(filesIn(root.path() + "/a/b/c"), QStringList{"2024-08-12.log"});
        QCOMPARE(readText(root.path() + "/a/b/c/2024-08-12.log"), entry(stamp, "hello"));
        QCOMPARE(readText(root.path() + "/two/2024-08-12.log"), entry(stamp, "to two"));
        QCOMPARE(readText(root.filePath("plain-file")), QStringLiteral("not a folder"));
    }

    void writeLogHoldsOtherWritersUntilEntryIsWhole()
    {
        TessarkTest::LogFolder log;
        QVERIFY(log.isValid());
        TessarkClock::setSource(stallingClock);

        std::unique_ptr<QThread> first(QThread::create([] { TessarkTool::WriteLog("first"); }));
        stalledThread = first.get();
        first->start();
        const bool firstInside = stallEntered.tryAcquire(1, 10000);

        std::atomic<bool> secondDone{false};
        std::unique_ptr<QThread> second(QThread::create([&secondDone] {
            TessarkTool::WriteLog("second");
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
        QCOMPARE(log.messages(), (QStringList{"first", "second"}));
    }

    void writeLogConcurrentEntriesNeverInterleave()
    {
        TessarkTest::LogFolder log;
        QVERIFY(log.isValid());
        fixedNow = at(2024, 8, 12, 9, 30);
        TessarkClock::setSource(fixedClock);

        constexpr int threadCount = 4;
        constexpr int perThread = 50;
        auto message = [](int t, int i) {
            // Large enough that a non-atomic writer would split it across writes.
            return QStringLiteral("thread %1 entry %2\n").arg(t).arg(i) + QString(20000, QChar(u'甲' + t))
                    + QStringLiteral("\nend %1/%2").arg(t).arg(i);
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
            int lastPosition = -1;
            for (int i = 0; i < perThread; ++i) {
                const QString whole = entry("2024-08-12 2024-08-12 09:30:00", message(t, i));
                expectedLength += whole.size();
                const int position = text.indexOf(whole);
                QVERIFY2(position >= 0, qPrintable(QStringLiteral("entry %1/%2 is not whole").arg(t).arg(i)));
                QVERIFY2(position > lastPosition, "one thread's entries are out of order");
                lastPosition = position;
            }
        }
        QCOMPARE(text.size(), expectedLength); // nothing between the whole entries
    }

    void writeFile_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("existing");
        QTest::addColumn<QString>("content");

        QTest::newRow("longer file shortened") << "out.txt" << QByteArray("old content, much longer\nline two\n")
                                               << QString::fromUtf8("中文\n短");
        QTest::newRow("missing file created") << "out.txt" << QByteArray() << "hello\n";
        QTest::newRow("missing folder: nothing") << "missing/out.txt" << QByteArray() << "x";
    }
    void writeFile()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, existing);
        QFETCH(QString, content);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath(name);
        if (!existing.isEmpty())
            QVERIFY(writeBytes(path, existing));

        TessarkTool::WriteFile(path, content);

        if (name.contains('/')) {
            QCOMPARE(filesIn(dir.path()), QStringList());
        } else {
            QVERIFY(QFileInfo(path).isFile());
            QCOMPARE(readText(path), content);
        }
    }

    void sqliteMutexIsPerExactPath()
    {
        const QString path = TessarkTest::uniqueName("same") + ".db";
        QMutex* m = TessarkTool::SQLiteMutex(path);
        QVERIFY(m);
        QCOMPARE(TessarkTool::SQLiteMutex(path), m);
        QCOMPARE(TessarkTool::SQLiteLock.value(path), m);

        // The key is the path exactly as given: no case folding, no normalising.
        QVERIFY(TessarkTool::SQLiteMutex(path.toUpper()) != m);
        QVERIFY(TessarkTool::SQLiteMutex("./" + path) != m);

        // Non-recursive: the holder itself cannot take it twice.
        QVERIFY(m->tryLock());
        QVERIFY(!m->tryLock());
        m->unlock();
    }

    void sqliteMutexConcurrentGetOrCreate()
    {
        constexpr int rounds = 3; // a lost race shows up only now and then
        constexpr int threadCount = 6;
        constexpr int paths = 1500;

        for (int round = 0; round < rounds; ++round) {
            const QString prefix = TessarkTest::uniqueName("race");
            const int before = TessarkTool::SQLiteLock.size();

            std::vector<std::vector<QMutex*>> seen(threadCount, std::vector<QMutex*>(paths, nullptr));
            std::vector<std::unique_ptr<QThread>> threads;
            QSemaphore go;
            for (int t = 0; t < threadCount; ++t) {
                threads.emplace_back(QThread::create([t, prefix, &seen, &go] {
                    go.acquire(); // all start together
                    // Alternate direction so threads collide on fresh paths.
                    for (int k = 0; k < paths; ++k) {
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

        // Existence probes: a folder is not a file and the reverse.
        const QString scratch = m_scratch.path();
        QDir(scratch).mkpath("folder");
        writeBytes(scratch + "/file.txt", "x");
        const struct { const char* name; QString path; bool dir; bool file; } probes[] = {
            {"empty", QString(), false, false}, {"missing", scratch + "/nothing-here", false, false},
            {"folder", scratch + "/folder", true, false}, {"file", scratch + "/file.txt", false, true}};
        for (const auto& p : probes) {
            QTest::addRow("isDirExist: %s", p.name) << QVariant(T::isDirExist(p.path)) << QVariant(p.dir);
            QTest::addRow("isFileExist: %s", p.name) << QVariant(T::isFileExist(p.path)) << QVariant(p.file);
        }

        // The date-time pattern per database type: 0 PostgreSQL, 1 Oracle, 2 SQLite, none for the rest.
        const auto formatted = [](short type) {
            return QLocale::c().toString(at(2024, 8, 12, 21, 5, 31), T::GetDateTimeFormat(type));
        };
        row("format PostgreSQL", formatted(0), "2024-08-12 21:05:31");
        row("format Oracle", formatted(1), "2024-08-12 21:05:31");
        row("format SQLite", formatted(2), "2024-08-12T21:05:31");
        row("format MySQL", T::GetDateTimeFormat(3), QString());
        row("format negative", T::GetDateTimeFormat(-1), QString());

        // The last whole second of the month, or invalid outside four-digit years.
        row("last: February leap year", T::GetLast(at(2024, 2, 10, 8)), at(2024, 2, 29, 23, 59, 59));
        row("last: already the last", T::GetLast(at(2024, 2, 29, 23, 59, 59)), at(2024, 2, 29, 23, 59, 59));
        row("last: December, ms dropped", T::GetLast(at(2023, 12, 31, 23, 59, 59, 999)), at(2023, 12, 31, 23, 59, 59));
        row("last: April", T::GetLast(at(2024, 4, 30, 12)), at(2024, 4, 30, 23, 59, 59));
        row("last: three-digit year", T::GetLast(at(999, 5, 5)), invalid);
        row("last: five-digit year", T::GetLast(at(10000, 5, 5)), invalid);
        row("last: invalid", T::GetLast(invalid), invalid);

        // Every month of a common year (July and August both have 31), then the leap rules.
        const int days2023[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        for (int month = 1; month <= 12; ++month)
            QTest::addRow("days: 2023-%02d", month) << QVariant(T::GetMonthDayCount(2023, month)) << QVariant(days2023[month - 1]);
        row("days: Feb 2024", T::GetMonthDayCount(2024, 2), 29);
        row("days: Feb 1900 (by 100)", T::GetMonthDayCount(1900, 2), 28);
        row("days: Feb 2000 (by 400)", T::GetMonthDayCount(2000, 2), 29);
        row("days: month 0", T::GetMonthDayCount(2024, 0), 0);
        row("days: month 13", T::GetMonthDayCount(2024, 13), 0);

        // Whole seconds, truncated at each step; distances from 1970 are unsigned,
        // so moments before it are mirrored after it.
        const QDateTime base = at(1970, 1, 1);
        row("average: empty is invalid", T::GetTimeAve({}), invalid);
        row("average: ms truncated", T::GetTimeAve({at(2024, 3, 10, 12, 34, 56, 999)}), at(2024, 3, 10, 12, 34, 56));
        row("average: midpoint", T::GetTimeAve({at(2024, 1, 1, 0, 0, 10), at(2024, 1, 1)}), at(2024, 1, 1, 0, 0, 5));
        row("average: odd total rounds down", T::GetTimeAve({at(2024, 1, 1), at(2024, 1, 1, 0, 0, 1)}), at(2024, 1, 1));
        row("average: before base mirrored", T::GetTimeAve({base.addSecs(-10)}), base.addSecs(10));
        row("average: mixed sides", T::GetTimeAve({base.addSecs(-10), base.addSecs(30)}), base.addSecs(20));
        row("average: truncated per step", T::GetTimeAve({base.addMSecs(1600), base.addMSecs(1600)}), base.addSecs(1));

        // The lag is the same either way round, and does not stop at 32 bits.
        row("lag: milliseconds", T::GetTimeLag(at(2024, 1, 1), at(2024, 1, 1, 0, 0, 1, 250)), qint64(1250));
        row("lag: beyond 32 bits", T::GetTimeLag(at(2024, 1, 1), at(2000, 1, 1)), qint64(8766) * 86400000);

        // One decimal in the largest unit under 60 of it; "-" from 60 hours on.
        const struct { int ms; const char* text; } units[] = {
            {INT_MIN, "-2147483648毫秒"}, {999, "999毫秒"},
            {1000, "1.0秒"}, {59999, "60.0秒"}, // rounds up, keeps the unit
            {60000, "1.0分"}, {90000, "1.5分"}, {3599999, "60.0分"}, {3600000, "1.0时"}, {215999999, "60.0时"},
            {216000000, "-"}, {INT_MAX, "-"},
        };
        for (const auto& u : units)
            QTest::addRow("unit %d", u.ms) << QVariant(T::GetTimeUnit(u.ms)) << QVariant(QString::fromUtf8(u.text));
    }
    void helpers()
    {
        QFETCH(QVariant, actual);
        QFETCH(QVariant, expected);

        const auto shown = [](const QVariant& v) {
            return v.userType() == QMetaType::QDateTime ? v.toDateTime().toString(Qt::ISODateWithMs) : v.toString();
        };
        QVERIFY2(actual == expected, qPrintable(QStringLiteral("got %1, expected %2").arg(shown(actual), shown(expected))));
    }

    void dialogs_data()
    {
        QTest::addColumn<bool>("folder");
        QTest::addColumn<bool>("cancel");
        QTest::addColumn<QString>("expected");
        QTest::newRow("file chosen") << false << false << "Open database in /: Databases (*.db)";
        QTest::newRow("file cancelled") << false << true << "Open database in /: Databases (*.db)";
        QTest::newRow("folder chosen") << true << false << "Choose log folder in /: folders only";
    }
    void dialogs()
    {
        QFETCH(bool, folder);
        QFETCH(bool, cancel);
        QFETCH(QString, expected);

        const QString pick = m_scratch.filePath(folder ? "picked-folder" : "pick.db");
        QVERIFY(folder ? QDir().mkpath(pick) : writeBytes(pick, "x"));
        QString shown;
        const QString chosen = runDialog(cancel ? QString() : pick, &shown, [folder] {
            return folder ? TessarkTool::PathDialog(nullptr, "Choose log folder")
                          : TessarkTool::FileDialog(nullptr, "Open database", "Databases (*.db)");
        });
        QCOMPARE(shown, expected);
        QCOMPARE(chosen, cancel ? QString() : pick);
    }
};

TESSARK_TEST_GUI_MAIN(TestTool)
#include "tst_tool.moc"
