#include "cli.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QStandardPaths>

#include <iostream>
#include <string>

#include <termios.h>
#include <unistd.h>

#include "connectionurl.h"
#include "core/rules.h"
#include "tool/tessarktool.h"

namespace Cli {

namespace {

QTextStream& utf8(QTextStream& stream)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    stream.setCodec("UTF-8"); // Qt 5 streams follow the locale
#endif
    return stream;
}

QString readPassword(const QString& who)
{
    err() << "Password for " << who << ": ";
    err().flush();
    termios saved;
    const bool terminal = tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        termios silent = saved;
        silent.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    std::string line;
    std::getline(std::cin, line);
    if (terminal)
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    err() << '\n';
    err().flush();
    return QString::fromStdString(line);
}

// The password for a server URL; never waits on a stdin that is not a terminal.
QString password(const ConnectionUrl::Parsed& parsed, const QString& who)
{
    if (parsed.passwordInUrl) {
        warn(QStringLiteral("a password in the URL is visible to other users (process list, shell history); "
                            "set TESSARK_PASSWORD instead"));
        return parsed.info.Password;
    }
    if (qEnvironmentVariableIsSet("TESSARK_PASSWORD"))
        return qEnvironmentVariable("TESSARK_PASSWORD");
    if (isatty(STDIN_FILENO))
        return readPassword(who);
    return QString();
}

} // namespace

void fail(const QString& message)
{
    throw Exit{Failed, message};
}

void usage(const QString& message)
{
    throw Exit{Usage, message};
}

QTextStream& out()
{
    static QTextStream stream(stdout);
    static QTextStream& ready = utf8(stream);
    return ready;
}

QTextStream& err()
{
    static QTextStream stream(stderr);
    static QTextStream& ready = utf8(stream);
    return ready;
}

void warn(const QString& message)
{
    out().flush();
    err() << "tessark: warning: " << message << '\n';
    err().flush();
}

// ---- CommandParser ----------------------------------------------------------

CommandParser::CommandParser(const QString& command, const QString& description) : m_command(command)
{
    m_parser.setApplicationDescription(description);
    m_parser.addHelpOption();
}

void CommandParser::addPositional(const QString& name, const QString& description, const QString& syntax)
{
    m_positionalNames.append(name);
    m_parser.addPositionalArgument(name, description, syntax);
}

void CommandParser::addOption(const QCommandLineOption& option)
{
    m_parser.addOption(option);
}

void CommandParser::addLogOption()
{
    addOption(QCommandLineOption(QStringLiteral("log"),
                                 QStringLiteral("Folder of the library's daily log (default: %1).")
                                         .arg(QDir::toNativeSeparators(defaultLogFolder())),
                                 QStringLiteral("DIR")));
}

void CommandParser::addTagOption()
{
    addOption(QCommandLineOption(QStringLiteral("tag"),
                                 QStringLiteral("Connection tag: names this program's connection (default: tessark)."),
                                 QStringLiteral("TAG"), QStringLiteral("tessark")));
}

QString CommandParser::helpText() const
{
    // Qt names the program by its path; the user typed "tessark <command>".
    QString text = m_parser.helpText();
    const QString usageHead = QStringLiteral("Usage: ") + QCoreApplication::arguments().value(0);
    if (text.startsWith(usageHead))
        text.replace(0, usageHead.size(), QStringLiteral("Usage: tessark ") + m_command);
    return text;
}

void CommandParser::parse(const QStringList& args, int minPositional, int maxPositional)
{
    if (!m_parser.parse(QStringList{QStringLiteral("tessark")} + args)) {
        QString why = m_parser.errorText();
        if (why.endsWith(QLatin1Char('.')))
            why.chop(1);
        usage(QStringLiteral("%1: %2; see `tessark %1 --help`").arg(m_command, why));
    }
    if (m_parser.isSet(QStringLiteral("help"))) {
        out() << helpText();
        throw Exit{Success, QString()};
    }
    const QStringList given = positional();
    if (given.size() < minPositional) {
        usage(QStringLiteral("%1: missing %2; see `tessark %1 --help`")
                      .arg(m_command, m_positionalNames.mid(given.size(), minPositional - given.size())
                                              .join(QStringLiteral(" and "))));
    }
    if (given.size() > maxPositional) {
        usage(QStringLiteral("%1: unexpected argument \"%2\" (quote an SQL statement as one argument); "
                             "see `tessark %1 --help`")
                      .arg(m_command, given.at(maxPositional)));
    }
}

QString CommandParser::setUpLog() const
{
    const QString given = m_parser.isSet(QStringLiteral("log")) ? m_parser.value(QStringLiteral("log"))
                                                                 : defaultLogFolder();
    const QString folder = QFileInfo(given).absoluteFilePath();
    if (!QDir().mkpath(folder) || !QFileInfo(folder).isDir())
        usage(QStringLiteral("cannot create the log folder %1; pass a writable one with --log DIR").arg(folder));
    TessarkTool::SetLogPath(folder);
    return folder;
}

