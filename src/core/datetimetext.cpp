#include "core/datetimetext_p.h"

#include <QLocale>

namespace Tessark {
namespace {

// Qt 5 writes a format's numbers in the system locale's digits, Qt 6 always
// in ASCII ones; the short way below writes ASCII only.
bool asciiDigits()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    return QLocale::system().zeroDigit() == QLatin1Char('0');
#else
    return true;
#endif
}

QChar* digits(QChar* out, int value, int width)
{
    for (int i = width - 1; i >= 0; --i) {
        out[i] = QLatin1Char(char('0' + value % 10));
        value /= 10;
    }
    return out + width;
}

constexpr int textLength(bool milliseconds)
{
    return milliseconds ? 23 : 19;
}

// Writes "yyyy-MM-dd<separator>HH:mm:ss[.zzz]" in ASCII digits at out (room
// for textLength(milliseconds) characters). False, with nothing written, for
// the years whose text Qt writes with a sign or another width.
bool writeText(QChar* out, const QDateTime& value, QChar separator, bool milliseconds)
{
    int year;
    int month;
    int day;
    value.date().getDate(&year, &month, &day);
    if (year < 1000 || year > 9999)
        return false;
    const QTime time = value.time();
    QChar* p = digits(out, year, 4);
    *p++ = QLatin1Char('-');
    p = digits(p, month, 2);
    *p++ = QLatin1Char('-');
    p = digits(p, day, 2);
    *p++ = separator;
    p = digits(p, time.hour(), 2);
    *p++ = QLatin1Char(':');
    p = digits(p, time.minute(), 2);
    *p++ = QLatin1Char(':');
    p = digits(p, time.second(), 2);
    if (milliseconds) {
        *p++ = QLatin1Char('.');
        digits(p, time.msec(), 3);
    }
    return true;
}

bool plainText(const QDateTime& value)
{
    return value.isValid() && asciiDigits();
}

// ISO text is ASCII in every locale; other time specs append their offset.
bool plainIsoText(const QDateTime& value)
{
    return value.isValid() && value.timeSpec() == Qt::LocalTime;
}

bool appendQuoted(QString& sql, const QDateTime& value, QChar separator, bool milliseconds)
{
    const int at = sql.size();
    sql.resize(at + textLength(milliseconds) + 2);
    QChar* out = sql.data() + at;
    if (!writeText(out + 1, value, separator, milliseconds)) {
        sql.truncate(at);
        return false;
    }
    out[0] = QLatin1Char('\'');
    out[textLength(milliseconds) + 1] = QLatin1Char('\'');
    return true;
}

} // namespace

QString dateTimeText(const QDateTime& value, bool milliseconds)
{
    if (plainText(value)) {
        QString text(textLength(milliseconds), Qt::Uninitialized);
        if (writeText(text.data(), value, QLatin1Char(' '), milliseconds))
            return text;
    }
    return value.toString(milliseconds ? QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")
                                       : QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

QString isoDateTimeText(const QDateTime& value)
{
    if (plainIsoText(value)) {
        QString text(textLength(true), Qt::Uninitialized);
        if (writeText(text.data(), value, QLatin1Char('T'), true))
            return text;
    }
    return value.toString(Qt::ISODateWithMs);
}

bool appendQuotedDateTimeText(QString& sql, const QDateTime& value, bool milliseconds)
{
    return plainText(value) && appendQuoted(sql, value, QLatin1Char(' '), milliseconds);
}

bool appendQuotedIsoDateTimeText(QString& sql, const QDateTime& value)
{
    return plainIsoText(value) && appendQuoted(sql, value, QLatin1Char('T'), true);
}

} // namespace Tessark
