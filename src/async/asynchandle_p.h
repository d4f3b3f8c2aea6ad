#ifndef TESSARK_ASYNC_ASYNCHANDLE_P_H
#define TESSARK_ASYNC_ASYNCHANDLE_P_H

// AsyncHandle's internals: the calls a worker thread runs, and the private
// way (Private::submit) for library classes such as RecordTableModel to queue
// calls of their own behind the handle's.

#include <QFuture>
#include <QFutureInterface>
#include <QMutex>
#include <QMutexLocker>

#include <atomic>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "async/asynchandle.h"
#include "core/backend.h"
#include "core/connectioncore.h"

namespace Tessark {
namespace Async {

class Worker;

// What a handle shares with the calls it queued; outlives the handle while
// they are queued. The backend is made, replaced and destroyed on the worker
// only; the lock keeps lastError() from reading a backend being replaced.
struct Session
{
    mutable QMutex lock;
    std::unique_ptr<Backend> backend;

    LastError lastError() const
    {
        QMutexLocker locker(&lock);
        return backend ? backend->connection().lastError() : LastError();
    }
};

// One queued call of one handle.
class Job
{
public:
    Job(std::shared_ptr<Session> session, bool interruptible)
        : session(std::move(session)), interruptible(interruptible)
    {
    }
    virtual ~Job() = default;

    // On the worker: runs the call and finishes (or hands on) its future.
    virtual void run() = 0;
    // The call never runs: its future ends cancelled.
    virtual void drop() = 0;
    virtual bool isCanceled() const = 0;
    // As QFuture::cancel(): a queued call is then dropped, a running one interrupted.
    virtual void cancel() = 0;

    const std::shared_ptr<Session> session;
    // Whether a statement of it may be interrupted in the database (not while
    // the connection itself is being replaced or closed).
    const bool interruptible;
};

// A call that gives a R (or nothing): body(session) on the worker.
template <class R>
class CallJob final : public Job
{
public:
    using Body = std::function<R(Session&)>;

    CallJob(std::shared_ptr<Session> session, bool interruptible, Body body)
        : Job(std::move(session), interruptible), m_body(std::move(body))
    {
        m_future.reportStarted();
    }

    QFuture<R> future() { return m_future.future(); }

    // Replaces the plain "report the result and finish", for calls that write
    // keys back into records first. Unused for void.
    std::function<void(QFutureInterface<R>, std::conditional_t<std::is_void_v<R>, bool, R>)> deliver;

    void run() override
    {
        if constexpr (std::is_void_v<R>) {
            m_body(*session);
        } else {
            R result = m_body(*session);
            if (deliver) {
                deliver(m_future, std::move(result));
                return;
            }
            m_future.reportResult(result);
        }
        m_future.reportFinished();
    }

    void drop() override
    {
        m_future.reportCanceled();
        m_future.reportFinished();
    }

    bool isCanceled() const override { return m_future.isCanceled(); }
    void cancel() override { m_future.cancel(); }

private:
    QFutureInterface<R> m_future;
    Body m_body;
};

// Queues job on worker; drops it when the worker has stopped (the application is quitting).
void enqueue(Worker& worker, std::shared_ptr<Job> job);

} // namespace Async

class AsyncHandle::Private
{
public:
    Private();
    ~Private();

    // Runs f(backend) on the handle's worker thread after every call made
    // through the handle before it, and never if the future is cancelled
    // first; gives R() when the handle's kind names no database. A cancel
    // while f runs interrupts its statement in the database.
    template <class R>
    QFuture<R> submit(std::function<R(Backend&)> f)
    {
        return submit<R>(std::make_shared<Async::CallJob<R>>(session, true, onBackend<R>(std::move(f))));
    }

    template <class R>
    QFuture<R> submit(std::shared_ptr<Async::CallJob<R>> job)
    {
        QFuture<R> future = job->future();
        Async::enqueue(*worker, std::move(job));
        return future;
    }

    // f(backend), or R() when the kind names no database, as ExtendHandle gives.
    template <class R>
    static std::function<R(Async::Session&)> onBackend(std::function<R(Backend&)> f)
    {
        return [f = std::move(f)](Async::Session& s) {
            if constexpr (std::is_void_v<R>) {
                if (s.backend)
                    f(*s.backend);
            } else {
                return s.backend ? f(*s.backend) : R();
            }
        };
    }

    const std::shared_ptr<Async::Session> session;
    const std::shared_ptr<Async::Worker> worker; // the one thread all of the handle's calls run on
    std::atomic<DbType> type{0};
};

} // namespace Tessark

#endif // TESSARK_ASYNC_ASYNCHANDLE_P_H
