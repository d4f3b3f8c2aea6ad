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
#include "handle/extendhandle.h"
#include "sqlite/sqlitequery.h"

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
    [[noreturn]] void failed(const ErrorWatch& watch, const QString& what) const
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
    const ErrorWatch watch(probe);
    QStringList tables = probe.GetTableNames();
    tables.removeAll(QStringLiteral("sqlite_sequence"));
    if (watch.failed() || tables != QStringList{demoTable}) {
        usage(QStringLiteral("demo: %1 exists and is not a demo database; the demo replaces its file, so pass "
                             "another --db FILE")
                      .arg(path));
    }
}

// The demo's steps, one method each, sharing one handle and the records it stored.
class Demo
{
public:
    Demo(const QString& dbPath, const QString& genFolder) : m_dbPath(dbPath), m_genFolder(genFolder) {}

    void run(const QString& logFolder)
    {
        out() << "Tessark demo: one SQLite file, driven through ExtendHandle\n\n";
        m_steps.print(QStringLiteral("log folder"),
                      {QDir::toNativeSeparators(logFolder),
                       QStringLiteral("the library's error channel: one file a day, yyyy-MM-dd.log")});
        createDatabase();
        connectHandle();
        insert();
        update();
        pageCountDelete();
        logFailure();
        generate();
    }

private:
    void createDatabase()
    {
        const CreateDatabaseModel model = demoDatabase(m_dbPath);
        SQLiteQuery creator;
        const ErrorWatch watch(creator);
        if (!creator.CreateDatabase(model))
            m_steps.failed(watch, QStringLiteral("SQLiteQuery::CreateDatabase(%1)").arg(m_dbPath));
        m_steps.print(QStringLiteral("create database"),
                      {QDir::toNativeSeparators(m_dbPath) + QStringLiteral(" (SQLiteQuery::CreateDatabase)"),
                       describe(model.Tables.first())});
    }

    // One handle for everything that follows.
    void connectHandle()
    {
        m_handle.InitInfo(ConnInfoModel(DbType(Kind::SQLite), m_dbPath, QStringLiteral("demo")));
        const ErrorWatch watch(m_handle);
        if (!m_handle.InitConnect())
            m_steps.failed(watch, QStringLiteral("InitConnect()"));
        m_steps.print(QStringLiteral("connect"),
                      {QStringLiteral("ExtendHandle, kind %1 (SQLite), tag \"demo\": InitConnect() -> true")
                               .arg(m_handle.GetType())});
    }

    // Records in, keys back.
    void insert()
    {
        const struct { const char* title; const char* author; double price; } rows[] = {
            {"Dune", "Frank Herbert", 9.5}, {"Emma", "Jane Austen", 7.25}, {"Ulysses", "James Joyce", 12.0}};
        QStringList inserted;
        for (const auto& row : rows) {
            auto book = std::make_unique<DemoBook>();
            book->title = QLatin1String(row.title);
            book->author = QLatin1String(row.author);
            book->price = row.price;
            book->added = QDateTime::currentDateTime();
            const ErrorWatch watch(m_handle);
            if (!m_handle.Insert(book.get(), true) || book->id <= 0)
                m_steps.failed(watch, QStringLiteral("Insert(\"%1\", generated key)").arg(book->title));
            inserted.append(QStringLiteral("id %1 \"%2\"").arg(book->id).arg(book->title));
            m_books.push_back(std::move(book));
        }
        m_steps.print(QStringLiteral("insert"), {QStringLiteral("Insert(record, true) x %1, keys read back: %2")
                                                         .arg(m_books.size())
                                                         .arg(inserted.join(QStringLiteral(", ")))});
    }

    // Change one record and read the column back.
    void update()
    {
        DemoBook& emma = *m_books.at(1);
        const double oldPrice = emma.price;
        emma.price = 6.5;
        const ErrorWatch watch(m_handle);
        if (!m_handle.Update(&emma))
            m_steps.failed(watch, QStringLiteral("Update(id %1)").arg(emma.id));
        const Row row = m_handle.QueryFirst(QStringLiteral("select price from book where id = %1").arg(emma.id));
        if (row.value(QStringLiteral("price")).toDouble() != emma.price)
            m_steps.failed(watch, QStringLiteral("reading back the price of id %1").arg(emma.id));
        m_steps.print(QStringLiteral("update"),
                      {QStringLiteral("Update(record): id %1 \"%2\" price %3 -> %4, read back %4")
                               .arg(emma.id)
                               .arg(emma.title)
                               .arg(oldPrice)
                               .arg(emma.price)});
    }

