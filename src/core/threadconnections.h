#ifndef TESSARK_CORE_THREADCONNECTIONS_H
#define TESSARK_CORE_THREADCONNECTIONS_H

#include <QString>
#include <QStringList>

#include "brelvan_global.h"

namespace Tessark {

// Qt hands a named connection only to the thread that created it. The first
// thread to use a base name gets exactly that name; every other thread gets a
// twin of its own ("<base>#t<id>"), removed when that thread finishes.
class BRELVANSHARED_EXPORT ThreadConnections
{
public:
    // The connection name the calling thread uses for base.
    static QString nameForCurrentThread(const QString& base);

    // Closes and unregisters base and all of its twins, in whatever thread they live.
    static void removeAll(const QString& base);

    // Names currently handed out for base (base itself and twins); for diagnostics and tests.
    static QStringList namesOf(const QString& base);

    // A connection whose session died is reopened by the next call that uses it.
    static void markLost(const QString& name);
    static bool takeLost(const QString& name);

    // Closes and unregisters every connection the calling thread was handed.
    static void releaseCurrentThread();
};

} // namespace Tessark

#endif // TESSARK_CORE_THREADCONNECTIONS_H
