#include "async/asynchandle.h"
#include "async/asynchandle_p.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPointer>
#include <QSemaphore>
#include <QSet>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

#include "async/interrupter_p.h"
#include "async/recordsnapshot_p.h"
#include "core/connectioncore.h"
#include "handle/operations_p.h"

namespace Op = Tessark::Operations;

namespace Tessark {
namespace Async {

// Threads. A handle sticks to one worker thread for its whole life: its
// connection is that thread's connection (Qt hands a connection to one
// thread only), so consecutive calls share one session. SQLite temporary
// tables, session settings and a server's prepared statements survive from
// call to call, and call order needs no lock beyond the worker's queue. A
// handle also never opens more than one connection. The price: handles that
// share a worker wait for each other's calls, so a new handle goes to the
// worker with the fewest handles.
class Worker final : public QThread
{
public:
    explicit Worker(int index) { setObjectName(QStringLiteral("tessark-async-%1").arg(index)); }

    // False once stopped.
    bool enqueue(std::shared_ptr<Job> job, bool first = false)
    {
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            if (m_stopping)
                return false;
            if (first)
                m_queue.push_front(std::move(job));
            else
                m_queue.push_back(std::move(job));
        }
        m_wake.notify_one();
        return true;
    }

    // The session's queued calls end cancelled; its running call is cancelled
    // and interrupted.
    void cancel(const Session* session)
    {
        std::vector<std::shared_ptr<Job>> dropped;
        Interrupter running;
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            for (auto it = m_queue.begin(); it != m_queue.end();) {
                if ((*it)->session.get() == session) {
                    dropped.push_back(std::move(*it));
                    it = m_queue.erase(it);
                } else {
                    ++it;
                }
            }
            if (m_running && m_running->session.get() == session) {
                m_running->cancel();
                running = takeInterrupter();
            }
        }
        interruptOutside(running);
        for (const auto& job : dropped)
            job->drop();
    }

    // Acts on cancels made through the futures: interrupts a cancelled
    // running call, ends cancelled queued ones at once. Whether a call runs.
    bool poll()
    {
        std::vector<std::shared_ptr<Job>> dropped;
        Interrupter running;
        bool busy;
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            for (auto it = m_queue.begin(); it != m_queue.end();) {
                if ((*it)->isCanceled()) {
                    dropped.push_back(std::move(*it));
                    it = m_queue.erase(it);
                } else {
                    ++it;
                }
            }
            if (m_running && m_running->isCanceled())
                running = takeInterrupter();
            busy = bool(m_running);
        }
        interruptOutside(running);
        for (const auto& job : dropped)
            job->drop();
        return busy;
    }

    // Ends every queued call cancelled, interrupts the running one and waits for the thread.
    void stop()
    {
        std::deque<std::shared_ptr<Job>> dropped;
        Interrupter running;
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            m_stopping = true;
            dropped.swap(m_queue);
            if (m_running) {
                m_running->cancel();
                running = takeInterrupter();
            }
        }
        m_wake.notify_all();
        interruptOutside(running);
        for (const auto& job : dropped)
            job->drop();
        joined();
    }

    // The running call's connection was (re)opened in this thread: what
    // interrupts it changes. A first call opens the connection itself.
    void opened(const ConnectionCore& connection)
    {
        const Interrupter interrupter = Interrupter::capture(connection);
        const std::lock_guard<std::mutex> locker(m_mutex);
        if (m_running && m_running->interruptible)
            m_interrupter = interrupter;
    }

    static Worker* current() { return t_current; }

    int handles = 0; // under the pool's lock

protected:
    void run() override;

private:
    // Under m_mutex. SQLite's handle is only valid while the call runs, so
    // sqlite3_interrupt is called here and now; the others hold what they
    // need and may be used after the lock is released. Repeated while the
    // call goes on, as an interrupt that lands between two statements of a
    // call (or before the first) stops nothing.
    Interrupter takeInterrupter()
    {
        if (m_interrupter.isNull() || (m_interrupted.isValid() && !m_interrupted.hasExpired(250)))
            return Interrupter();
        m_interrupted.start();
        if (m_interrupter.needsLock()) {
            m_interrupter.interrupt();
            return Interrupter();
        }
        return m_interrupter;
    }
    static void interruptOutside(const Interrupter& interrupter) { interrupter.interrupt(); }

    // QThread::wait() synchronises inside Qt, out of ThreadSanitizer's sight;
    // the lock that run() last released shows the thread's end.
    void joined()
    {
        wait();
        const std::lock_guard<std::mutex> locker(m_mutex);
    }

    static thread_local Worker* t_current;

    std::mutex m_mutex; // std, not Qt: ThreadSanitizer sees through its waits
    std::condition_variable m_wake;
    std::deque<std::shared_ptr<Job>> m_queue;
    std::shared_ptr<Job> m_running;
    Interrupter m_interrupter;
    QElapsedTimer m_interrupted; // since the last interrupt of the running call
    bool m_stopping = false;
};

