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

} // namespace

QString dateTimeText(const QDateTime& value, bool milliseconds)
{
    if (value.isValid()) {
        int year;
        int month;
        int day;
        value.date().getDate(&year, &month, &day);
        // Other years have signs or other widths; leave them to Qt.
        if (year >= 1000 && year <= 9999 && asciiDigits()) {
            const QTime time = value.time();
            QString text(milliseconds ? 23 : 19, Qt::Uninitialized);
            QChar* p = digits(text.data(), year, 4);
            *p++ = QLatin1Char('-');
            p = digits(p, month, 2);
            *p++ = QLatin1Char('-');
            p = digits(p, day, 2);
            *p++ = QLatin1Char(' ');
            p = digits(p, time.hour(), 2);
            *p++ = QLatin1Char(':');
            p = digits(p, time.minute(), 2);
            *p++ = QLatin1Char(':');
            p = digits(p, time.second(), 2);
            if (milliseconds) {
                *p++ = QLatin1Char('.');
                digits(p, time.msec(), 3);
            }
            return text;
        }
    }
    return value.toString(milliseconds ? QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")
                                       : QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

} // namespace Tessark