// ---- Folders and the log --------------------------------------------------

QString defaultDataFolder()
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    if (!data.isEmpty())
        return data;
    return QDir::temp().filePath(QStringLiteral("tessark"));
}

QString defaultLogFolder()
{
    return defaultDataFolder() + QStringLiteral("/logs");
}

QString ErrorWatch::driverText() const
{
    if (!failed())
        return QString();
    const Tessark::LastError error = m_source();
    return (error.driverText.trimmed().isEmpty() ? error.message : error.driverText).simplified();
}

void libraryFailure(const ErrorWatch& watch, const QString& what, const QString& hint)
{
    QString message = what;
    const QString driver = watch.driverText();
    message += driver.isEmpty() ? QStringLiteral(" (the library logged no reason)") : QStringLiteral(": ") + driver;
    if (!hint.isEmpty())
        message += QStringLiteral("; ") + hint;
    fail(message);
}

// ---- Connections ------------------------------------------------------------

Connection parseConnection(const QString& text, const QString& tag)
{
    const ConnectionUrl::Parsed parsed = ConnectionUrl::parse(text, tag);
    if (!parsed.error.isEmpty())
        usage(parsed.error);
    Connection connection;
    connection.info = parsed.info;
    connection.display = parsed.display;
    if (parsed.info.Type != DbType(Kind::SQLite))
        connection.info.Password = password(parsed, QStringLiteral("%1@%2").arg(parsed.info.UserName, parsed.info.Host));
    return connection;
}

QString driverInstallHint(Kind kind)
{
    const char* package = kind == Kind::SQLite       ? "sqlite"
                          : kind == Kind::PostgreSQL ? "psql"
                          : kind == Kind::MySQL      ? "mysql"
                                                     : nullptr;
    if (!package)
        return QStringLiteral("Debian does not package it; build Qt's QOCI plugin against Oracle's client "
                              "libraries to use oracle:// URLs");
    // The tool runs on the Qt major it was built with.
    return QStringLiteral("on Debian install libqt%1sql%1-%2").arg(QT_VERSION >> 16).arg(QLatin1String(package));
}

void requireDriver(const Connection& connection)
{
    const Kind kind = Kind(connection.info.Type);
    const Tessark::ConnectionRules& rules = Tessark::rulesFor(connection.info.Type)->connection;
    if (!QSqlDatabase::isDriverAvailable(QLatin1String(rules.driver))) {
        fail(QStringLiteral("cannot open %1: Qt's %2 driver (%3) is not installed; %4")
                     .arg(connection.display, QLatin1String(rules.displayName), QLatin1String(rules.driver),
                          driverInstallHint(kind)));
    }
}

void checkReachable(const Connection& connection)
{
    requireDriver(connection);
    if (connection.info.Type != DbType(Kind::SQLite))
        return;
    // The library never creates a database file on connecting; say so before it logs.
    const QFileInfo file(connection.info.DatabaseName);
    if (!file.exists()) {
        usage(QStringLiteral("no SQLite database at %1; check the path, or create one with "
                             "`tessark create-db SCHEMA.json`")
                      .arg(file.absoluteFilePath()));
    }
    if (!file.isFile())
        usage(QStringLiteral("%1 is not a file; a sqlite: URL names the database file").arg(file.absoluteFilePath()));
}

void connectFailure(const ErrorWatch& watch, const Connection& connection)
{
    libraryFailure(watch, QStringLiteral("cannot connect to %1").arg(connection.display),
                   connection.info.Type == DbType(Kind::SQLite)
                           ? QString()
                           : QStringLiteral("check that the server runs and that host, port, user and "
                                            "TESSARK_PASSWORD are right"));
}

QString pickTable(const QStringList& tables, const ErrorWatch& watch, const Connection& connection,
                  const QString& table)
{
    if (tables.isEmpty() && watch.failed())
        libraryFailure(watch, QStringLiteral("cannot list the tables of %1").arg(connection.display));
    if (tables.contains(table))
        return table;
    for (const QString& name : tables) {
        if (name.compare(table, Qt::CaseInsensitive) == 0)
            return name;
    }
    fail(QStringLiteral("no table \"%1\" in %2; `tessark tables %2` lists them").arg(table, connection.display));
}

std::unique_ptr<Tessark::Backend> connect(const Connection& connection)
{
    checkReachable(connection);
    auto backend = Tessark::makeBackend(connection.info);
    const ErrorWatch watch(*backend);
    if (!backend->persistence().InitConnect())
        connectFailure(watch, connection);
    return backend;
}

QString requireTable(Tessark::Backend& backend, const Connection& connection, const QString& table)
{
    const ErrorWatch watch(backend);
    return pickTable(backend.catalogue().tableNames(), watch, connection, table);
}

} // namespace Cli