// Notices cancels while workers are blocked in the database: polls the
// workers every 10 ms while any call runs and sleeps otherwise. A library
// thread, so a busy or absent application event loop does not delay it.
class Canceller final : public QThread
{
public:
    explicit Canceller(const std::vector<std::shared_ptr<Worker>>& workers) : m_workers(workers)
    {
        setObjectName(QStringLiteral("tessark-async-cancel"));
    }

    void wake()
    {
        const std::lock_guard<std::mutex> locker(m_mutex);
        m_busy = true;
        m_wake.notify_one();
    }

    void stop()
    {
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            m_stopping = true;
        }
        m_wake.notify_one();
        wait();
        const std::lock_guard<std::mutex> joined(m_mutex); // see Worker::joined()
    }

protected:
    void run() override
    {
        std::unique_lock<std::mutex> locker(m_mutex);
        while (!m_stopping) {
            if (m_busy)
                m_wake.wait_for(locker, std::chrono::milliseconds(10));
            else
                m_wake.wait(locker);
            if (m_stopping)
                break;
            m_busy = false;
            locker.unlock();
            bool busy = false;
            for (const auto& worker : m_workers)
                busy = worker->poll() || busy;
            locker.lock();
            m_busy = m_busy || busy;
        }
    }

private:
    const std::vector<std::shared_ptr<Worker>> m_workers;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_busy = false;
    bool m_stopping = false;
};

// Finishes a call that generated keys in its records' thread: writes the keys
// into the records still alive, then reports the result, so that the future
// finishes only after the write-back and never touches a destroyed record.
class WriteBack final : public QObject
{
public:
    WriteBack(const QList<ObjectModel*>& records, QList<std::shared_ptr<RecordSnapshot>> snapshots);
    ~WriteBack() override;

    // On the worker, once.
    void deliver(QFutureInterface<bool> future, bool result)
    {
        m_future = future;
        m_result = result;
        m_delivered = true;
        QMetaObject::invokeMethod(this, [this] { complete(); delete this; }, Qt::QueuedConnection);
    }

    // The application is quitting: the records' thread runs no more events.
    static void finishPending();

private:
    void complete()
    {
        for (int i = 0; i < m_records.size(); ++i) {
            if (m_records.at(i) && m_snapshots.at(i))
                m_snapshots.at(i)->writeBack(m_records.at(i));
        }
        m_future.reportResult(m_result);
        m_future.reportFinished();
        m_delivered = false;
    }

    QList<QPointer<ObjectModel>> m_records;
    const QList<std::shared_ptr<RecordSnapshot>> m_snapshots;
    QFutureInterface<bool> m_future;
    bool m_result = false;
    bool m_delivered = false;
};

struct PendingWriteBacks
{
    QMutex mutex;
    QSet<WriteBack*> objects;
};
Q_GLOBAL_STATIC(PendingWriteBacks, pendingWriteBacks)

WriteBack::WriteBack(const QList<ObjectModel*>& records, QList<std::shared_ptr<RecordSnapshot>> snapshots)
    : m_snapshots(std::move(snapshots))
{
    for (ObjectModel* record : records)
        m_records.append(record);
    if (PendingWriteBacks* pending = pendingWriteBacks()) {
        QMutexLocker locker(&pending->mutex);
        pending->objects.insert(this);
    }
}

// The registry may be gone already when the process itself ends.
WriteBack::~WriteBack()
{
    if (PendingWriteBacks* pending = pendingWriteBacks()) {
        QMutexLocker locker(&pending->mutex);
        pending->objects.remove(this);
    }
}

// Only after the workers stopped, so none is posting to them meanwhile.
void WriteBack::finishPending()
{
    QList<WriteBack*> mine;
    if (PendingWriteBacks* pending = pendingWriteBacks()) {
        QMutexLocker locker(&pending->mutex);
        for (WriteBack* object : qAsConst(pending->objects)) {
            if (object->thread() == QThread::currentThread())
                mine.append(object);
        }
    }
    for (WriteBack* object : qAsConst(mine)) {
        if (object->m_delivered)
            object->complete();
        delete object;
    }
}

