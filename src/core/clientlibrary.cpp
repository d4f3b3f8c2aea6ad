#include "core/clientlibrary_p.h"

#include <QByteArray>
#include <QHash>
#include <QPair>
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
    // Looked up once per driver class: some are asked for on every write.
    static std::mutex mutex;
    static QHash<QPair<const void*, QByteArray>, void*> functions;
    const void* vtable = *reinterpret_cast<const void* const*>(driver);
    {
        const std::lock_guard<std::mutex> locker(mutex);
        const auto it = functions.constFind(qMakePair(vtable, QByteArray::fromRawData(name, int(qstrlen(name)))));
        if (it != functions.constEnd())
            return it.value();
    }
    // Searches the plugin first, then the libraries it links.
    void* object = objectOf(driver);
    void* found = object ? dlsym(object, name) : nullptr;
    const std::lock_guard<std::mutex> locker(mutex);
    functions.insert(qMakePair(vtable, QByteArray(name)), found);
    return found;
#else
    Q_UNUSED(name);
    return nullptr;
#endif
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
