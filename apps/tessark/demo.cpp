// tessark demo: the library's main job on an embedded SQLite file, one
// printed step at a time. Every step checks its own result: the demo exits 1
// at the first one that does not do what it says.

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <memory>

#include "cli.h"
#include "commands.h"
#include "demobook.h"

namespace Cli {

namespace {

const QString demoTable = QStringLiteral("book");

// The built-in description: what a create-db JSON file says, as the library's records.
CreateDatabaseModel demoDatabase(const QString& path)
{
    auto column = [](const char* name, const char* type) {
        ColumnInfoModel c;
        c.Name = QLatin1String(name);
        c.Type = QLatin1String(type);
        return c;
    };
    TableInfoModel book;
    book.TableName = demoTable;
    book.IndexName = QStringLiteral("book_by_author");
    ColumnInfoModel id = column("id", "int");
    id.IsPrimaryKey = true;
    id.IsAutoIncrement = true;
    ColumnInfoModel author = column("author", "QString");
    author.IsIndex = true;
    book.Columns = {id, column("title", "QString"), author, column("price", "double"), column("added", "QDateTime")};

    CreateDatabaseModel model;
    model.DatabasePath = path;
    model.Tables = {book};
    return model;
}

QString describe(const TableInfoModel& table)
{
    QStringList columns;
    for (const ColumnInfoModel& c : table.Columns) {
        QString text = c.Name + QLatin1Char(' ') + c.Type;
        if (c.IsPrimaryKey)
            text += QStringLiteral(" primary key");
        if (c.IsAutoIncrement)
            text += QStringLiteral(" auto-increment");
        if (c.IsIndex)
            text += QStringLiteral(" indexed (%1)").arg(table.IndexName);
        columns.append(text);
    }
    return QStringLiteral("%1(%2)").arg(table.TableName, columns.join(QStringLiteral(", ")));
}

class Steps
{
public:
    // Prints "NN. title  first line" and further lines under the first.
    void print(const QString& title, const QStringList& lines)
    {
        ++m_number;
        const QString head = QStringLiteral("%1. %2").arg(m_number, 2).arg(title.leftJustified(18));
        const QString indent(head.size() + 1, QLatin1Char(' '));
        for (int i = 0; i < lines.size(); ++i)
            out() << (i == 0 ? head + QLatin1Char(' ') : indent) << lines.at(i) << '\n';
        out().flush();
    }

