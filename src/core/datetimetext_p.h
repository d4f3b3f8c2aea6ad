#ifndef TESSARK_CORE_DATETIMETEXT_P_H
#define TESSARK_CORE_DATETIMETEXT_P_H

#include <QDateTime>
#include <QString>

namespace Tessark {

// value.toString("yyyy-MM-dd HH:mm:ss.zzz") (or without ".zzz"), character
// for character, without parsing the format for every value of a batch.
QString dateTimeText(const QDateTime& value, bool milliseconds);

// value.toString(Qt::ISODateWithMs), which is also what a date-time variant's
// toString() gives, character for character.
QString isoDateTimeText(const QDateTime& value);

} // namespace Tessark

#endif // TESSARK_CORE_DATETIMETEXT_P_H
