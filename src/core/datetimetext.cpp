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

// "yyyy-MM-dd<separator>HH:mm:ss[.zzz]" in ASCII digits; false for the years
// whose text Qt writes with a sign or another width.
bool writeText(const QDateTime& value, QChar separator, bool milliseconds, QString& text)
{
    int year;
    int month;
    int day;
    value.date().getDate(&year, &month, &day);
    if (year < 1000 || year > 9999)
        return false;
    const QTime time = value.time();
    text = QString(milliseconds ? 23 : 19, Qt::Uninitialized);
    QChar* p = digits(text.data(), year, 4);
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

} // namespace

QString dateTimeText(const QDateTime& value, bool milliseconds)
{
    QString text;
    if (value.isValid() && asciiDigits() && writeText(value, QLatin1Char(' '), milliseconds, text))
        return text;
    return value.toString(milliseconds ? QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")
                                       : QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

// ISO text is ASCII in every locale; other time specs append their offset.
QString isoDateTimeText(const QDateTime& value)
{
    QString text;
    if (value.isValid() && value.timeSpec() == Qt::LocalTime && writeText(value, QLatin1Char('T'), true, text))
        return text;
    return value.toString(Qt::ISODateWithMs);
}

} // namespace Tessark
