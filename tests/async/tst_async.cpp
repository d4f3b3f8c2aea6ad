// AsyncHandle: the facade's calls on the library's worker threads.
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QSqlDatabase>
#include <QThread>
#include <QTimer>
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

ConnInfoModel infoFor(const Backend& b, const QString& tag)
{
    return b.kind == Kind::SQLite ? ConnInfoModel(2, b.file, tag)
                                  : ConnInfoModel(b.type, b.server.host, b.server.port, b.server.user,
                                                  b.server.password, b.server.dbname, tag);
}

// A statement that runs about five seconds (SQLite's runs until interrupted); marker names it on the server.
QString slowSql(const Backend& b, const QString& marker)
{
    if (b.kind == Kind::PostgreSQL)
        return QStringLiteral("select pg_sleep(5) as %1").arg(marker);
    if (b.kind == Kind::MySQL)
        return QStringLiteral("select sleep(5) as %1").arg(marker);
    return QStringLiteral("with recursive c(x) as (select 1 union all select x + 1 from c where x < 2000000000) "
                          "select count(*) as %1 from c").arg(marker);
}

// Sessions on the server that still run the statement named by marker (-1 for SQLite).
int running(const Backend& b, const QString& marker)
{
    if (b.kind == Kind::SQLite)
        return -1;
    return b.help(QStringLiteral("watch"))->QueryRow(b.kind == Kind::PostgreSQL
                          ? QStringLiteral("select count(*) from pg_stat_activity where state = 'active' and "
                                           "pid <> pg_backend_pid() and query like '%%1%'").arg(marker)
                          : QStringLiteral("select count(*) from information_schema.processlist where "
                                           "id <> connection_id() and info like '%%1%'").arg(marker));
}

// Until the slow statement runs: on a server as the server shows it, on SQLite after a while.
bool started(const Backend& b, const QString& marker)
{
    QTest::qWait(b.kind == Kind::SQLite ? 300 : 0);
    return QTest::qWaitFor([&] { return running(b, marker) != 0; }, 10000);
}

template <class T>
bool finishes(const QFuture<T>& f, int ms = 60000)
{
    return QTest::qWaitFor([&] { return f.isFinished(); }, ms);
}

// Counts the traced statements and notes those run on the main thread.
struct StatementThreads
{
    static inline QMutex mutex;
    static inline int count = 0;
    static inline QStringList onMain;
    static inline QtMessageHandler previous = nullptr;
    static void handler(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        if (qstrcmp(context.category, "tessark.sql") != 0)
            return previous(type, context, text);
        QMutexLocker locker(&mutex);
        ++count;
        if (text.contains(QLatin1String("thread main,")))
            onMain.append(text);
    }
};

} // namespace

