#ifndef TESSARK_CORE_QTCOMPAT_P_H
#define TESSARK_CORE_QTCOMPAT_P_H

// The few places where Qt 5 and Qt 6 offer no common form.

#include <QTextStream>
#include <QVariant>
#include <QtGlobal>

namespace Tessark {

// Qt 6 streams are UTF-8 unless told otherwise; Qt 5 streams follow the locale.
inline void useUtf8(QTextStream& stream)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    stream.setCodec("UTF-8");
#else
    stream.setEncoding(QStringConverter::Utf8);
#endif
}

// A null value of a type, as Qt's drivers give a NULL.
inline QVariant typedNull(int type)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    return QVariant(QVariant::Type(type));
#else
    return QVariant(QMetaType(type));
#endif
}

} // namespace Tessark

#endif // TESSARK_CORE_QTCOMPAT_P_H