// Deletes the write-back of a call that never delivered (it was cancelled),
// in the write-back's own thread.
struct WriteBackOwner
{
    explicit WriteBackOwner(WriteBack* object) : object(object) {}
    WriteBackOwner(const WriteBackOwner&) = delete;
    WriteBackOwner& operator=(const WriteBackOwner&) = delete;
    WriteBack* const object;
    bool delivered = false;
    ~WriteBackOwner()
    {
        if (!delivered)
            object->deleteLater();
    }
};

// The library's worker threads: made on first use, stopped when the
// application object is destroyed (before Qt SQL's own globals go).
class Pool
{
public:
    static std::shared_ptr<Worker> assign()
    {
        QMutexLocker locker(&s_mutex);
        if (!s_pool) {
            s_pool = new Pool;
            if (QCoreApplication::instance())
                qAddPostRoutine(&Pool::shutdown);
        }
        std::shared_ptr<Worker> least;
        for (const auto& worker : s_pool->m_workers) {
            if (!least || worker->handles < least->handles)
                least = worker;
        }
        ++least->handles;
        return least;
    }

    static void release(const std::shared_ptr<Worker>& worker)
    {
        QMutexLocker locker(&s_mutex);
        --worker->handles;
    }

    static void wake()
    {
        QMutexLocker locker(&s_mutex);
        if (s_pool)
            s_pool->m_canceller->wake();
    }

    static void shutdown()
    {
        Pool* pool;
        {
            QMutexLocker locker(&s_mutex);
            pool = s_pool;
            s_pool = nullptr;
        }
        if (!pool)
            return;
        pool->m_canceller->stop();
        for (const auto& worker : pool->m_workers)
            worker->stop();
        delete pool;
        WriteBack::finishPending();
    }

private:
    Pool()
    {
        // At least four even on a small machine, as database calls mostly
        // wait on a server; bounded, since every thread holds a connection per
        // database it serves.
        const int count = qBound(4, QThread::idealThreadCount(), 16);
        for (int i = 0; i < count; ++i) {
            m_workers.push_back(std::make_shared<Worker>(i));
            m_workers.back()->start();
        }
        m_canceller = std::make_unique<Canceller>(m_workers);
        m_canceller->start();
    }

    static QMutex s_mutex;
    static Pool* s_pool;

    std::vector<std::shared_ptr<Worker>> m_workers;
    std::unique_ptr<Canceller> m_canceller;
};

QMutex Pool::s_mutex;
Pool* Pool::s_pool = nullptr;

thread_local Worker* Worker::t_current = nullptr;

void Worker::run()
{
    t_current = this;
    for (;;) {
        std::shared_ptr<Job> job;
        {
            std::unique_lock<std::mutex> locker(m_mutex);
            while (m_queue.empty() && !m_stopping)
                m_wake.wait(locker);
            if (m_queue.empty())
                return;
            job = std::move(m_queue.front());
            m_queue.pop_front();
        }
        if (job->isCanceled()) {
            job->drop();
            continue;
        }
        Interrupter interrupter;
        if (job->interruptible && job->session->backend)
            interrupter = Interrupter::capture(job->session->backend->connection());
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            m_running = job;
            m_interrupter = interrupter;
            m_interrupted.invalidate();
        }
        Pool::wake();
        job->run();
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            m_running.reset();
            m_interrupter = Interrupter();
        }
    }
}

void enqueue(Worker& worker, std::shared_ptr<Job> job)
{
    if (!worker.enqueue(job))
        job->drop();
}

// Ends a handle: cancels its calls, then destroys its backend on the worker
// (a connection is closed in the thread that opened it), ahead of other
// handles' queued calls.
class Teardown final : public Job
{
public:
    explicit Teardown(std::shared_ptr<Session> session) : Job(std::move(session), false) {}
    void run() override { end(); }
    void drop() override { end(); } // the worker has stopped: its connections went with its thread
    bool isCanceled() const override { return false; }
    void cancel() override {}
    QSemaphore done;

private:
    void end()
    {
        std::unique_ptr<Backend> backend;
        {
            QMutexLocker locker(&session->lock);
            backend.swap(session->backend);
        }
        backend.reset();
        done.release();
    }
};

// Lets the worker that runs a call learn of its connection's opening.
void watchOpens(Backend* backend)
{
    if (!backend)
        return;
    ConnectionCore* connection = &backend->connection();
    QObject::connect(connection, &ConnectionCore::OpenEvent, connection, [connection](bool ok, short) {
        if (Worker* worker = Worker::current(); ok && worker)
            worker->opened(*connection);
    }, Qt::DirectConnection);
}

} // namespace Async

using Async::CallJob;

