#include "schemajson.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>

#include "cli.h"
#include "schema/sqlitecreator.h"

namespace Cli {

namespace {

// Every Qt type name worth suggesting; the library decides which it knows.
const char* const qtTypeNames[] = {"int",  "short",  "long",   "qint16", "qint32",    "qint64",
                                   "uint", "ushort", "ulong",  "quint16", "quint32",  "quint64",
                                   "qlonglong", "qulonglong", "float", "double", "QString", "QDateTime",
                                   "QByteArray"};

class Reader
{
public:
    explicit Reader(const QString& fileName) : m_file(fileName) {}

    [[noreturn]] void bad(const QString& where, const QString& what) const
    {
        usage(QStringLiteral("%1: %2%3").arg(m_file, where.isEmpty() ? QString() : where + QStringLiteral(": "),
                                               what));
    }

    void onlyKeys(const QJsonObject& object, const QString& where, const QStringList& keys) const
    {
        for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
            if (!keys.contains(it.key())) {
                bad(where, QStringLiteral("unknown key \"%1\"; the keys here are %2")
                                   .arg(it.key(), keys.join(QStringLiteral(", "))));
            }
        }
    }

    QString string(const QJsonObject& object, const QString& where, const QString& key, bool required) const
    {
        const QJsonValue value = object.value(key);
        if (value.isUndefined()) {
            if (required)
                bad(where, QStringLiteral("\"%1\" is missing").arg(key));
            return QString();
        }
        if (!value.isString() || value.toString().isEmpty())
            bad(where, QStringLiteral("\"%1\" must be a non-empty string").arg(key));
        return value.toString();
    }

