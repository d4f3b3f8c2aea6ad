#ifndef TESSARK_TOOL_TESSARKCLOCK_P_H
#define TESSARK_TOOL_TESSARKCLOCK_P_H

// Internal header, not part of the installed API.

#include <QDateTime>

#include "brelvan_global.h"

// The local clock that WriteLog reads for the file name and the stamp.
// Tests replace it to write entries on either side of midnight without waiting.
class BRELVANSHARED_EXPORT TessarkClock
{
public:
    using Source = QDateTime (*)();

    // A null source restores the system clock. The source is called while
    // the log lock is held, once per entry.
    static void setSource(Source source);
    static QDateTime now();
};

#endif // TESSARK_TOOL_TESSARKCLOCK_P_H