AsyncHandle::Private::Private() : session(std::make_shared<Async::Session>()), worker(Async::Pool::assign()) {}

AsyncHandle::Private::~Private()
{
    Async::Pool::release(worker);
}

AsyncHandle::AsyncHandle(QObject* parent) : QObject(parent), d(std::make_unique<Private>())
{
    d->session->backend = makeBackend(d->type.load());
    Async::watchOpens(d->session->backend.get());
}

AsyncHandle::~AsyncHandle()
{
    d->worker->cancel(d->session.get());
    auto teardown = std::make_shared<Async::Teardown>(d->session);
    if (QThread::currentThread() == d->worker.get() || !d->worker->enqueue(teardown, true))
        teardown->drop();
    teardown->done.acquire();
}

namespace {

std::shared_ptr<RecordSnapshot> snapshot(ObjectModel* record)
{
    return record ? std::make_shared<RecordSnapshot>(record) : nullptr;
}

QList<std::shared_ptr<RecordSnapshot>> snapshots(const QList<ObjectModel*>& records)
{
    QList<std::shared_ptr<RecordSnapshot>> result;
    result.reserve(records.size());
    for (ObjectModel* record : records)
        result.append(snapshot(record));
    return result;
}

QList<ObjectModel*> pointers(const QList<std::shared_ptr<RecordSnapshot>>& snapshots)
{
    QList<ObjectModel*> result;
    result.reserve(snapshots.size());
    for (const auto& s : snapshots)
        result.append(s.get());
    return result;
}

// Routes job's result through a write-back in the records' thread (the first
// record's), for calls that write generated keys into their records.
void writeBackKeys(CallJob<bool>& job, const QList<ObjectModel*>& records,
                   const QList<std::shared_ptr<RecordSnapshot>>& snapshots)
{
    QThread* thread = nullptr;
    for (ObjectModel* record : records) {
        if (record) {
            thread = record->thread();
            break;
        }
    }
    if (!thread)
        return;
    auto* writeBack = new Async::WriteBack(records, snapshots);
    if (thread != writeBack->thread())
        writeBack->moveToThread(thread);
    auto owner = std::make_shared<Async::WriteBackOwner>(writeBack);
    job.deliver = [owner](QFutureInterface<bool> future, bool result) {
        owner->delivered = true;
        owner->object->deliver(future, result);
    };
}

} // namespace

void AsyncHandle::InitInfo(ConnInfoModel info)
{
    d->type = info.Type;
    d->submit<void>(std::make_shared<CallJob<void>>(d->session, false, [info](Async::Session& s) {
        std::unique_ptr<Backend> backend;
        {
            QMutexLocker locker(&s.lock);
            backend.swap(s.backend);
        }
        Backend* before = backend.get();
        Op::describe(backend, info);
        if (backend.get() != before)
            Async::watchOpens(backend.get());
        QMutexLocker locker(&s.lock);
        s.backend.swap(backend);
    }));
}

short AsyncHandle::GetType() const
{
    return d->type.load();
}

QFuture<bool> AsyncHandle::InitConnect()
{
    return d->submit<bool>([](Backend& b) { return Op::initConnect(b); });
}

QFuture<bool> AsyncHandle::ExecuteSQL(QString sql)
{
    return d->submit<bool>([sql](Backend& b) { return Op::executeSql(b, sql); });
}

QFuture<RowList> AsyncHandle::Query(QString sql)
{
    return d->submit<RowList>([sql](Backend& b) { return Op::query(b, sql); });
}

QFuture<ResultRows> AsyncHandle::QueryColumns(QString sql)
{
    return d->submit<ResultRows>([sql](Backend& b) {
        ResultRows result;
        result.rows = Op::query(b, sql, &result.columns);
        return result;
    });
}

QFuture<RowList> AsyncHandle::Query(ObjectModel* model)
{
    return d->submit<RowList>([s = snapshot(model)](Backend& b) { return Op::query(b, s.get()); });
}

QFuture<RowList> AsyncHandle::Query(int offset, int count, ObjectModel* model)
{
    return d->submit<RowList>(
        [offset, count, s = snapshot(model)](Backend& b) { return Op::query(b, offset, count, s.get()); });
}

QFuture<Row> AsyncHandle::QueryFirst(QString sql)
{
    return d->submit<Row>([sql](Backend& b) { return Op::queryFirst(b, sql); });
}

QFuture<int> AsyncHandle::QueryRow(QString sql)
{
    return d->submit<int>([sql](Backend& b) { return Op::queryRow(b, sql); });
}

