#ifndef TESSARK_APPS_CLI_H
#define TESSARK_APPS_CLI_H

// What every tessark command shares: exit codes, output streams, the log
// folder, what the library reported failing, connection URLs.

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>
#include <QStringList>
#include <QTextStream>

#include <functional>
#include <memory>

#include "Model/conninfomodel.h"
#include "core/backend.h"
#include "core/lasterror.h"

namespace Cli {

// 0 done; 1 the database or the library reported a failure; 2 the command
// line or an input file is wrong (nothing was attempted).
enum ExitCode { Success = 0, Failed = 1, Usage = 2 };

// Thrown to end a command: message (one line) goes to stderr unless empty.
struct Exit
{
    int code;
    QString message;
};

[[noreturn]] void fail(const QString& message);
[[noreturn]] void usage(const QString& message);

QTextStream& out();
QTextStream& err();
void warn(const QString& message);

using Tessark::Kind;

// One command's parser: a help text that names the command, --help, and
// positional argument counts checked with a message that says what is missing.
class CommandParser
{
public:
    CommandParser(const QString& command, const QString& description);

    void addPositional(const QString& name, const QString& description, const QString& syntax = QString());
    void addOption(const QCommandLineOption& option);
    // --log DIR; every command has it.
    void addLogOption();
    // --tag TAG for the commands that take a CONNECTION.
    void addTagOption();

    // Parses (args without the program and command names); --help ends the
    // command with its help on stdout.
    void parse(const QStringList& args, int minPositional, int maxPositional);

    QCommandLineParser& parser() { return m_parser; }
    QString helpText() const;
    QStringList positional() const { return m_parser.positionalArguments(); }
    bool isSet(const QString& name) const { return m_parser.isSet(name); }
    QString value(const QString& name) const { return m_parser.value(name); }
    QString command() const { return m_command; }

    // Sets the library's log folder from --log (or the default) and returns it.
    QString setUpLog() const;

private:
    QString m_command;
    QStringList m_positionalNames;
    QCommandLineParser m_parser;
};

// The default folders: under the user's data folder, else the temporary folder.
QString defaultDataFolder();
QString defaultLogFolder();

// Remembers how many failures an object (a backend, a handle, a query
// object) had reported; afterwards tells what it reported since.
class ErrorWatch
{
public:
    template <class Db>
    explicit ErrorWatch(const Db& db) : m_source([&db] { return db.lastError(); }), m_serial(db.lastError().serial)
    {
    }
    // Something failed since construction.
    bool failed() const { return m_source().serial != m_serial; }
    // The driver's text of the last failure since construction, on one line;
    // empty when nothing failed.
    QString driverText() const;

private:
    std::function<Tessark::LastError()> m_source;
    quint64 m_serial;
};

// Throws a failure "what: <driver text>; hint" from what the library logged.
[[noreturn]] void libraryFailure(const ErrorWatch& watch, const QString& what, const QString& hint = QString());

// A CONNECTION argument understood.
struct Connection
{
    ConnInfoModel info{0, QString(), QString()};
    QString display; // the URL without any password
};

// sqlite:PATH, postgresql://USER@HOST[:PORT]/DB, mysql://..., oracle://USER@HOST[:PORT]/SERVICE.
// The password comes from TESSARK_PASSWORD, else a prompt when stdin is a
// terminal; one inside the URL is used with a warning.
Connection parseConnection(const QString& url, const QString& tag);

// What to install for Qt's driver of kind, as a clause ("on Debian install ...").
QString driverInstallHint(Kind kind);
// Fails when Qt's driver for the connection's kind is not installed.
void requireDriver(const Connection& connection);
// Checks what can be checked before connecting (the driver is installed, a
// SQLite file exists); fails with what to fix.
void checkReachable(const Connection& connection);
// Ends the command after InitConnect failed, with the driver's message.
[[noreturn]] void connectFailure(const ErrorWatch& watch, const Connection& connection);
// The table's name as the database spells it (exact match first, then
// ignoring case); fails when there is no such table.
QString pickTable(const QStringList& tables, const ErrorWatch& watch, const Connection& connection,
                  const QString& table);

// A backend for the connection, connected; fails with the driver's message.
std::unique_ptr<Tessark::Backend> connect(const Connection& connection);

// The table's real name, from the backend's table list.
QString requireTable(Tessark::Backend& backend, const Connection& connection, const QString& table);
} // namespace Cli

#endif // TESSARK_APPS_CLI_H
