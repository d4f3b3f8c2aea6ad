// AsyncHandle: the facade's calls on the library's worker threads.
#include <QSqlDatabase>
#include <QtTest>

#include <atomic>
#include <memory>
#include <vector>

#include "../common/backends.h"
#include "async/asynchandle.h"
#include "handle/extendhandle.h"

using namespace TessarkTest;
using Tessark::AsyncHandle;

// A record whose key setter notes the thread that wrote it; score is a QVariant property.
class Stamped : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int id READ getid WRITE setid)
    Q_PROPERTY(QString username MEMBER username)
    Q_PROPERTY(QVariant score MEMBER score)
    Q_PROPERTY(QDateTime born MEMBER born)

public:
    explicit Stamped(const QString& table) { TableName = table, Key = QStringLiteral("id"); }
    int getid() const { return id; }
    void setid(int value) { id = value, keyThread = QThread::currentThread(); }
    int id = 0;
    QString username = QStringLiteral("stamped ü");
    QVariant score = 2.5;
    QDateTime born = QDateTime(QDate(1999, 12, 31), QTime(23, 59, 58, 125));
    QThread* keyThread = nullptr;
};

namespace {

// A handle (or, with T, a synchronous facade) on the backend, under a fresh tag.
template <class T = AsyncHandle>
std::unique_ptr<T> handle(const Backend& b, const char* tag = "a")
{
    auto h = std::make_unique<T>();
    h->InitInfo(b.info(uniqueName(tag)));
    return h;
}

// A person table for one test, dropped on every exit path; made says whether it was created.
struct Table
{
    const Backend& b;
    QString name = uniqueName(QStringLiteral("async"));
    bool made = b.exec(b.createPersonTable(name));
    DropTables drop{b, {name}};
    QString count(const QString& where = {}) const { return QStringLiteral("select count(*) from %1 %2").arg(name, where); }
};

// A statement that runs about five seconds (SQLite's runs until interrupted); marker names it on the server.
QString slowSql(const Backend& b, const QString& marker)
{
    static const char* const forms[] = {
        "with recursive c(x) as (select 1 union all select x + 1 from c where x < 2000000000) "
        "select count(*) as %1 from c",
        "select pg_sleep(5) as %1", "select sleep(5) as %1"};
    return QString::fromLatin1(forms[int(b.kind)]).arg(marker);
}

// Sessions on the server that still run the statement named by marker (-1 for SQLite).
int running(const Backend& b, const QString& marker)
{
    static const char* const forms[] = {
        nullptr, "select count(*) from pg_stat_activity where state = 'active' and pid <> pg_backend_pid() and "
            "query like '%%1%'",
        "select count(*) from information_schema.processlist where id <> connection_id() and info like '%%1%'"};
    if (b.kind == Kind::SQLite)
        return -1;
    return b.help(QStringLiteral("watch"))->QueryRow(QString::fromLatin1(forms[int(b.kind)]).arg(marker));
}

// Starts the slow statement on h as slow; true once it runs: on a server as
// the server shows it, on SQLite after a while.
bool startSlow(const Backend& b, AsyncHandle& h, const QString& marker, QFuture<int>& slow)
{
    slow = h.QueryRow(slowSql(b, marker));
    QTest::qWait(b.kind == Kind::SQLite ? 300 : 0);
    return QTest::qWaitFor([&] { return running(b, marker) != 0; }, 10000);
}

template <class T>
bool finishes(const QFuture<T>& f, int ms = 60000) { return QTest::qWaitFor([&] { return f.isFinished(); }, ms); }

// A thread that runs its event loop while it exists.
struct Thread : QThread
{
    Thread() { start(); }
    ~Thread() override { quit(), wait(); }
};

} // namespace