QFuture<bool> AsyncHandle::Insert(ObjectModel* model, bool generatedKey)
{
    const auto s = snapshot(model);
    auto job = std::make_shared<CallJob<bool>>(
        d->session, true,
        Private::onBackend<bool>([s, generatedKey](Backend& b) { return Op::insert(b, s.get(), generatedKey); }));
    if (generatedKey)
        writeBackKeys(*job, {model}, {s});
    return d->submit<bool>(std::move(job));
}

QFuture<bool> AsyncHandle::Insert(QString table, QList<FieldPair> values, QString key, bool generatedKey)
{
    return d->submit<bool>(
        [table, values, key, generatedKey](Backend& b) { return Op::insert(b, table, values, key, generatedKey); });
}

QFuture<bool> AsyncHandle::InsertList(QList<ObjectModel*> models, bool generatedKey, bool continueOnError)
{
    const auto s = snapshots(models);
    auto job = std::make_shared<CallJob<bool>>(
        d->session, true, Private::onBackend<bool>([s, generatedKey, continueOnError](Backend& b) {
            return Op::insertList(b, pointers(s), generatedKey, continueOnError);
        }));
    if (generatedKey)
        writeBackKeys(*job, models, s);
    return d->submit<bool>(std::move(job));
}

QFuture<bool> AsyncHandle::Update(ObjectModel* model)
{
    return d->submit<bool>([s = snapshot(model)](Backend& b) { return Op::update(b, s.get()); });
}

QFuture<bool> AsyncHandle::Update(QString table, QString key, QList<FieldPair> values)
{
    return d->submit<bool>([table, key, values](Backend& b) { return Op::update(b, table, key, values); });
}

QFuture<bool> AsyncHandle::UpdateList(QList<ObjectModel*> models, bool continueOnError)
{
    return d->submit<bool>([s = snapshots(models), continueOnError](Backend& b) {
        return Op::updateList(b, pointers(s), continueOnError);
    });
}

QFuture<bool> AsyncHandle::Delete(QString column, QVariant value, QString table)
{
    return d->submit<bool>([column, value, table](Backend& b) { return Op::remove(b, column, value, table); });
}

QFuture<bool> AsyncHandle::Delete(QString column, QVariant value, ObjectModel* model)
{
    return d->submit<bool>(
        [column, value, s = snapshot(model)](Backend& b) { return Op::remove(b, column, value, s.get()); });
}

QFuture<bool> AsyncHandle::DeleteAll(QString table)
{
    return d->submit<bool>([table](Backend& b) { return Op::removeAll(b, table); });
}

QFuture<bool> AsyncHandle::DeleteList(QList<ObjectModel*> models, bool continueOnError)
{
    return d->submit<bool>([s = snapshots(models), continueOnError](Backend& b) {
        return Op::removeList(b, pointers(s), continueOnError);
    });
}

QFuture<bool> AsyncHandle::DeleteList(QString column, QList<QVariant> values, QString table, bool continueOnError)
{
    return d->submit<bool>([column, values, table, continueOnError](Backend& b) {
        return Op::removeList(b, column, values, table, continueOnError);
    });
}

QFuture<bool> AsyncHandle::DeleteList(QStringList sqls, bool continueOnError)
{
    return d->submit<bool>([sqls, continueOnError](Backend& b) { return Op::removeList(b, sqls, continueOnError); });
}

QFuture<QStringList> AsyncHandle::GetTableNames()
{
    return d->submit<QStringList>([](Backend& b) { return Op::tableNames(b); });
}

QFuture<QStringList> AsyncHandle::GetColumnNames(QString tableName)
{
    return d->submit<QStringList>([tableName](Backend& b) { return Op::columnNames(b, tableName); });
}

QFuture<QString> AsyncHandle::GetTableName(QString name)
{
    return d->submit<QString>([name](Backend& b) { return Op::tableName(b, name); });
}

QFuture<QString> AsyncHandle::GetModelTableName(QString name)
{
    return d->submit<QString>([name](Backend& b) { return Op::modelTableName(b, name); });
}

QFuture<void> AsyncHandle::CleanTable()
{
    return d->submit<void>([](Backend& b) { Op::cleanTables(b); });
}

QFuture<void> AsyncHandle::CleanColumn()
{
    return d->submit<void>([](Backend& b) { Op::cleanColumns(b); });
}

// Not interruptible: the connection an interrupt would reach is being closed.
QFuture<void> AsyncHandle::Close()
{
    return d->submit<void>(
        std::make_shared<CallJob<void>>(d->session, false, Private::onBackend<void>([](Backend& b) { Op::close(b); })));
}

LastError AsyncHandle::lastError() const
{
    return d->session->lastError();
}

} // namespace Tessark