    QString name(const QJsonObject& object, const QString& where, const QString& key, bool required) const
    {
        static const QRegularExpression plain(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
        const QString value = string(object, where, key, required);
        if (!value.isEmpty() && !plain.match(value).hasMatch()) {
            bad(where, QStringLiteral("\"%1\" is not a plain SQL name (letters, digits and _, not starting "
                                      "with a digit)")
                               .arg(value));
        }
        return value;
    }

    bool flag(const QJsonObject& object, const QString& where, const QString& key) const
    {
        const QJsonValue value = object.value(key);
        if (value.isUndefined())
            return false;
        if (!value.isBool())
            bad(where, QStringLiteral("\"%1\" must be true or false").arg(key));
        return value.toBool();
    }

    QJsonArray array(const QJsonObject& object, const QString& where, const QString& key) const
    {
        const QJsonValue value = object.value(key);
        if (value.isUndefined())
            bad(where, QStringLiteral("\"%1\" is missing").arg(key));
        if (!value.isArray() || value.toArray().isEmpty())
            bad(where, QStringLiteral("\"%1\" must be a non-empty array").arg(key));
        return value.toArray();
    }

    QJsonObject object(const QJsonValue& value, const QString& where) const
    {
        if (!value.isObject())
            bad(where, QStringLiteral("must be an object {...}"));
        return value.toObject();
    }

private:
    QString m_file;
};

QString unknownType(const QString& given)
{
    QStringList known;
    QString suggestion;
    for (const char* name : qtTypeNames) {
        const QString candidate = QLatin1String(name);
        if (sqliteTypeOf(candidate).isEmpty())
            continue;
        known.append(candidate);
        if (candidate.compare(given, Qt::CaseInsensitive) == 0)
            suggestion = candidate;
    }
    if (!suggestion.isEmpty())
        return QStringLiteral("unknown type \"%1\"; did you mean \"%2\"?").arg(given, suggestion);
    return QStringLiteral("unknown type \"%1\"; use a Qt type name: %2").arg(given, known.join(QStringLiteral(", ")));
}

ColumnInfoModel readColumn(const Reader& reader, const QJsonValue& value, const QString& where)
{
    const QJsonObject object = reader.object(value, where);
    reader.onlyKeys(object, where,
                    {QStringLiteral("name"), QStringLiteral("type"), QStringLiteral("primaryKey"),
                     QStringLiteral("autoIncrement"), QStringLiteral("index"), QStringLiteral("descending")});
    ColumnInfoModel column;
    column.Name = reader.name(object, where, QStringLiteral("name"), true);
    column.Type = reader.string(object, where, QStringLiteral("type"), true);
    column.IsPrimaryKey = reader.flag(object, where, QStringLiteral("primaryKey"));
    column.IsAutoIncrement = reader.flag(object, where, QStringLiteral("autoIncrement"));
    column.IsIndex = reader.flag(object, where, QStringLiteral("index"));
    column.IsDesc = reader.flag(object, where, QStringLiteral("descending")) ? 1 : 0;

    const QString sqlType = sqliteTypeOf(column.Type);
    if (sqlType.isEmpty())
        reader.bad(where, unknownType(column.Type));
    // SQLite allows AUTOINCREMENT only on an INTEGER PRIMARY KEY.
    if (column.IsAutoIncrement && (!column.IsPrimaryKey || sqlType != QLatin1String("INTEGER")))
        reader.bad(where, QStringLiteral("\"autoIncrement\" needs \"primaryKey\": true and an integer type such as int"));
    if (column.IsDesc && !column.IsIndex)
        reader.bad(where, QStringLiteral("\"descending\" orders an index; add \"index\": true"));
    return column;
}

TableInfoModel readTable(const Reader& reader, const QJsonValue& value, const QString& where)
{
    const QJsonObject object = reader.object(value, where);
    reader.onlyKeys(object, where, {QStringLiteral("name"), QStringLiteral("index"), QStringLiteral("columns")});
    TableInfoModel table;
    table.TableName = reader.name(object, where, QStringLiteral("name"), true);
    table.IndexName = reader.name(object, where, QStringLiteral("index"), false);

    const QJsonArray columns = reader.array(object, where, QStringLiteral("columns"));
    QSet<QString> names;
    bool primaryKey = false;
    bool indexed = false;
    for (int i = 0; i < columns.size(); ++i) {
        const QString place = QStringLiteral("%1.columns[%2]").arg(where).arg(i);
        const ColumnInfoModel column = readColumn(reader, columns.at(i), place);
        // SQLite names are case-insensitive.
        if (names.contains(column.Name.toLower()))
            reader.bad(place, QStringLiteral("a second column named \"%1\"").arg(column.Name));
        names.insert(column.Name.toLower());
        if (column.IsPrimaryKey && primaryKey)
            reader.bad(place, QStringLiteral("a second \"primaryKey\"; a table has one key column"));
        primaryKey = primaryKey || column.IsPrimaryKey;
        indexed = indexed || column.IsIndex;
        table.Columns.append(column);
    }
    // The library writes one index per table, over its indexed columns.
    if (indexed && table.IndexName.isEmpty())
        table.IndexName = table.TableName + QStringLiteral("_index");
    if (!indexed && !table.IndexName.isEmpty())
        reader.bad(where, QStringLiteral("\"index\" names an index over no column; mark its columns with \"index\": true"));
    return table;
}

QString position(const QByteArray& json, int offset)
{
    const QByteArray before = json.left(offset);
    const int line = before.count('\n') + 1;
    const int column = offset - (before.lastIndexOf('\n') + 1) + 1;
    return QStringLiteral("%1:%2").arg(line).arg(column);
}

} // namespace

QString sqliteTypeOf(const QString& qtType)
{
    // The library's own type table decides: a one-column table reads
    // "create table t(c TYPE  )", with nothing in TYPE's place when it has none.
    TableInfoModel probe;
    probe.TableName = QStringLiteral("t");
    ColumnInfoModel column;
    column.Name = QStringLiteral("c");
    column.Type = qtType;
    probe.Columns.append(column);
    const QString head = QStringLiteral("create table t(c ");
    const QString sql = Tessark::createTableSql(probe);
    return sql.startsWith(head) ? sql.mid(head.size()).section(QLatin1Char(' '), 0, 0) : QString();
}

CreateDatabaseModel schemaFromJson(const QByteArray& json, const QString& fileName, const QString& database)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        usage(QStringLiteral("%1:%2: bad JSON: %3").arg(fileName, position(json, error.offset), error.errorString()));
    }
    const Reader reader(fileName);
    if (!document.isObject())
        reader.bad(QString(), QStringLiteral("the description must be a JSON object {\"database\": ..., \"tables\": [...]}"));
    const QJsonObject root = document.object();
    reader.onlyKeys(root, QStringLiteral("top level"), {QStringLiteral("database"), QStringLiteral("tables")});

    CreateDatabaseModel model;
    QString path = database;
    if (path.isEmpty()) {
        path = reader.string(root, QStringLiteral("top level"), QStringLiteral("database"), false);
        if (path.isEmpty())
            reader.bad(QString(), QStringLiteral("no \"database\" path; add one or name the file after SCHEMA.json"));
        // A path in the description is relative to the description.
        path = QFileInfo(fileName).absoluteDir().absoluteFilePath(path);
    }
    model.DatabasePath = QFileInfo(path).absoluteFilePath();

    const QJsonArray tables = reader.array(root, QStringLiteral("top level"), QStringLiteral("tables"));
    QSet<QString> tableNames;
    QSet<QString> indexNames;
    for (int i = 0; i < tables.size(); ++i) {
        const QString place = QStringLiteral("tables[%1]").arg(i);
        const TableInfoModel table = readTable(reader, tables.at(i), place);
        if (tableNames.contains(table.TableName.toLower()))
            reader.bad(place, QStringLiteral("a second table named \"%1\"").arg(table.TableName));
        tableNames.insert(table.TableName.toLower());
        if (!table.IndexName.isEmpty()) {
            if (indexNames.contains(table.IndexName.toLower()))
                reader.bad(place, QStringLiteral("index name \"%1\" is used twice; index names are unique in a "
                                                 "database").arg(table.IndexName));
            indexNames.insert(table.IndexName.toLower());
        }
        model.Tables.append(table);
    }
    return model;
}

CreateDatabaseModel readSchema(const QString& fileName, const QString& database)
{
    QFile file(fileName);
    if (!QFileInfo(fileName).isFile())
        usage(QStringLiteral("no such file %1; create-db reads a JSON description (docs/cli.md)")
                      .arg(QFileInfo(fileName).absoluteFilePath()));
    if (!file.open(QIODevice::ReadOnly))
        usage(QStringLiteral("cannot read %1: %2").arg(fileName, file.errorString()));
    return schemaFromJson(file.readAll(), fileName, database);
}

} // namespace Cli