class TestAsync : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { installMessageGuard(); }
    void cleanup() { TESSARK_VERIFY_EXPECTED_MESSAGES(); }

    // Calls of one handle run in call order; failures give what the synchronous call gives.
    void orderAndFailures_data() { addBackendRows(); }
    void orderAndFailures()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("async");
        DropTables drop{b, {table}};
        AsyncHandle h;
        h.InitInfo(infoFor(b, uniqueName("a")));
        QCOMPARE(h.GetType(), short(b.type));
        const QFuture<bool> created = h.ExecuteSQL(b.createPersonTable(table));
        const QFuture<bool> inserted = h.Insert(table, {{"username", "first"}}, "id", true);
        const QFuture<int> counted = h.QueryRow(QStringLiteral("select count(*) from %1").arg(table));
        QVERIFY(finishes(counted));
        QVERIFY(created.result() && inserted.result());
        QCOMPARE(counted.result(), 1);
        QCOMPARE(h.GetTableName(table.toUpper()).result(), table);

        const QString bad = QStringLiteral("insert into %1_missing (x) values (1)").arg(table);
        QCOMPARE(h.ExecuteSQL(bad).result(), false);
        QVERIFY(h.Query(QStringLiteral("select nothing from %1").arg(table)).result().isEmpty());
        const Tessark::LastError async = h.lastError();
        ExtendHandle sync;
        sync.InitInfo(infoFor(b, uniqueName("s")));
        QVERIFY(!sync.ExecuteSQL(bad));
        QVERIFY(sync.Query(QStringLiteral("select nothing from %1").arg(table)).isEmpty());
        QCOMPARE(async.serial, quint64(2));
        QCOMPARE(async.message, sync.lastError().message);
        QCOMPARE(async.driverText, sync.lastError().driverText);
        const QStringList messages = log.messages();
        QCOMPARE(messages.size(), 4);
        QCOMPARE(messages.mid(0, 2), messages.mid(2, 2));
        h.Close().waitForFinished();
    }

    // A record is read at the call; its key is written in its own thread
    // before the future finishes, and a destroyed record is skipped.
    void recordKeys_data() { addBackendRows(); }
    void recordKeys()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("async");
        QVERIFY(b.exec(b.createPersonTable(table)));
        DropTables drop{b, {table}};
        ExtendHandle sync;
        sync.InitInfo(infoFor(b, uniqueName("s")));
        Stamped reference(table);
        QVERIFY(sync.Insert(&reference, true));

        QThread recordThread;
        recordThread.start();
        Stamped record(table);
        record.moveToThread(&recordThread);
        auto* gone = new Stamped(table);
        AsyncHandle h;
        h.InitInfo(infoFor(b, uniqueName("a")));
        const QFuture<bool> stored = h.Insert(&record, true);
        const QFuture<bool> skipped = h.Insert(gone, true);
        gone->username = QStringLiteral("changed after the call");
        delete gone;
        QVERIFY(finishes(skipped) && finishes(stored));
        recordThread.quit();
        recordThread.wait();
        QVERIFY(stored.result() && skipped.result());
        QCOMPARE(record.keyThread, &recordThread);
        QVERIFY(record.id > reference.id);

        // The snapshot stored exactly what the record itself stores.
        const QString select = QStringLiteral("select username, score, born from %1 where id = %2").arg(table);
        const Row expected = sync.QueryFirst(select.arg(reference.id));
        QVERIFY(!expected.isEmpty());
        const Row actual = sync.QueryFirst(select.arg(record.id));
        for (const char* c : {"username", "score", "born"})
            QCOMPARE(actual.value(c), expected.value(c));
        QCOMPARE(sync.QueryRow(QStringLiteral("select count(*) from %1 where username = '%2'")
                                   .arg(table, reference.username)), 3);
        QCOMPARE(log.readAll(), QString());
    }

    // onResult calls back in the context's thread, and not at all once the
    // context is gone or the future was cancelled.
    void onResultDelivery()
    {
        QThread thread;
        thread.start();
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
        thread.quit();
        thread.wait();
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
        const QString table = uniqueName("async");
        QVERIFY(b.exec(b.createPersonTable(table)));
        DropTables drop{b, {table}};
        const QString tag = uniqueName("a");
        const QString insert = QStringLiteral("insert into %1 (username) values ('q')").arg(table);
        auto h = std::make_unique<AsyncHandle>();
        h->InitInfo(infoFor(b, tag));
        QString marker = uniqueName("slow");
        QFuture<int> slow = h->QueryRow(slowSql(b, marker));
        QFuture<bool> never = h->ExecuteSQL(insert);
        never.cancel();
        QVERIFY(started(b, marker));
        h->lastError(); // safe while a call runs
        QElapsedTimer t;
        t.start();
        slow.cancel();
        QVERIFY(finishes(slow, 1000));
        if (b.kind != Kind::SQLite)
            QTRY_COMPARE_WITH_TIMEOUT(running(b, marker), 0, 1000);
        QVERIFY2(t.elapsed() < 1000, qPrintable(QString::number(t.elapsed())));
        QVERIFY(slow.isCanceled() && never.isCanceled() && never.isFinished());
        QCOMPARE(h->QueryRow(QStringLiteral("select count(*) from %1").arg(table)).result(), 0);
        QCOMPARE(h->QueryRow(QStringLiteral("select 7")).result(), 7);

        slow = h->QueryRow(slowSql(b, marker = uniqueName("slow")));
        const QList<QFuture<bool>> queued{h->ExecuteSQL(insert), h->ExecuteSQL(insert)};
        QVERIFY(started(b, marker));
        t.restart();
        h.reset();
        QVERIFY2(t.elapsed() < 2000, qPrintable(QString::number(t.elapsed())));
        QVERIFY(slow.isFinished() && slow.isCanceled());
        for (const QFuture<bool>& q : queued)
            QVERIFY(q.isFinished() && q.isCanceled());
        for (const QString& name : QSqlDatabase::connectionNames())
            QVERIFY2(!name.startsWith(tag), qPrintable(name));
        QCOMPARE(b.help(QStringLiteral("check"))->QueryRow(QStringLiteral("select count(*) from %1").arg(table)), 0);
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
        QVERIFY(b.exec(QStringLiteral("create table %1 (id int, label varchar(20))").arg(table)));
        DropTables drop{b, {table}};
        // MariaDB stops recursion after 1,000 rows by default; its sequence tables do not.
        const char* const rows[] = {"with recursive s(n) as (select 1 union all select n + 1 from s where n < 100000) "
                                    "select n, 'row' || n from s",
                                    "select n, 'row' || n from generate_series(1, 100000) n",
                                    "select seq, concat('row', seq) from seq_1_to_100000"};
        QVERIFY(b.exec(QStringLiteral("insert into %1 %2").arg(table, QLatin1String(rows[int(b.kind)]))));
        AsyncHandle slowHandle, loadHandle;
        slowHandle.InitInfo(infoFor(b, uniqueName("a")));
        loadHandle.InitInfo(infoFor(b, uniqueName("a")));

        StatementThreads::count = 0;
        StatementThreads::onMain.clear();
        StatementThreads::previous = qInstallMessageHandler(&StatementThreads::handler);
        QLoggingCategory::setFilterRules(QStringLiteral("tessark.sql.debug=true"));
        QElapsedTimer sinceTick, total;
        qint64 largestGap = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, [&] { largestGap = qMax(largestGap, sinceTick.restart()); });
        sinceTick.start();
        total.start();
        timer.start(16);
        QFuture<int> slow = slowHandle.QueryRow(slowSql(b, uniqueName("slow")));
        const QFuture<RowList> load = loadHandle.Query(QStringLiteral("select * from %1").arg(table));
        // SQLite's statement never ends by itself and holds the file until cancelled.
        while (!(load.isFinished() && slow.isFinished()) && total.elapsed() < 120000) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
            if (total.elapsed() > 5500)
                slow.cancel();
        }
        timer.stop();
        QLoggingCategory::setFilterRules(QString());
        qInstallMessageHandler(StatementThreads::previous);

        QCOMPARE(load.result().size(), 100000);
        QVERIFY2(largestGap < 500, qPrintable(QString::number(largestGap)));
        const QMutexLocker locker(&StatementThreads::mutex);
        QVERIFY(StatementThreads::count >= 2);
        QVERIFY2(StatementThreads::onMain.isEmpty(), qPrintable(StatementThreads::onMain.join('\n')));
    }

    // 8 handles, 200 mixed calls each from 4 threads: every count a handle
    // reads sees exactly its own earlier inserts, and no row is lost.
    void manyHandles_data() { addBackendRows(); }
    void manyHandles()
    {
        TESSARK_BACKEND(b);
        LogFolder log;
        const QString table = uniqueName("many");
        QVERIFY(b.exec(b.createPersonTable(table)));
        DropTables drop{b, {table}};
        std::vector<std::unique_ptr<AsyncHandle>> handles;
        for (int i = 0; i < 8; ++i) {
            handles.push_back(std::make_unique<AsyncHandle>());
            handles.back()->InitInfo(infoFor(b, uniqueName("m")));
        }
        std::atomic<int> wrong{0};
        QList<QThread*> threads;
        for (int t = 0; t < 4; ++t) {
            threads.append(QThread::create([&, t] {
                QList<QFuture<int>> counts;
                QList<QFuture<bool>> writes;
                for (int i = 0; i < 200; ++i) {
                    for (int k = 2 * t; k < 2 * t + 2; ++k) {
                        AsyncHandle& h = *handles[k];
                        const QString mine = QStringLiteral("where username = 'h%1'").arg(k);
                        if (i % 4 < 2)
                            writes.append(h.Insert(table, {{"username", QStringLiteral("h%1").arg(k)}}, "id", false));
                        else if (i % 4 == 2)
                            writes.append(h.ExecuteSQL(QStringLiteral("update %1 set score = 1 %2").arg(table, mine)));
                        else
                            counts.append(h.QueryRow(QStringLiteral("select count(*) from %1 %2").arg(table, mine)));
                    }
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
        QCOMPARE(handles[0]->QueryRow(QStringLiteral("select count(*) from %1").arg(table)).result(), 800);
        QCOMPARE(log.readAll(), QString());
    }

    // Last: the application object goes with this handle's calls in flight;
    // the run must end neither hung nor crashed.
    void quitWithCallsInFlight()
    {
        Backend b;
        QVERIFY(setUpBackend(Kind::SQLite, b));
        auto* h = new AsyncHandle(QCoreApplication::instance());
        h->InitInfo(infoFor(b, uniqueName("q")));
        h->QueryRow(slowSql(b, QStringLiteral("quit")));
        h->QueryRow(QStringLiteral("select 1"));
        QTest::qWait(200);
    }
};

TESSARK_TEST_MAIN(TestAsync)
#include "tst_async.moc"
