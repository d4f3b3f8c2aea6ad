#include "resultformat.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace Cli {

namespace {

bool isNumber(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Float:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

// A non-NULL value as text, the same in every format.
QString text(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::QByteArray:
        return QStringLiteral("0x") + QString::fromLatin1(value.toByteArray().toHex());
    case QMetaType::QDateTime:
        return value.toDateTime().toString(Qt::ISODateWithMs);
    case QMetaType::QDate:
        return value.toDate().toString(Qt::ISODate);
    case QMetaType::QTime:
        return value.toTime().toString(Qt::ISODateWithMs);
    default:
        return value.toString();
    }
}

QString escapeForTable(QString value)
{
    value.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    value.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    value.replace(QLatin1Char('\r'), QLatin1String("\\r"));
    value.replace(QLatin1Char('\t'), QLatin1String("\\t"));
    return value;
}

QString csvField(const QString& value)
{
    static const QRegularExpression special(QStringLiteral("[\",\\r\\n]|^\\s|\\s$"));
    if (!value.isEmpty() && !special.match(value).hasMatch())
        return value;
    QString quoted = value;
    quoted.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QJsonValue jsonValue(const QVariant& value)
{
    if (value.isNull())
        return QJsonValue::Null;
    // Integers beyond a double's exact range stay exact as text.
    const qint64 exact = qint64(1) << 53;
    switch (value.userType()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
        if (std::llabs(value.toLongLong()) <= exact)
            return double(value.toLongLong());
        return value.toString();
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        if (value.toULongLong() <= quint64(exact))
            return double(value.toULongLong());
        return value.toString();
    case QMetaType::Float:
    case QMetaType::Double:
        if (std::isfinite(value.toDouble()))
            return value.toDouble();
        return value.toString();
    default:
        return text(value);
    }
}

} // namespace

void writeTable(QTextStream& out, const QStringList& columns, const RowList& rows, const QString& nullText)
{
    QVector<int> width(columns.size());
    QVector<bool> numeric(columns.size(), true);
    QVector<QStringList> cells;
    cells.reserve(rows.size());
    for (int c = 0; c < columns.size(); ++c)
        width[c] = columns.at(c).size();
    for (const Row& row : rows) {
        QStringList line;
        for (int c = 0; c < columns.size(); ++c) {
            const QVariant value = row.value(columns.at(c));
            const QString shown = value.isNull() ? nullText : escapeForTable(text(value));
            if (!value.isNull() && !isNumber(value))
                numeric[c] = false;
            width[c] = std::max(width[c], int(shown.size()));
            line.append(shown);
        }
        cells.append(line);
    }

    auto writeLine = [&](const QStringList& line, bool heading) {
        QString text;
        for (int c = 0; c < columns.size(); ++c) {
            if (c > 0)
                text += QStringLiteral(" | ");
            const bool right = numeric[c] && !heading;
            text += right ? line.at(c).rightJustified(width[c]) : line.at(c).leftJustified(width[c]);
        }
        // No trailing blanks after the last column.
        while (text.endsWith(QLatin1Char(' ')))
            text.chop(1);
        out << text << '\n';
    };

    if (!columns.isEmpty()) {
        writeLine(columns, true);
        QString rule;
        for (int c = 0; c < columns.size(); ++c) {
            if (c > 0)
                rule += QStringLiteral("-+-");
            rule += QString(width[c], QLatin1Char('-'));
        }
        out << rule << '\n';
        for (const QStringList& line : qAsConst(cells))
            writeLine(line, false);
    }
    out << '(' << rows.size() << (rows.size() == 1 ? " row)" : " rows)") << '\n';
}

void writeCsv(QTextStream& out, const QStringList& columns, const RowList& rows)
{
    if (rows.isEmpty())
        return;
    QStringList heading;
    for (const QString& column : columns)
        heading.append(csvField(column));
    out << heading.join(QLatin1Char(',')) << '\n';
    for (const Row& row : rows) {
        QStringList fields;
        for (const QString& column : columns) {
            const QVariant value = row.value(column);
            fields.append(value.isNull() ? QString() : csvField(text(value)));
        }
        out << fields.join(QLatin1Char(',')) << '\n';
    }
}

void writeJson(QTextStream& out, const RowList& rows)
{
    QJsonArray array;
    for (const Row& row : rows) {
        QJsonObject object;
        for (auto it = row.constBegin(); it != row.constEnd(); ++it)
            object.insert(it.key(), jsonValue(it.value()));
        array.append(object);
    }
    out << QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented));
}

} // namespace Cli
