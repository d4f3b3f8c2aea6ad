#ifndef TESSARK_CORE_TRACING_H
#define TESSARK_CORE_TRACING_H

#include "brelvan_global.h"

/// @file
/// Statement tracing through Qt's logging categories. Both are off until
/// QT_LOGGING_RULES (or QLoggingCategory::setFilterRules()) turns them on:
/// - `tessark.sql` (debug): every statement with the connection's sign, the
///   thread, the duration and the rows affected or returned;
/// - `tessark.sql.slow` (warning): statements slower than the threshold.
///
/// The daily log file stays the channel for errors.

namespace Tessark {

/// Sets how many milliseconds a statement may take before `tessark.sql.slow`
/// reports it. The threshold starts from the TESSARK_SLOW_MS environment
/// variable, else 100; a negative value restores that start.
BRELVANSHARED_EXPORT void setSlowStatementThreshold(int milliseconds);
/// The threshold in milliseconds that `tessark.sql.slow` applies.
BRELVANSHARED_EXPORT int slowStatementThreshold();

} // namespace Tessark

#endif // TESSARK_CORE_TRACING_H
