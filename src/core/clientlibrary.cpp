#include "core/clientlibrary_p.h"

#include <QHash>
#include <QSqlDriver>
#include <QVariant>

#include <mutex>

#if defined(Q_OS_UNIX)
#include <dlfcn.h>
#endif

namespace Tessark {
namespace ClientLibrary {
namespace {

#if defined(Q_OS_UNIX)
// The loaded object that holds driver's class, kept open for the process: the
// plugin holds the client library, and the functions handed out must outlive
// any one driver.
void* objectOf(const QSqlDriver* driver)
{
    static std::mutex mutex; // std, not Qt: ThreadSanitizer sees through its waits
    static QHash<const void*, void*> objects; // by vtable: one per driver class
    const void* vtable = *reinterpret_cast<const void* const*>(driver);
    const std::lock_guard<std::mutex> locker(mutex);
    auto it = objects.constFind(vtable);
    if (it != objects.constEnd())
        return it.value();
    void* object = nullptr;
    Dl_info info;
    if (dladdr(vtable, &info) && info.dli_fname)
        object = dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    objects.insert(vtable, object);
    return object;
}
#endif

} // namespace

void* function(const QSqlDriver* driver, const char* name)
{
    if (!driver)
        return nullptr;
#if defined(Q_OS_UNIX)
    // Searches the plugin first, then the libraries it links.
    if (void* object = objectOf(driver))
        return dlsym(object, name);
#else
    Q_UNUSED(name);
#endif
    return nullptr;
}

void* handle(const QSqlDriver* driver)
{
    if (!driver || !driver->isOpen())
        return nullptr;
    // The first handle() registers its type with Qt under a lock ThreadSanitizer
    // cannot see; one of ours makes that hand-over between threads visible.
    static std::mutex mutex;
    const std::lock_guard<std::mutex> locker(mutex);
    const QVariant value = driver->handle();
    if (!value.isValid() || !value.constData())
        return nullptr;
    return *static_cast<void* const*>(value.constData());
}

} // namespace ClientLibrary
} // namespace Tessark