    // Pages of two; count, delete, count again.
    void pageCountDelete()
    {
        DemoBook shape;
        const ErrorWatch watch(m_handle);
        const RowList first = m_handle.Query(0, 2, &shape);
        const RowList second = m_handle.Query(2, 2, &shape);
        if (first.size() != 2 || second.size() != 1)
            m_steps.failed(watch, QStringLiteral("Query(offset, count): pages of %1 and %2 rows, expected 2 and 1")
                                          .arg(first.size())
                                          .arg(second.size()));
        m_steps.print(QStringLiteral("page"),
                      {QStringLiteral("Query(0, 2, record) -> ids %1; Query(2, 2, record) -> id %2")
                               .arg(ids(first), ids(second))});

        const QString countSql = QStringLiteral("select count(*) from book");
        const int before = m_handle.QueryRow(countSql);
        if (before != int(m_books.size()))
            m_steps.failed(watch, QStringLiteral("QueryRow counted %1 rows, expected %2").arg(before).arg(m_books.size()));
        m_steps.print(QStringLiteral("count"), {QStringLiteral("QueryRow(\"%1\") -> %2").arg(countSql).arg(before)});

        const DemoBook& dune = *m_books.front();
        if (!m_handle.Delete(QStringLiteral("id"), dune.id, &shape))
            m_steps.failed(watch, QStringLiteral("Delete(id %1)").arg(dune.id));
        const int after = m_handle.QueryRow(countSql);
        if (after != before - 1)
            m_steps.failed(watch, QStringLiteral("%1 rows left after the delete, expected %2").arg(after).arg(before - 1));
        m_steps.print(QStringLiteral("delete"), {QStringLiteral("Delete(\"id\", %1, record) -> true; %2 rows left")
                                                         .arg(dune.id)
                                                         .arg(after)});
    }

    // A failure goes to the log, with the driver's own words.
    void logFailure()
    {
        const ErrorWatch watch(m_handle);
        const QString bad = QStringLiteral("insert into no_such_table values (1)");
        if (m_handle.ExecuteSQL(bad) || watch.driverText().isEmpty())
            m_steps.failed(watch, QStringLiteral("a failing statement was not reported"));
        m_steps.print(QStringLiteral("log a failure"),
                      {QStringLiteral("ExecuteSQL(\"%1\") -> false, on purpose").arg(bad),
                       QStringLiteral("the log's new entry says: %1").arg(watch.driverText())});
    }

    // The record class for the table, as gen-model writes it.
    void generate()
    {
        const QString header = QDir(m_genFolder).filePath(QStringLiteral("book.h"));
        const QString source = QDir(m_genFolder).filePath(QStringLiteral("book.cpp"));
        if (!QDir().mkpath(m_genFolder))
            usage(QStringLiteral("demo: cannot create the folder %1; pass --out DIR").arg(m_genFolder));
        SQLiteQuery generator;
        generator.InitInfo(m_dbPath, QStringLiteral("demo-gen"));
        const ErrorWatch watch(generator);
        if (!generator.CreateModel(demoTable, QStringLiteral("id"), m_genFolder, QStringLiteral("Book"), true)
            || !QFileInfo(header).isFile() || !QFileInfo(source).isFile())
            m_steps.failed(watch, QStringLiteral("SQLiteQuery::CreateModel(book)"));
        QStringList generated = {
            QStringLiteral("SQLiteQuery::CreateModel(\"book\", \"id\", ..., \"Book\", true) wrote"),
            QDir::toNativeSeparators(header), QDir::toNativeSeparators(source)};
        QFile text(header);
        if (text.open(QIODevice::ReadOnly)) {
            for (const QString& line : QString::fromUtf8(text.readAll()).split(QLatin1Char('\n'))) {
                if (line.contains(QLatin1String("Q_PROPERTY")))
                    generated.append(QStringLiteral("  ") + line.trimmed());
            }
        }
        m_steps.print(QStringLiteral("generate"), generated);
    }

    const QString m_dbPath;
    const QString m_genFolder;
    Steps m_steps;
    ExtendHandle m_handle;
    std::vector<std::unique_ptr<DemoBook>> m_books;
};

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
    connection.info = ConnInfoModel(DbType(Kind::SQLite), dbPath, QStringLiteral("demo"));
    connection.display = QStringLiteral("sqlite:") + dbPath;
    requireDriver(connection);
    checkReplaceable(dbPath);

    Demo(dbPath, genFolder).run(logFolder);

    out() << "\nDone.\n"
          << "  database     " << QDir::toNativeSeparators(dbPath) << '\n'
          << "  log folder   " << QDir::toNativeSeparators(logFolder) << '\n'
          << "  record class " << QDir::toNativeSeparators(genFolder) << '\n'
          << "Next, on this file or one of your own:\n"
          << "  tessark query " << connection.display << " \"select * from book\"\n"
          << "  tessark gen-model " << connection.display << " book --class Book --key id --out DIR\n";
    return Success;
}

} // namespace Cli
