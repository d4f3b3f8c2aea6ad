#include "schema/modelgenerator.h"

#include <QDir>
#include <QFile>
#include <QMetaProperty>
#include <QTextStream>

#include "core/backend.h"
#include "core/qtcompat_p.h"
#include "core/rules.h"

namespace Tessark {

namespace {

// "Summary" in Chinese: the comment of every SQLite column, which has no comment of its own.
const QString& summaryWord()
{
    static const QString word = QString::fromUtf8("\xE6\x91\x98\xE8\xA6\x81");
    return word;
}

// Numeric members start at zero; text, date-time and unmapped ones stay default-constructed.
bool zeroInitialised(const QString& type)
{
    static const QStringList numeric = {QStringLiteral("int"),    QStringLiteral("short"),
                                        QStringLiteral("float"),  QStringLiteral("double"),
                                        QStringLiteral("long"),   QStringLiteral("qint64")};
    return numeric.contains(type);
}

struct Column
{
    QString name;
    QString type;
    QString comment;
};

Column describe(const ObjectModel* record, const ModelTraits& traits)
{
    Column column;
    column.name = record->property(traits.nameProperty).toString();
    column.type = columnType(traits, record->property("type").toString());
    column.comment = traits.commentProperty ? record->property(traits.commentProperty).toString()
                                            : summaryWord();
    return column;
}

void writeFile(const QString& path, const QString& text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return;
    QTextStream stream(&file);
    Tessark::useUtf8(stream);
    stream << text;
}

} // namespace

QString columnType(const ModelTraits& traits, const QString& declaredType)
{
    const QString type = traits.lowerCaseTypes ? declaredType.toLower() : declaredType;
    for (const TypeRule* rule = traits.typeRules; rule->substring; ++rule) {
        if (type.contains(QLatin1String(rule->substring)))
            return QLatin1String(rule->qtType);
    }
    return QString();
}

void fillFromRow(QObject* record, const Row& row)
{
    const QMetaObject* meta = record->metaObject();
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        const QString name = QString::fromLatin1(property.name()).toLower();
        QString found;
        bool matched = false;
        for (auto it = row.constBegin(); it != row.constEnd(); ++it) {
            if (it.key().toLower() == name) {
                found = it.key();
                matched = true;
            }
        }
        if (matched)
            property.write(record, row.value(found));
    }
}