    // Ends the demo at a step that went wrong.
    [[noreturn]] void failed(const LogWatch& watch, const QString& what) const
    {
        libraryFailure(watch, QStringLiteral("demo step %1 failed: %2").arg(m_number + 1).arg(what));
    }

private:
    int m_number = 0;
};

QString ids(const RowList& rows)
{
    QStringList list;
    for (const Row& row : rows)
        list.append(row.value(QStringLiteral("id")).toString());
    return list.join(QStringLiteral(", "));
}

// An existing file is replaced only when it is an earlier demo database (or empty).
void checkReplaceable(const QString& path)
{
    const QFileInfo file(path);
    if (!file.exists())
        return;
    if (!file.isFile())
        usage(QStringLiteral("demo: %1 is not a file; pass --db FILE").arg(path));
    if (file.size() == 0)
        return;
    SQLiteQuery probe;
    probe.InitInfo(path, QStringLiteral("tessark-demo-check"));
    const LogWatch watch;
    QStringList tables = probe.GetTableNames();
    tables.removeAll(QStringLiteral("sqlite_sequence"));
    if (!watch.lastMessage().isEmpty() || tables != QStringList{demoTable}) {
        usage(QStringLiteral("demo: %1 exists and is not a demo database; the demo replaces its file, so pass "
                             "another --db FILE")
                      .arg(path));
    }
}

} // namespace

int runDemo(const QStringList& args)
{
    CommandParser parser(QStringLiteral("demo"),
                         QStringLiteral("Runs the library on an embedded SQLite file and prints each step: creates "
                                        "the database from a built-in description, inserts records with generated "
                                        "keys through ExtendHandle, updates, pages, counts and deletes, logs a "
                                        "failure on purpose and generates the table's record class."));
    parser.addOption(QCommandLineOption(QStringLiteral("db"),
                                        QStringLiteral("Database file, replaced on every run (default: %1).")
                                                .arg(QDir::toNativeSeparators(defaultDataFolder()
                                                                              + QStringLiteral("/demo/demo.db"))),
                                        QStringLiteral("FILE")));
    parser.addOption(QCommandLineOption(QStringLiteral("out"),
                                        QStringLiteral("Folder for the generated record class (default: "
                                                       "\"generated\" next to the database)."),
                                        QStringLiteral("DIR")));
    parser.addLogOption();
    parser.parse(args, 0, 0);

    const QString logFolder = parser.setUpLog();
    const QString dbPath = QFileInfo(parser.isSet(QStringLiteral("db"))
                                             ? parser.value(QStringLiteral("db"))
                                             : defaultDataFolder() + QStringLiteral("/demo/demo.db"))
                                   .absoluteFilePath();
    const QString genFolder = parser.isSet(QStringLiteral("out"))
                                      ? QFileInfo(parser.value(QStringLiteral("out"))).absoluteFilePath()
                                      : QFileInfo(dbPath).absoluteDir().filePath(QStringLiteral("generated"));
    Connection connection;
    connection.info = ConnInfoModel(SQLite, dbPath, QStringLiteral("demo"));
    connection.display = QStringLiteral("sqlite:") + dbPath;
    requireDriver(connection);
    checkReplaceable(dbPath);

    out() << "Tessark demo: one SQLite file, driven through ExtendHandle\n\n";
    Steps steps;
    steps.print(QStringLiteral("log folder"),
                {QDir::toNativeSeparators(logFolder),
                 QStringLiteral("the library's error channel: failures are written to %1")
                         .arg(QFileInfo(todayLogFile()).fileName())});

    // 2. The database from its description.
    const CreateDatabaseModel model = demoDatabase(dbPath);
    {
        SQLiteQuery creator;
        const LogWatch watch;
        if (!creator.CreateDatabase(model))
            steps.failed(watch, QStringLiteral("SQLiteQuery::CreateDatabase(%1)").arg(dbPath));
    }
    steps.print(QStringLiteral("create database"),
                {QDir::toNativeSeparators(dbPath) + QStringLiteral(" (SQLiteQuery::CreateDatabase)"),
                 describe(model.Tables.first())});

    // 3. One handle for everything that follows.
    ExtendHandle handle;
    connect(handle, connection);
    steps.print(QStringLiteral("connect"),
                {QStringLiteral("ExtendHandle, kind %1 (SQLite), tag \"demo\": InitConnect() -> true")
                         .arg(handle.GetType())});

    // 4. Records in, keys back.
    const QList<QPair<QString, QString>> titles = {{QStringLiteral("Dune"), QStringLiteral("Frank Herbert")},
                                                   {QStringLiteral("Emma"), QStringLiteral("Jane Austen")},
                                                   {QStringLiteral("Ulysses"), QStringLiteral("James Joyce")}};
    const double prices[] = {9.5, 7.25, 12.0};
    std::vector<std::unique_ptr<DemoBook>> books;
    QStringList inserted;
    for (int i = 0; i < titles.size(); ++i) {
        auto book = std::make_unique<DemoBook>();
        book->title = titles.at(i).first;
        book->author = titles.at(i).second;
        book->price = prices[i];
        book->added = QDateTime::currentDateTime();
        const LogWatch watch;
        if (!handle.Insert(book.get(), true) || book->id <= 0)
            steps.failed(watch, QStringLiteral("Insert(\"%1\", generated key)").arg(book->title));
        inserted.append(QStringLiteral("id %1 \"%2\"").arg(book->id).arg(book->title));
        books.push_back(std::move(book));
    }
    steps.print(QStringLiteral("insert"),
                {QStringLiteral("Insert(record, true) x %1, keys read back: %2")
                         .arg(books.size())
                         .arg(inserted.join(QStringLiteral(", ")))});

    // 5. Change one record and read the column back.
    DemoBook& emma = *books.at(1);
    const double oldPrice = emma.price;
    emma.price = 6.5;
    {
        const LogWatch watch;
        if (!handle.Update(&emma))
            steps.failed(watch, QStringLiteral("Update(id %1)").arg(emma.id));
        const Row row = handle.QueryFirst(QStringLiteral("select price from book where id = %1").arg(emma.id));
        if (row.value(QStringLiteral("price")).toDouble() != emma.price)
            steps.failed(watch, QStringLiteral("reading back the price of id %1").arg(emma.id));
    }
    steps.print(QStringLiteral("update"), {QStringLiteral("Update(record): id %1 \"%2\" price %3 -> %4, read back %4")
                                                   .arg(emma.id)
                                                   .arg(emma.title)
                                                   .arg(oldPrice)
                                                   .arg(emma.price)});

    // 6. Pages of two.
    DemoBook shape;
    const LogWatch pageWatch;
    const RowList first = handle.Query(0, 2, &shape);
    const RowList second = handle.Query(2, 2, &shape);
    if (first.size() != 2 || second.size() != 1)
        steps.failed(pageWatch, QStringLiteral("Query(offset, count): pages of %1 and %2 rows, expected 2 and 1")
                                        .arg(first.size())
                                        .arg(second.size()));
    steps.print(QStringLiteral("page"), {QStringLiteral("Query(0, 2, record) -> ids %1; Query(2, 2, record) -> id %2")
                                                 .arg(ids(first), ids(second))});

    // 7 and 8. Count, delete, count again.
    const QString countSql = QStringLiteral("select count(*) from book");
    const int before = handle.QueryRow(countSql);
    if (before != int(books.size()))
        steps.failed(pageWatch, QStringLiteral("QueryRow counted %1 rows, expected %2").arg(before).arg(books.size()));
    steps.print(QStringLiteral("count"), {QStringLiteral("QueryRow(\"%1\") -> %2").arg(countSql).arg(before)});

    const DemoBook& dune = *books.front();
    {
        const LogWatch watch;
        if (!handle.Delete(QStringLiteral("id"), dune.id, &shape))
            steps.failed(watch, QStringLiteral("Delete(id %1)").arg(dune.id));
    }
    const int after = handle.QueryRow(countSql);
    if (after != before - 1)
        steps.failed(pageWatch, QStringLiteral("%1 rows left after the delete, expected %2").arg(after).arg(before - 1));
    steps.print(QStringLiteral("delete"), {QStringLiteral("Delete(\"id\", %1, record) -> true; %2 rows left")
                                                   .arg(dune.id)
                                                   .arg(after)});

    // 9. A failure goes to the log, with the driver's own words.
    {
        const LogWatch watch;
        const QString bad = QStringLiteral("insert into no_such_table values (1)");
        if (handle.ExecuteSQL(bad) || watch.driverText().isEmpty())
            steps.failed(watch, QStringLiteral("a failing statement was not reported"));
        steps.print(QStringLiteral("log a failure"),
                    {QStringLiteral("ExecuteSQL(\"%1\") -> false, on purpose").arg(bad),
                     QStringLiteral("the log's new entry says: %1").arg(watch.driverText())});
    }

    // 10. The record class for the table, as gen-model writes it.
    const QString header = QDir(genFolder).filePath(QStringLiteral("book.h"));
    const QString source = QDir(genFolder).filePath(QStringLiteral("book.cpp"));
    {
        if (!QDir().mkpath(genFolder))
            usage(QStringLiteral("demo: cannot create the folder %1; pass --out DIR").arg(genFolder));
        SQLiteQuery generator;
        generator.InitInfo(dbPath, QStringLiteral("demo-gen"));
        const LogWatch watch;
        if (!generator.CreateModel(demoTable, QStringLiteral("id"), genFolder, QStringLiteral("Book"), true)
            || !QFileInfo(header).isFile() || !QFileInfo(source).isFile())
            steps.failed(watch, QStringLiteral("SQLiteQuery::CreateModel(book)"));
    }
    QStringList generated = {QStringLiteral("SQLiteQuery::CreateModel(\"book\", \"id\", ..., \"Book\", true) wrote"),
                             QDir::toNativeSeparators(header), QDir::toNativeSeparators(source)};
    QFile text(header);
    if (text.open(QIODevice::ReadOnly)) {
        for (const QString& line : QString::fromUtf8(text.readAll()).split(QLatin1Char('\n'))) {
            if (line.contains(QLatin1String("Q_PROPERTY")))
                generated.append(QStringLiteral("  ") + line.trimmed());
        }
    }
    steps.print(QStringLiteral("generate"), generated);

    out() << "\nDone.\n"
          << "  database     " << QDir::toNativeSeparators(dbPath) << '\n'
          << "  log          " << QDir::toNativeSeparators(todayLogFile()) << '\n'
          << "  record class " << QDir::toNativeSeparators(genFolder) << '\n'
          << "Next, on this file or one of your own:\n"
          << "  tessark query " << connection.display << " \"select * from book\"\n"
          << "  tessark gen-model " << connection.display << " book --class Book --key id --out DIR\n";
    return Success;
}

} // namespace Cli
