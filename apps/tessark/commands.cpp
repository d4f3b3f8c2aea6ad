#include "commands.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include "cli.h"
#include "core/rules.h"
#include "sqlite/sqlitequery.h"
#include "resultformat.h"
#include "schema/modelgenerator.h"
#include "schema/sqlitecreator.h"
#include "schemajson.h"

namespace Cli {

namespace {

// A connection command's first argument.
void addConnection(CommandParser& parser)
{
    parser.addPositional(QStringLiteral("CONNECTION"), connectionHelp());
}

void finishConnectionParser(CommandParser& parser)
{
    parser.addTagOption();
    parser.addLogOption();
}

Connection connectionFrom(const CommandParser& parser)
{
    parser.setUpLog();
    return parseConnection(parser.positional().at(0), parser.value(QStringLiteral("tag")));
}

QString nonEmptySql(const CommandParser& parser, int index)
{
    const QString sql = parser.positional().at(index);
    if (sql.trimmed().isEmpty())
        usage(QStringLiteral("%1: the SQL statement is empty").arg(parser.command()));
    return sql;
}

// ---- gen-model ----------------------------------------------------------------

struct GeneratedColumn
{
    QString name;
    QString declaredType;
    QString qtType;
};

// The generator's own column rows, read here to say which columns it cannot type.
QList<GeneratedColumn> generatedColumns(Tessark::Backend& backend, const Connection& connection, const QString& table)
{
    const Tessark::ModelTraits& traits = *backend.rules().generator;
    const ErrorWatch watch(backend);
    const RowList rows = Tessark::generatorColumns(backend, table);
    if (rows.isEmpty()) {
        if (watch.failed())
            libraryFailure(watch, QStringLiteral("cannot read the columns of %1 in %2").arg(table, connection.display));
        if (!traits.commentProperty)
            fail(QStringLiteral("table %1 in %2 has no columns").arg(table, connection.display));
        const QStringList all = backend.catalogue().columns(table);
        fail(QStringLiteral("table %1 has no commented column, and the PostgreSQL generator writes only columns "
                            "with a comment; add them, e.g. comment on column %1.%2 is 'what it holds'")
                     .arg(table, all.value(0, QStringLiteral("COLUMN"))));
    }
    QList<GeneratedColumn> columns;
    for (const Row& row : rows) {
        GeneratedColumn column;
        column.name = row.value(QLatin1String(traits.nameProperty)).toString();
        column.declaredType = row.value(QStringLiteral("type")).toString();
        column.qtType = Tessark::columnType(traits, column.declaredType);
        columns.append(column);
    }
    return columns;
}

// Warns about what the class will lack; fails on a --key that is not a generated column.
void checkColumns(const QList<GeneratedColumn>& columns, const QStringList& allColumns, const QString& table,
                  const QString& key, const QString& header)
{
    QStringList generated;
    for (const GeneratedColumn& column : columns)
        generated.append(column.name);

    if (!key.isEmpty() && !generated.contains(key)) {
        for (const QString& name : qAsConst(generated)) {
            if (name.compare(key, Qt::CaseInsensitive) == 0)
                usage(QStringLiteral("gen-model: --key %1: the column is spelt \"%2\"").arg(key, name));
        }
        usage(QStringLiteral("gen-model: --key %1 is not a column of the class; its columns are %2")
                      .arg(key, generated.join(QStringLiteral(", "))));
    }

    QStringList uncommented;
    for (const QString& name : allColumns) {
        if (!generated.contains(name))
            uncommented.append(name);
    }
    if (!uncommented.isEmpty()) {
        warn(QStringLiteral("columns without a comment are left out of the class: %1 (the PostgreSQL generator "
                            "writes only commented columns; add one with: comment on column %2.%3 is '...')")
                     .arg(uncommented.join(QStringLiteral(", ")), table, uncommented.first()));
    }

    for (const GeneratedColumn& column : columns) {
        if (column.qtType.isEmpty()) {
            warn(QStringLiteral("column %1 (declared \"%2\") has no Qt type in the generator; write its type "
                                "into %3 before compiling it")
                         .arg(column.name, column.declaredType, header));
        }
    }
}

} // namespace

QString connectionHelp()
{
    return QStringLiteral("Database URL: sqlite:PATH, postgresql://USER@HOST:PORT/DB, mysql://USER@HOST:PORT/DB or "
                          "oracle://USER@HOST:PORT/SERVICE. The password comes from TESSARK_PASSWORD, or a prompt "
                          "when stdin is a terminal.");
}

int runTables(const QStringList& args)
{
    CommandParser parser(QStringLiteral("tables"), QStringLiteral("Lists the tables of a database, one per line."));
    addConnection(parser);
    finishConnectionParser(parser);
    parser.parse(args, 1, 1);
    const Connection connection = connectionFrom(parser);

    const auto backend = connect(connection);
    const ErrorWatch watch(*backend);
    const QStringList tables = backend->catalogue().tableNames();
    if (tables.isEmpty() && watch.failed())
        libraryFailure(watch, QStringLiteral("cannot list the tables of %1").arg(connection.display));
    for (const QString& table : tables)
        out() << table << '\n';
    return Success;
}

int runColumns(const QStringList& args)
{
    CommandParser parser(QStringLiteral("columns"),
                         QStringLiteral("Lists the columns of a table, one per line, as the library's catalogue "
                                        "query gives them (SQLite: the table's order; PostgreSQL: by "
                                        "name)."));
    addConnection(parser);
    parser.addPositional(QStringLiteral("TABLE"), QStringLiteral("Table name (case does not matter)."));
    finishConnectionParser(parser);
    parser.parse(args, 2, 2);
    const Connection connection = connectionFrom(parser);

    const auto backend = connect(connection);
    const QString table = requireTable(*backend, connection, parser.positional().at(1));
    const ErrorWatch watch(*backend);
    const QStringList columns = backend->catalogue().columns(table);
    if (columns.isEmpty()) {
        if (watch.failed())
            libraryFailure(watch, QStringLiteral("cannot read the columns of %1 in %2").arg(table, connection.display));
        fail(QStringLiteral("table %1 in %2 has no columns").arg(table, connection.display));
    }
    for (const QString& column : columns)
        out() << column << '\n';
    return Success;
}

int runQuery(const QStringList& args)
{
    CommandParser parser(
            QStringLiteral("query"),
            QStringLiteral("Runs one statement that returns rows and prints them. Columns appear in the order the "
                           "statement names them; those of a * in their table's order."));
    addConnection(parser);
    parser.addPositional(QStringLiteral("SQL"), QStringLiteral("The statement, quoted as one argument."));
    parser.addOption(QCommandLineOption(QStringLiteral("format"),
                                        QStringLiteral("table (aligned, for people), csv or json (for scripts)."),
                                        QStringLiteral("FORMAT"), QStringLiteral("table")));
    parser.addOption(QCommandLineOption(QStringLiteral("null"),
                                        QStringLiteral("How the table format shows NULL (default: NULL). CSV "
                                                       "writes NULL as an empty field and empty text as \"\"; "
                                                       "JSON as null."),
                                        QStringLiteral("TEXT"), QStringLiteral("NULL")));
    finishConnectionParser(parser);
    parser.parse(args, 2, 2);
    const QString format = parser.value(QStringLiteral("format"));
    if (format != QLatin1String("table") && format != QLatin1String("csv") && format != QLatin1String("json"))
        usage(QStringLiteral("query: unknown --format \"%1\"; use table, csv or json").arg(format));
    const QString sql = nonEmptySql(parser, 1);
    const Connection connection = connectionFrom(parser);

    const auto backend = connect(connection);
    const ErrorWatch watch(*backend);
    QStringList columns;
    const RowList rows = backend->persistence().Query(sql, &columns);
    if (watch.failed())
        libraryFailure(watch, QStringLiteral("query failed on %1").arg(connection.display));

    if (format == QLatin1String("json")) {
        writeJson(out(), rows);
        return Success;
    }
    if (format == QLatin1String("csv"))
        writeCsv(out(), columns, rows);
    else
        writeTable(out(), columns, rows, parser.value(QStringLiteral("null")));
    return Success;
}

int runExec(const QStringList& args)
{
    CommandParser parser(
            QStringLiteral("exec"),
            QStringLiteral("Runs one statement that returns no rows (create, insert, update, delete, ...) in a "
                           "transaction of its own, and prints OK."));
    addConnection(parser);
    parser.addPositional(QStringLiteral("SQL"), QStringLiteral("The statement, quoted as one argument."));
    finishConnectionParser(parser);
    parser.parse(args, 2, 2);
    const QString sql = nonEmptySql(parser, 1);
    const Connection connection = connectionFrom(parser);

    const auto backend = connect(connection);
    const ErrorWatch watch(*backend);
    if (!backend->persistence().ExecuteSQL(sql))
        libraryFailure(watch, QStringLiteral("statement failed on %1").arg(connection.display));
    out() << "OK\n";
    return Success;
}

int runCreateDb(const QStringList& args)
{
    CommandParser parser(QStringLiteral("create-db"),
                         QStringLiteral("Creates a SQLite database file from a JSON description of its tables, "
                                        "columns and indexes (format: docs/cli.md)."));
    parser.addPositional(QStringLiteral("SCHEMA.json"), QStringLiteral("The description."));
    parser.addPositional(QStringLiteral("DATABASE"),
                         QStringLiteral("The file to create (default: the description's \"database\", relative to "
                                        "the description)."),
                         QStringLiteral("[DATABASE]"));
    parser.addOption(QCommandLineOption(QStringLiteral("force"), QStringLiteral("Replace an existing file.")));
    parser.addLogOption();
    parser.parse(args, 1, 2);
    parser.setUpLog();

    const CreateDatabaseModel model = readSchema(parser.positional().at(0), parser.positional().value(1));
    const QFileInfo target(model.DatabasePath);
    if (target.isDir())
        usage(QStringLiteral("create-db: %1 is a folder; name the database file").arg(model.DatabasePath));
    if (target.exists() && !parser.isSet(QStringLiteral("force")))
        usage(QStringLiteral("create-db: %1 exists; pass --force to replace it").arg(model.DatabasePath));

    Connection connection;
    connection.info = ConnInfoModel(DbType(Kind::SQLite), model.DatabasePath, QStringLiteral("tessark-create"));
    connection.display = QStringLiteral("sqlite:") + model.DatabasePath;
    requireDriver(connection);

    SQLiteQuery query;
    const ErrorWatch creating(query);
    const bool created = query.CreateDatabase(model);
    if (!QFileInfo(model.DatabasePath).isFile()) {
        libraryFailure(creating, QStringLiteral("create-db: could not create %1").arg(model.DatabasePath),
                       QStringLiteral("check that its folder is writable"));
    }

    // The library reports only its last statement: check every table and index.
    const auto backend = connect(connection);
    Tessark::Persistence& db = backend->persistence();
    const QStringList tables = backend->catalogue().tableNames();
    QStringList indexes;
    for (const Row& row : db.Query(QStringLiteral("select name from sqlite_master where type = 'index'")))
        indexes.append(row.value(QStringLiteral("name")).toString());
    for (const TableInfoModel& table : model.Tables) {
        if (!tables.contains(table.TableName, Qt::CaseInsensitive)) {
            // EXPLAIN compiles the statement without running it: SQLite says what is wrong.
            const ErrorWatch watch(*backend);
            db.Query(QStringLiteral("explain ") + Tessark::createTableSql(table));
            libraryFailure(watch, QStringLiteral("create-db: table %1 was not created").arg(table.TableName),
                           QStringLiteral("rename what SQLite objects to (an SQL keyword needs another name)"));
        }
        if (!table.IndexName.isEmpty() && !indexes.contains(table.IndexName, Qt::CaseInsensitive)) {
            const ErrorWatch watch(*backend);
            db.Query(QStringLiteral("explain ") + Tessark::createIndexSql(table));
            libraryFailure(watch, QStringLiteral("create-db: index %1 on %2 was not created")
                                          .arg(table.IndexName, table.TableName));
        }
    }
    if (!created) {
        fail(QStringLiteral("create-db: the library reported a failure creating %1, although every table is there")
                     .arg(model.DatabasePath));
    }

    QStringList summary;
    for (const TableInfoModel& table : model.Tables)
        summary.append(QStringLiteral("%1 (%2 columns)").arg(table.TableName).arg(table.Columns.size()));
    out() << "created " << QDir::toNativeSeparators(model.DatabasePath) << ": " << summary.join(QStringLiteral(", "))
          << '\n';
    return Success;
}

int runGenModel(const QStringList& args)
{
    CommandParser parser(
            QStringLiteral("gen-model"),
            QStringLiteral("Generates a record class (an ObjectModel subclass) for a table: <out>/<class>.h, and "
                           "<out>/<class>.cpp with --stream. SQLite and PostgreSQL; PostgreSQL columns need a "
                           "comment to be included."));
    addConnection(parser);
    parser.addPositional(QStringLiteral("TABLE"), QStringLiteral("Table name (case does not matter)."));
    parser.addOption(QCommandLineOption(QStringLiteral("class"), QStringLiteral("Class name (a C++ identifier)."),
                                        QStringLiteral("NAME")));
    parser.addOption(QCommandLineOption(QStringLiteral("out"),
                                        QStringLiteral("Folder for the files (created when missing)."),
                                        QStringLiteral("DIR")));
    parser.addOption(QCommandLineOption(QStringLiteral("key"),
                                        QStringLiteral("Key column: sets the class's Key (needed to update and "
                                                       "delete records) and its operator==."),
                                        QStringLiteral("COLUMN")));
    parser.addOption(QCommandLineOption(QStringLiteral("stream"),
                                        QStringLiteral("Also write QDataStream operators (in <class>.cpp).")));
    finishConnectionParser(parser);
    parser.parse(args, 2, 2);

    const QString className = parser.value(QStringLiteral("class"));
    const QString folder = parser.value(QStringLiteral("out"));
    if (className.isEmpty())
        usage(QStringLiteral("gen-model: --class NAME is missing"));
    static const QRegularExpression identifier(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    if (!identifier.match(className).hasMatch())
        usage(QStringLiteral("gen-model: --class %1 is not a C++ identifier").arg(className));
    if (folder.isEmpty())
        usage(QStringLiteral("gen-model: --out DIR is missing"));
    const QString key = parser.value(QStringLiteral("key"));
    const Connection connection = connectionFrom(parser);
    if (!Tessark::rulesFor(connection.info.Type)->generator) {
        usage(QStringLiteral("gen-model: record classes are generated from SQLite and PostgreSQL tables, "
                             "not from %1")
                      .arg(connection.display));
    }
    const QString outDir = QFileInfo(folder).absoluteFilePath();
    const QString header = QDir(outDir).filePath(className.toLower() + QStringLiteral(".h"));
    const QString source = QDir(outDir).filePath(className.toLower() + QStringLiteral(".cpp"));
    const bool withStream = parser.isSet(QStringLiteral("stream"));

    const auto backend = connect(connection);
    const QString table = requireTable(*backend, connection, parser.positional().at(1));
    checkColumns(generatedColumns(*backend, connection, table), backend->catalogue().columns(table), table, key,
                 header);
    if (!QDir().mkpath(outDir))
        usage(QStringLiteral("gen-model: cannot create the folder %1").arg(outDir));
    const ErrorWatch watch(*backend);
    if (!Tessark::createModel(*backend, outDir, {table, key, className, withStream}))
        libraryFailure(watch, QStringLiteral("generating %1 from table %2 failed").arg(className, table));

    const QStringList written = withStream ? QStringList{header, source} : QStringList{header};
    for (const QString& file : written) {
        if (!QFileInfo(file).isFile())
            fail(QStringLiteral("gen-model: %1 was not written; check that the folder is writable").arg(file));
        out() << "wrote " << QDir::toNativeSeparators(file) << '\n';
    }
    if (key.isEmpty()) {
        out() << "note: no --key, so " << className << " has no Key; pass --key COLUMN to update and delete "
              << "its records by key\n";
    }
    return Success;
}

} // namespace Cli
