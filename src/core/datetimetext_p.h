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

// The same texts appended between single quotes, for the values whose text
// is plain ASCII digits and separators (most of them); false, with nothing
// appended, for the others.
bool appendQuotedDateTimeText(QString& sql, const QDateTime& value, bool milliseconds);
bool appendQuotedIsoDateTimeText(QString& sql, const QDateTime& value);

} // namespace Tessark

#endif // TESSARK_CORE_DATETIMETEXT_P_H
