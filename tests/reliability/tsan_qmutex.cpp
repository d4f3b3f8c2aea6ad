// ThreadSanitizer builds only (TESSARK_TSAN). Debian's Qt is built without
// ThreadSanitizer, and QMutex locks and unlocks inside libQt5Core with futexes
// the sanitizer cannot see: every access guarded by a QMutex would be
// reported as a race. This library, linked into the test executables ahead of
// Qt, defines QMutex's out-of-line lock, tryLock and unlock: each calls Qt's
// own and tells ThreadSanitizer what happened through its mutex annotations.
// Recursive mutexes (Qt uses a few inside) are passed through unannotated.
#include <QMutex>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

#include <cstdio>
#include <cstdlib>

namespace {

// Qt's definition: the next one after this library in the lookup order.
template <class Function>
Function qtFunction(const char* symbol)
{
    void* address = dlsym(RTLD_NEXT, symbol);
    if (!address) {
        std::fprintf(stderr, "tsan_qmutex: %s not found after this library\n", symbol);
        std::abort();
    }
    return reinterpret_cast<Function>(address);
}

using Lock = void (*)(QMutex*);
using TryLock = bool (*)(QMutex*, int);
using Unlock = void (*)(QMutex*);

} // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const Lock qtLock = qtFunction<Lock>("_ZN6QMutex4lockEv");
    if (isRecursive())
        return qtLock(this);
    __tsan_mutex_pre_lock(this, 0);
    qtLock(this);
    __tsan_mutex_post_lock(this, 0, 0);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static const TryLock qtTryLock = qtFunction<TryLock>("_ZN6QMutex7tryLockEi");
    if (isRecursive())
        return qtTryLock(this, timeout);
    __tsan_mutex_pre_lock(this, __tsan_mutex_try_lock);
    const bool locked = qtTryLock(this, timeout);
    __tsan_mutex_post_lock(this, __tsan_mutex_try_lock | (locked ? 0 : __tsan_mutex_try_lock_failed), 0);
    return locked;
}

void QMutex::unlock() noexcept
{
    static const Unlock qtUnlock = qtFunction<Unlock>("_ZN6QMutex6unlockEv");
    if (isRecursive())
        return qtUnlock(this);
    __tsan_mutex_pre_unlock(this, 0);
    qtUnlock(this);
    __tsan_mutex_post_unlock(this, 0);
}
