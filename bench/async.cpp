// The "async" scenario: how long the main thread's event loop goes without a
// turn while AsyncHandle runs a long statement and a large read, and how soon
// a cancelled statement ends.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <algorithm>

#include "async/asynchandle.h"
#include "bench.h"
#include "report.h"

namespace Bench {

namespace {

// A statement that keeps the database busy for about seconds.
QString longStatement(Db db, int seconds, qint64 sqliteSteps)
{
    switch (db) {
    case Db::PostgreSQL:
        return QStringLiteral("select pg_sleep(%1)").arg(seconds);
    case Db::MySQL:
        return QStringLiteral("select sleep(%1)").arg(seconds);
    default:
        return QStringLiteral("with recursive c(x) as (select 1 union all select x + 1 from c where x < %1) "
                              "select count(*) from c")
            .arg(sqliteSteps);
    }
}

// Turns the event loop until done() or limitMs.
template <class Done>
bool spin(Done done, int limitMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > limitMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::usleep(200);
    }
    return true;
}

double msSince(const QElapsedTimer& clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

} // namespace

AsyncFigures runAsync(const Target& target, const QString& table, int seconds, const std::function<int()>& runningOnServer)
{
    AsyncFigures f;
    f.seconds = seconds;
    Tessark::AsyncHandle slow, load;
    slow.InitInfo(target.info());
    load.InitInfo(target.info());
    if (!slow.InitConnect().result() || !load.InitConnect().result())
        return f;

    // SQLite has no sleep: a recursive count, sized on this machine to last about as long.
    qint64 steps = 1000000;
    if (target.db == Db::SQLite) {
        QElapsedTimer probe;
        probe.start();
        slow.Query(longStatement(target.db, 0, steps)).waitForFinished();
        steps = qint64(double(steps) * seconds * 1000.0 / std::max(1.0, msSince(probe)));
    }
    const QString statement = longStatement(target.db, seconds, steps);

    // The main thread's 16 ms timer while both run on the library's threads.
    QElapsedTimer clock, sinceTick;
    qint64 lastTick = 0;
    QTimer timer;
    timer.setInterval(16);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        f.maxGapMs = std::max(f.maxGapMs, double(now - lastTick) / 1e6);
        lastTick = now;
        ++f.ticks;
    });
    clock.start();
    timer.start();
    QFuture<RowList> long_ = slow.Query(statement);
    QFuture<Tessark::ResultRows> read = load.QueryColumns(QStringLiteral("select * from %1").arg(table));
    bool statementDone = false, readDone = false;
    Tessark::AsyncHandle::onResult(long_, &timer, [&](const RowList&) {
        f.statementMs = msSince(clock);
        statementDone = true;
    });
    Tessark::AsyncHandle::onResult(read, &timer, [&](const Tessark::ResultRows& r) {
        f.loadMs = msSince(clock);
        f.rowsRead = r.rows.size();
        readDone = true;
    });
    QEventLoop loop;
    QTimer check;
    QObject::connect(&check, &QTimer::timeout, [&] {
        if (statementDone && readDone)
            loop.quit();
    });
    check.start(5);
    QTimer::singleShot((seconds + 60) * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    timer.stop();
    long_ = QFuture<RowList>();
    read = QFuture<Tessark::ResultRows>(); // the rows go here, on this thread, outside the timing
    if (!statementDone || !readDone)
        return f;

    // Cancel latency: the statement running on the server, then cancelled.
    QFuture<RowList> cancelled = slow.Query(longStatement(target.db, seconds * 4, steps * 4));
    if (!runningOnServer)
        QThread::msleep(300); // a file: nothing to ask, let it get going
    else if (!spin([&] { return runningOnServer() > 0; }, 10000))
        return f;
    QElapsedTimer cancelClock;
    cancelClock.start();
    cancelled.cancel();
    if (!spin([&] { return cancelled.isFinished(); }, seconds * 8000))
        return f;
    f.cancelFinishedMs = msSince(cancelClock);
    if (runningOnServer && !spin([&] { return runningOnServer() == 0; }, seconds * 8000))
        return f;
    f.cancelGoneMs = std::max(f.cancelFinishedMs, msSince(cancelClock));
    // The connection still works after the cancel.
    f.ran = slow.QueryRow(QStringLiteral("select 1")).result() == 1;
    return f;
}

} // namespace Bench