class TestAsync : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }
    void cleanup() { TESSARK_VERIFY_EXPECTED_MESSAGES(); }

    // Calls of one handle run in call order; failures give what the synchronous
    // call gives. A record is read at the call; its key is written in its own
    // thread before the future finishes, and a destroyed record is skipped.
    void callsAndRecords_data() { addBackendRows(); }
    void callsAndRecords()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("async");
        DropTables drop{b, {table}};
        auto h = handle(b);
        auto sync = handle<ExtendHandle>(b, "s");
        QCOMPARE(h->GetType(), short(b.type));
        const QFuture<bool> created = h->ExecuteSQL(b.createPersonTable(table));
        const QFuture<bool> inserted = h->Insert(table, {{"username", "first"}}, "id", true);
        const QFuture<int> counted = h->QueryRow(QStringLiteral("select count(*) from %1").arg(table));
        QVERIFY(finishes(counted) && created.result() && inserted.result());
        QCOMPARE(counted.result(), 1);
        QCOMPARE(h->GetTableName(table.toUpper()).result(), table);

        const QString bad = QStringLiteral("insert into %1_missing (x) values (1)").arg(table);
        const QString badSelect = QStringLiteral("select nothing from %1").arg(table);
        QVERIFY(!h->ExecuteSQL(bad).result() && h->Query(badSelect).result().isEmpty());
        const Tessark::LastError async = h->lastError();
        QVERIFY(!sync->ExecuteSQL(bad) && sync->Query(badSelect).isEmpty());
        QCOMPARE(async.serial, quint64(2));
        QCOMPARE(QStringList({async.message, async.driverText}),
                 QStringList({sync->lastError().message, sync->lastError().driverText}));
        const QStringList messages = log.messages();
        QCOMPARE(messages.size(), 4);
        QCOMPARE(messages.mid(0, 2), messages.mid(2, 2));

        Stamped reference(table), record(table);
        QVERIFY(sync->Insert(&reference, true));
        Thread recordThread;
        record.moveToThread(&recordThread);
        auto* gone = new Stamped(table);
        const QFuture<bool> stored = h->Insert(&record, true);
        const QFuture<bool> skipped = h->Insert(gone, true);
        gone->username = QStringLiteral("changed after the call"), gone->score = 7, gone->born = QDateTime();
        delete gone;
        QVERIFY(finishes(skipped) && finishes(stored) && stored.result() && skipped.result());
        QCOMPARE(record.keyThread, &recordThread);
        QVERIFY(record.id > reference.id);
        // Each snapshot stored exactly what the reference record stores.
        const RowList rows = sync->Query(
            QStringLiteral("select username, score, born from %1 where username <> 'first' order by id").arg(table));
        QCOMPARE(rows.size(), 3);
        for (const Row& row : rows)
            QCOMPARE(row, rows.first());
        QCOMPARE(log.messages().size(), 4);
        h->Close().waitForFinished();
    }

    // onResult calls back in the context's thread, and not at all once the
    // context is gone or the future was cancelled.
    void onResultDelivery()
    {
        Thread thread;
        auto* context = new QObject;
        context->moveToThread(&thread);
        auto* gone = new QObject;
        std::atomic<QThread*> where{nullptr};
        std::atomic<int> calls{0};
        QFutureInterface<int> value, late, cancelled;
        QFutureInterface<void> done;
        const std::initializer_list<QFutureInterfaceBase*> all{&value, &late, &cancelled, &done};
        for (QFutureInterfaceBase* f : all)
            f->reportStarted();
        AsyncHandle::onResult(value.future(), context, [&](int v) { calls += v, where = QThread::currentThread(); });
        AsyncHandle::onResult(late.future(), gone, [&](int) { calls += 100; });
        AsyncHandle::onResult(cancelled.future(), context, [&](int) { calls += 100; });
        AsyncHandle::onResult(done.future(), context, [&] { calls += 10; });
        delete gone;
        value.reportResult(5);
        late.reportResult(1);
        cancelled.cancel();
        for (QFutureInterfaceBase* f : all)
            f->reportFinished();
        QTRY_COMPARE(calls.load(), 15);
        QTest::qWait(50);
        QCOMPARE(calls.load(), 15);
        QCOMPARE(where.load(), &thread);
        context->deleteLater();
    }

    // A cancelled queued call never runs; a cancelled running statement ends
    // on the server within a second and the connection goes on working.
    // Destroying the handle ends its queued calls cancelled, interrupts the
    // running one and removes its connections, without hanging.
    void cancelAndDestroy_data() { addBackendRows(); }
    void cancelAndDestroy()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        Table table{b};
        QVERIFY(table.made);
        const QString tag = uniqueName("a");
        const QString insert = QStringLiteral("insert into %1 (username) values ('q')").arg(table.name);
        auto h = std::make_unique<AsyncHandle>();
        h->InitInfo(b.info(tag));
        QString marker = uniqueName("slow");
        QFuture<int> slow;
        QVERIFY(startSlow(b, *h, marker, slow));
        QFuture<bool> never = h->ExecuteSQL(insert);
        never.cancel();
        h->lastError(); // safe while a call runs
        QElapsedTimer t;
        t.start();
        slow.cancel();
        QVERIFY(finishes(slow, 1000));
        if (b.kind != Kind::SQLite)
            QTRY_COMPARE_WITH_TIMEOUT(running(b, marker), 0, 1000);
        QVERIFY2(t.elapsed() < 1000, qPrintable(QString::number(t.elapsed())));
        QVERIFY(slow.isCanceled() && never.isCanceled() && never.isFinished());
        QCOMPARE(h->QueryRow(table.count()).result(), 0);
        QCOMPARE(h->QueryRow(QStringLiteral("select 7")).result(), 7);

        QVERIFY(startSlow(b, *h, marker = uniqueName("slow"), slow));
        const QList<QFuture<bool>> queued{h->ExecuteSQL(insert), h->ExecuteSQL(insert)};
        t.restart();
        h.reset();
        QVERIFY2(t.elapsed() < 2000, qPrintable(QString::number(t.elapsed())));
        QVERIFY(slow.isFinished() && slow.isCanceled());
        for (const QFuture<bool>& q : queued)
            QVERIFY(q.isFinished() && q.isCanceled());
        for (const QString& name : QSqlDatabase::connectionNames())
            QVERIFY2(!name.startsWith(tag), qPrintable(name));
        QCOMPARE(b.help(QStringLiteral("check"))->QueryRow(table.count()), 0);
        QCOMPARE(log.messages().size(), 2); // each interrupted statement, in the database's words
    }

    // The main thread's 16 ms timer keeps ticking while a 5 s statement and a
    // 100,000-row load run, and no statement runs on the main thread.
    void responsive_data() { addBackendRows(); }
    void responsive()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("big");
        QVERIFY(b.exec(QStringLiteral("create table %1 (id int, name varchar(20), score int)").arg(table)));
        DropTables drop{b, {table}};
        QVERIFY(b.exec(b.numberedRowsSql(table, 100000)));
        auto slowHandle = handle(b), loadHandle = handle(b);
        qint64 largestGap = 0;
        {
            const TraceCapture trace{QStringLiteral("tessark.sql.debug=true")};
            QElapsedTimer sinceTick, total;
            QTimer timer;
            connect(&timer, &QTimer::timeout, [&] { largestGap = qMax(largestGap, sinceTick.restart()); });
            sinceTick.start(), total.start(), timer.start(16);
            QFuture<int> slow = slowHandle->QueryRow(slowSql(b, uniqueName("slow")));
            const QFuture<RowList> load = loadHandle->Query(QStringLiteral("select * from %1").arg(table));
            // SQLite's statement never ends by itself and holds the file until cancelled.
            while (!(load.isFinished() && slow.isFinished()) && total.elapsed() < 120000) {
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
                if (total.elapsed() > 5500)
                    slow.cancel();
            }
            QCOMPARE(load.result().size(), 100000);
        }
        QVERIFY2(largestGap < 500, qPrintable(QString::number(largestGap)));
        const QStringList traced = TraceCapture::take();
        QVERIFY(traced.size() >= 2);
        QVERIFY2(traced.filter(QStringLiteral("thread main,")).isEmpty(), qPrintable(traced.join('\n')));
    }

    // 8 handles, 200 mixed calls each from 4 threads: every count a handle
    // reads sees exactly its own earlier inserts, and no row is lost.
    void manyHandles_data() { addBackendRows(); }
    void manyHandles()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        Table table{b};
        QVERIFY(table.made);
        std::vector<std::unique_ptr<AsyncHandle>> handles;
        for (int i = 0; i < 8; ++i)
            handles.push_back(handle(b, "m"));
        std::atomic<int> wrong{0};
        QList<QThread*> threads;
        for (int t = 0; t < 4; ++t) {
            threads.append(QThread::create([&, t] {
                QList<QFuture<int>> counts;
                QList<QFuture<bool>> writes;
                for (int i = 0; i < 200; ++i)
                    for (int k = 2 * t; k < 2 * t + 2; ++k) {
                        AsyncHandle& h = *handles[k];
                        const QString user = QStringLiteral("h%1").arg(k);
                        const QString mine = QStringLiteral("where username = '%1'").arg(user);
                        if (i % 4 == 3)
                            counts.append(h.QueryRow(table.count(mine)));
                        else
                            writes.append(i % 4 < 2 ? h.Insert(table.name, {{"username", user}}, "id", false)
                                                    : h.ExecuteSQL(QStringLiteral("update %1 set score = 1 %2")
                                                                       .arg(table.name, mine)));
                    }
                for (int c = 0; c < counts.size(); ++c)
                    wrong += counts[c].result() != (c / 2 + 1) * 2;
                for (const QFuture<bool>& w : writes)
                    wrong += !w.result();
            }));
            threads.last()->start();
        }
        for (QThread* thread : threads) {
            QVERIFY(thread->wait(300000));
            delete thread;
        }
        QCOMPARE(wrong.load(), 0);
        QCOMPARE(handles[0]->QueryRow(table.count()).result(), 800);
        QCOMPARE(log.readAll(), QString());
    }

    // Last: the application object goes with this handle's calls in flight;
    // the run must end neither hung nor crashed.
    void quitWithCallsInFlight()
    {
        TESSARK_BACKEND_OF(b, Kind::SQLite);
        AsyncHandle* h = handle(b, "q").release();
        h->setParent(QCoreApplication::instance());
        h->QueryRow(slowSql(b, QStringLiteral("quit")));
        h->QueryRow(QStringLiteral("select 1"));
        QTest::qWait(200);
    }
};

TESSARK_TEST_MAIN(TestAsync)
#include "tst_async.moc"
