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

ModelText modelText(const QList<ObjectModel*>& records, const ModelTraits& traits,
                    const ModelRequest& request, const QDate& date)
{
    const QString& className = request.className;
    const QString upper = className.toUpper();

    QList<Column> columns;
    for (const ObjectModel* record : records)
        columns.append(describe(record, traits));

    QString header;
    header += QStringLiteral("#ifndef %1_H\n").arg(upper);
    header += QStringLiteral("#define %1_H\n\n").arg(upper);
    header += QStringLiteral("#include <QObject>\n");
    header += QStringLiteral("#include <QDateTime>\n");
    header += QStringLiteral("#include <QDataStream>\n");
    header += QStringLiteral("#include \"Model/objectmodel.h\"\n");
    header += QStringLiteral("#include \"brelvan_global.h\"\n\n");
    header += QStringLiteral("/**\n");
    header += QStringLiteral("* @projectName   %1\n").arg(QLatin1String(traits.projectName));
    header += QStringLiteral("* @brief         \n");
    header += QStringLiteral("* @author        Morvane\n");
    header += QStringLiteral("* @date          %1\n").arg(date.toString(QStringLiteral("yyyy-MM-dd")));
    header += QStringLiteral("*/\n");
    header += QStringLiteral("struct BRELVANSHARED_EXPORT %1 : public ObjectModel\n").arg(className);
    header += QStringLiteral("{\n");
    header += QStringLiteral("    Q_OBJECT\n\n");
    header += QStringLiteral("private:\n");
    for (const Column& c : columns) {
        header += QStringLiteral("    Q_PROPERTY(%1 %2 READ get%2 WRITE set%2)\n").arg(c.type, c.name);
        header += QStringLiteral("    inline %1 get%2(){ return %2;}\n").arg(c.type, c.name);
        header += QStringLiteral("    inline void set%2(%1 value){ %2 = value;}\n\n").arg(c.type, c.name);
    }
    header += QStringLiteral("public:\n");

    QString source;
    QString read;
    QString write;
    if (request.withStream) {
        header += QStringLiteral("    friend Q_DECL_EXPORT QDataStream& operator>>(QDataStream&, %1&);\n")
                      .arg(className);
        header += QStringLiteral("    friend Q_DECL_EXPORT QDataStream& operator<<(QDataStream&, %1&);\n\n")
                      .arg(className);
        source = QStringLiteral("#include \"%1.h\"\n\n").arg(className.toLower());
        read = QStringLiteral("QDataStream& operator>>(QDataStream& src, %1& data)\n{\n").arg(className)
               + QStringLiteral("    src >> ");
        write = QStringLiteral("QDataStream& operator<<(QDataStream& out, %1& data)\n{\n").arg(className)
                + QStringLiteral("    out << ");
    }

    bool first = true;
    for (const Column& c : columns) {
        header += QStringLiteral("    /**\n");
        header += QStringLiteral("    * @brief         %1\n").arg(c.comment);
        header += QStringLiteral("    */\n");
        if (zeroInitialised(c.type))
            header += QStringLiteral("    %1 %2 = 0;\n\n").arg(c.type, c.name);
        else
            header += QStringLiteral("    %1 %2;\n\n").arg(c.type, c.name);
        if (request.withStream) {
            // Later operands line up under the first one.
            const QString indent = first ? QString() : QStringLiteral("           ");
            read += indent + QStringLiteral("data.%1 >>\n").arg(c.name);
            write += indent + QStringLiteral("data.%1 <<\n").arg(c.name);
        }
        first = false;
    }

    if (request.withStream) {
        read.chop(4);
        read += QStringLiteral(";\n\n    return src;\n}\n\n");
        write.chop(4);
        write += QStringLiteral(";\n\n    return out;\n}\n");
        source += read + write;
    }

    if (!request.keyName.isEmpty()) {
        header += QStringLiteral("    friend bool operator == (const %1 &lhs, const %1 &rhs)\n").arg(className);
        header += QStringLiteral("    {\n");
        header += QStringLiteral("        return (lhs.%1 == rhs.%1);\n").arg(request.keyName);
        header += QStringLiteral("    }\n\n");
        header += QStringLiteral("   explicit %1(){TableName = \"%2\"; Key = \"%3\";}\n")
                      .arg(className, request.tableName, request.keyName);
    } else {
        header += QStringLiteral("   explicit %1(){TableName = \"%2\";}\n").arg(className, request.tableName);
    }
    header += QStringLiteral("   ~%1(){}\n};\n\n").arg(className);
    header += QStringLiteral("#endif // %1_H").arg(upper);

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
