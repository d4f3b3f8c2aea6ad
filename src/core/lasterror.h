#ifndef TESSARK_CORE_LASTERROR_H
#define TESSARK_CORE_LASTERROR_H

#include <QString>

namespace Tessark {

/// The last failure a connection logged, kept in memory too, so that a caller
/// can tell what failed without reading the log back.
struct LastError
{
    quint64 serial = 0; ///< counts failures; unchanged means nothing failed since
    QString message; ///< the operation's message, as logged
    QString driverText; ///< the driver's (or the library's) reason after it
};

} // namespace Tessark

#endif // TESSARK_CORE_LASTERROR_H
