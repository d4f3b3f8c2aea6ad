// tessark: the schema jobs application developers do from a terminal, on
// the Tessark library.
//
//   tessark COMMAND [options] [arguments]      tessark --help lists the commands

#include <QCoreApplication>

#include "cli.h"
#include "commands.h"

namespace {

struct Command
{
    const char* name;
    const char* summary;
    int (*run)(const QStringList& args);
};

const Command commands[] = {
    {"demo", "Run the library on an embedded SQLite file, step by step", Cli::runDemo},
    {"create-db", "Create a SQLite database from a JSON description", Cli::runCreateDb},
    {"gen-model", "Generate a record class for a table (SQLite, PostgreSQL)", Cli::runGenModel},
    {"tables", "List the tables of a database", Cli::runTables},
    {"columns", "List the columns of a table", Cli::runColumns},
    {"query", "Run a statement and print its rows (table, CSV or JSON)", Cli::runQuery},
    {"exec", "Run one statement that returns no rows", Cli::runExec},
    {"doctor", "Check Qt's SQL drivers, the Qt versions and a connection", Cli::runDoctor},
};

QString overview(const QCommandLineParser& parser)
{
    // Qt's usage line names the program by its path and puts the options first.
    QString text = parser.helpText();
    text.replace(0, text.indexOf(QLatin1Char('\n')), QStringLiteral("Usage: tessark COMMAND [options] [arguments]"));
    text += QStringLiteral("\nCommands:\n");
    for (const Command& command : commands)
        text += QStringLiteral("  %1 %2\n").arg(QLatin1String(command.name), -10).arg(QLatin1String(command.summary));
    text += QStringLiteral("\nCONNECTION: %1\n").arg(Cli::connectionHelp());
    text += QStringLiteral("\n`tessark COMMAND --help` shows a command's arguments and options.\n"
                           "Exit status: 0 done; 1 the database or the library reported a failure (its message "
                           "is shown); 2 the command line or an input file is wrong.\n");
    return text;
}

int run(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Tessark's command-line tool: create SQLite databases, "
                                                    "generate record classes, look into and query databases."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("COMMAND"), QStringLiteral("What to do (below)."),
                                 QStringLiteral("COMMAND [options] [arguments]"));
    // Everything after the command is the command's own.
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    if (!parser.parse(arguments)) {
        QString why = parser.errorText();
        if (why.endsWith(QLatin1Char('.')))
            why.chop(1);
        Cli::usage(QStringLiteral("%1 (options follow the command); see `tessark --help`").arg(why));
    }
    if (parser.isSet(QStringLiteral("version"))) {
        Cli::out() << "tessark " << QCoreApplication::applicationVersion() << '\n';
        return Cli::Success;
    }
    QStringList rest = parser.positionalArguments();
    if (parser.isSet(QStringLiteral("help")) || rest.value(0) == QLatin1String("help")) {
        // "tessark help COMMAND" is "tessark COMMAND --help".
        if (rest.size() > 1) {
            rest = QStringList{rest.at(1), QStringLiteral("--help")};
        } else {
            Cli::out() << overview(parser);
            return Cli::Success;
        }
    }
    if (rest.isEmpty())
        Cli::usage(QStringLiteral("no command; `tessark --help` lists them"));

    const QString name = rest.takeFirst();
    for (const Command& command : commands) {
        if (name == QLatin1String(command.name))
            return command.run(rest);
    }
    Cli::usage(QStringLiteral("unknown command \"%1\"; `tessark --help` lists them").arg(name));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tessark"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TESSARK_VERSION));

    int code;
    try {
        code = run(QCoreApplication::arguments());
    } catch (const Cli::Exit& exit) {
        code = exit.code;
        if (!exit.message.isEmpty()) {
            Cli::out().flush();
            // One line, whatever the driver's text held.
            Cli::err() << "tessark: " << QString(exit.message).replace(QLatin1Char('\n'), QLatin1Char(' ')) << '\n';
        }
    }
    Cli::out().flush();
    Cli::err().flush();
    return code;
}
