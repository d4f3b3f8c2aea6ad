#include "core/threadconnections.h"
#include "core/statementcache_p.h"

#include <QCoreApplication>
#include <QHash>
#include <QSet>
#include <QMutex>
#include <QMutexLocker>
#include <QSqlDatabase>
#include <QThread>

namespace Tessark {
namespace {

struct Registry
{
    QMutex mutex;
    // base name -> (thread -> name that thread uses)
    QHash<QString, QHash<QThread*, QString>> names;
    QSet<QString> lost;
};

Q_GLOBAL_STATIC(Registry, registry)

// Closes (only possible from the owning thread) and unregisters one connection.
void dropConnection(const QString& name, bool ownedByCaller)
{
    if (!QSqlDatabase::contains(name))
        return;
    if (ownedByCaller) {
        QSqlDatabase db = QSqlDatabase::database(name, false);
        db.close();
    }
    // Another thread's handle is closed by its driver when the last reference goes.
    QSqlDatabase::removeDatabase(name);
    if (ownedByCaller)
        StatementCache::drop(name);
}

// Removes the calling thread's connections when the thread ends, whether it is
// a QThread (finished is emitted before wait() returns) or a plain thread.
struct ThreadExitGuard
{
    bool hooked = false;
    ~ThreadExitGuard()
    {
        if (hooked)
            ThreadConnections::releaseCurrentThread();
    }
};

thread_local ThreadExitGuard exitGuard;

void hookThreadExit()
{
    if (exitGuard.hooked)
        return;
    exitGuard.hooked = true;
    QThread* thread = QThread::currentThread();
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || thread != app->thread()) {
        QObject::connect(thread, &QThread::finished, thread,
                         [] { ThreadConnections::releaseCurrentThread(); },
                         Qt::DirectConnection);
    }
}

} // namespace

QString ThreadConnections::nameForCurrentThread(const QString& base)
{
    QThread* thread = QThread::currentThread();
    Registry* reg = registry();
    if (!reg)
        return base;
    QString name;
    bool added = false;
    {
        QMutexLocker locker(&reg->mutex);
        QHash<QThread*, QString>& perThread = reg->names[base];
        auto it = perThread.constFind(thread);
        if (it != perThread.constEnd())
            return it.value();
        bool baseTaken = false;
        for (const QString& used : qAsConst(perThread)) {
            if (used == base) {
                baseTaken = true;
                break;
            }
        }
        name = baseTaken ? base + QLatin1String("#t") + QString::number(quintptr(thread), 16) : base;
        perThread.insert(thread, name);
        added = true;
    }
    if (added)
        hookThreadExit();
    return name;
}

void ThreadConnections::removeAll(const QString& base)
{
    QThread* self = QThread::currentThread();
    QHash<QThread*, QString> perThread;
    if (Registry* reg = registry()) {
        QMutexLocker locker(&reg->mutex);
        perThread = reg->names.take(base);
    }
    bool baseSeen = false;
    for (auto it = perThread.constBegin(); it != perThread.constEnd(); ++it) {
        dropConnection(it.value(), it.key() == self);
        baseSeen = baseSeen || it.value() == base;
    }
    // A connection registered before any thread asked for it (or by the caller).
    if (!baseSeen)
        dropConnection(base, true);
}

QStringList ThreadConnections::namesOf(const QString& base)
{
    QStringList result;
    if (Registry* reg = registry()) {
        QMutexLocker locker(&reg->mutex);
        result = reg->names.value(base).values();
    }
    result.sort();
    return result;
}

void ThreadConnections::markLost(const QString& name)
{
    if (Registry* reg = registry()) {
        QMutexLocker locker(&reg->mutex);
        reg->lost.insert(name);
    }
}

bool ThreadConnections::takeLost(const QString& name)
{
    Registry* reg = registry();
    if (!reg)
        return false;
    QMutexLocker locker(&reg->mutex);
    return reg->lost.remove(name);
}

void ThreadConnections::releaseCurrentThread()
{
    QThread* self = QThread::currentThread();
    QStringList mine;
    if (Registry* reg = registry()) {
        QMutexLocker locker(&reg->mutex);
        for (auto it = reg->names.begin(); it != reg->names.end();) {
            auto own = it.value().find(self);
            if (own != it.value().end()) {
                mine.append(own.value());
                it.value().erase(own);
            }
            it = it.value().isEmpty() ? reg->names.erase(it) : std::next(it);
        }
    }
    for (const QString& name : qAsConst(mine))
        dropConnection(name, true);
}

} // namespace Tessark