namespace {

// Include guard, includes, the doc comment and the class head.
QString headerOpening(const QString& className, const ModelTraits& traits, const QDate& date)
{
    const QString upper = className.toUpper();
    QString text;
    text += QStringLiteral("#ifndef %1_H\n").arg(upper);
    text += QStringLiteral("#define %1_H\n\n").arg(upper);
    text += QStringLiteral("#include <QObject>\n");
    text += QStringLiteral("#include <QDateTime>\n");
    text += QStringLiteral("#include <QDataStream>\n");
    text += QStringLiteral("#include \"Model/objectmodel.h\"\n");
    text += QStringLiteral("#include \"brelvan_global.h\"\n\n");
    text += QStringLiteral("/**\n");
    text += QStringLiteral("* @projectName   %1\n").arg(QLatin1String(traits.projectName));
    text += QStringLiteral("* @brief         \n");
    text += QStringLiteral("* @author        Morvane\n");
    text += QStringLiteral("* @date          %1\n").arg(date.toString(QStringLiteral("yyyy-MM-dd")));
    text += QStringLiteral("*/\n");
    text += QStringLiteral("struct BRELVANSHARED_EXPORT %1 : public ObjectModel\n").arg(className);
    text += QStringLiteral("{\n");
    text += QStringLiteral("    Q_OBJECT\n\n");
    return text;
}

// One property with its private getter and setter per column.
QString properties(const QList<Column>& columns)
{
    QString text = QStringLiteral("private:\n");
    for (const Column& c : columns) {
        text += QStringLiteral("    Q_PROPERTY(%1 %2 READ get%2 WRITE set%2)\n").arg(c.type, c.name);
        text += QStringLiteral("    inline %1 get%2(){ return %2;}\n").arg(c.type, c.name);
        text += QStringLiteral("    inline void set%2(%1 value){ %2 = value;}\n\n").arg(c.type, c.name);
    }
    return text;
}

// One documented public field per column.
QString fields(const QList<Column>& columns)
{
    QString text;
    for (const Column& c : columns) {
        text += QStringLiteral("    /**\n");
        text += QStringLiteral("    * @brief         %1\n").arg(c.comment);
        text += QStringLiteral("    */\n");
        if (zeroInitialised(c.type))
            text += QStringLiteral("    %1 %2 = 0;\n\n").arg(c.type, c.name);
        else
            text += QStringLiteral("    %1 %2;\n\n").arg(c.type, c.name);
    }
    return text;
}

// One stream operator over every column; later operands line up under the first.
QString streamOperator(const QString& className, const QList<Column>& columns, const char* op, const char* stream,
                       bool reads)
{
    QString text = QStringLiteral("QDataStream& operator%1(QDataStream& %2, %3& data)\n{\n")
                       .arg(QLatin1String(op), QLatin1String(stream), className)
                   + QStringLiteral("    %1 %2 ").arg(QLatin1String(stream), QLatin1String(op));
    bool first = true;
    for (const Column& c : columns) {
        text += (first ? QString() : QStringLiteral("           ")) + QStringLiteral("data.%1 %2\n").arg(c.name, QLatin1String(op));
        first = false;
    }
    text.chop(4);
    text += QStringLiteral(";\n\n    return %1;\n}\n").arg(QLatin1String(stream));
    return reads ? text + QLatin1Char('\n') : text;
}

// operator== on the key (with a key), the constructor naming table and key, the end.
QString headerClosing(const ModelRequest& request)
{
    const QString& className = request.className;
    QString text;
    if (!request.keyName.isEmpty()) {
        text += QStringLiteral("    friend bool operator == (const %1 &lhs, const %1 &rhs)\n").arg(className);
        text += QStringLiteral("    {\n");
        text += QStringLiteral("        return (lhs.%1 == rhs.%1);\n").arg(request.keyName);
        text += QStringLiteral("    }\n\n");
        text += QStringLiteral("   explicit %1(){TableName = \"%2\"; Key = \"%3\";}\n")
                    .arg(className, request.tableName, request.keyName);
    } else {
        text += QStringLiteral("   explicit %1(){TableName = \"%2\";}\n").arg(className, request.tableName);
    }
    text += QStringLiteral("   ~%1(){}\n};\n\n").arg(className);
    text += QStringLiteral("#endif // %1_H").arg(className.toUpper());
    return text;
}

} // namespace

ModelText modelText(const QList<ObjectModel*>& records, const ModelTraits& traits,
                    const ModelRequest& request, const QDate& date)
{
    const QString& className = request.className;
    QList<Column> columns;
    for (const ObjectModel* record : records)
        columns.append(describe(record, traits));

    QString header = headerOpening(className, traits, date) + properties(columns) + QStringLiteral("public:\n");
    QString source;
    if (request.withStream) {
        header += QStringLiteral("    friend Q_DECL_EXPORT QDataStream& operator>>(QDataStream&, %1&);\n")
                      .arg(className);
        header += QStringLiteral("    friend Q_DECL_EXPORT QDataStream& operator<<(QDataStream&, %1&);\n\n")
                      .arg(className);
        source = QStringLiteral("#include \"%1.h\"\n\n").arg(className.toLower())
                 + streamOperator(className, columns, ">>", "src", true)
                 + streamOperator(className, columns, "<<", "out", false);
    }
    header += fields(columns) + headerClosing(request);
    return {header, source};
}

void writeModelFiles(const ModelText& text, const QString& folder, const QString& className)
{
    const QString base = folder + QLatin1Char('/') + className.toLower();
    writeFile(base + QStringLiteral(".h"), text.header);
    if (!text.source.isEmpty())
        writeFile(base + QStringLiteral(".cpp"), text.source);
}

RowList generatorColumns(Backend& backend, const QString& tableName)
{
    const ModelTraits* traits = backend.rules().generator;
    if (!traits)
        return RowList();
    return backend.catalogue().read(traits->columnSql(backend.dialect(), tableName));
}

bool createModel(Backend& backend, const QString& folder, const ModelRequest& request, const QDate& date)
{
    const ModelTraits* traits = backend.rules().generator;
    const RowList rows = generatorColumns(backend, request.tableName);
    if (!traits || rows.isEmpty() || !QDir(folder).exists())
        return false;
    const QList<ObjectModel*> columns = traits->records(rows);
    const ModelText text = modelText(columns, *traits, request, date);
    qDeleteAll(columns);
    writeModelFiles(text, folder, request.className);
    return true;
}

} // namespace Tessark
