// tessark doctor: what an application on this machine would find, before it
// tries: Qt's SQL drivers (and why one does not load), the Qt versions, and
// whether a connection URL connects.

#include <QCoreApplication>
#include <QDir>
#include <QPluginLoader>
#include <QSqlDatabase>

#include "cli.h"
#include "commands.h"
#include "core/backend.h"
#include "core/connectioncore.h"
#include "core/rules.h"

namespace Cli {

namespace {

const Kind kinds[] = {Kind::SQLite, Kind::PostgreSQL, Kind::MySQL, Kind::Oracle};

QStringList driverFolders()
{
    QStringList folders;
    for (const QString& path : QCoreApplication::libraryPaths()) {
        const QString folder = QDir(path).filePath(QStringLiteral("sqldrivers"));
        if (QDir(folder).exists())
            folders.append(QDir::cleanPath(folder));
    }
    return folders;
}

// Qt names a driver's plugin file qsql<driver> (libqsqlpsql.so for QPSQL),
// except SQLite's, which is qsqlite.
QString pluginStem(const QString& driver)
{
    return driver == QLatin1String("QSQLITE") ? QStringLiteral("qsqlite")
                                              : QStringLiteral("qsql") + driver.mid(1).toLower();
}

// Why Qt offers no driver: no plugin file in its folders, or the loader's
// error for one that is there (a client library it needs is missing, or it
// belongs to another Qt).
QString whyMissing(const QString& driver, const QStringList& folders)
{
    const QString stem = pluginStem(driver);
    for (const QString& folder : folders) {
        const QStringList files = QDir(folder).entryList(
                {QStringLiteral("lib%1.*").arg(stem), QStringLiteral("%1.*").arg(stem)}, QDir::Files);
        for (const QString& file : files) {
            QPluginLoader loader(QDir(folder).filePath(file));
            if (!loader.load())
                return QStringLiteral("its plugin does not load: %1").arg(loader.errorString());
            loader.unload();
            return QStringLiteral("its plugin %1 loads but does not offer %2").arg(loader.fileName(), driver);
        }
    }
    return QStringLiteral("no %1 plugin in %2")
            .arg(stem, folders.isEmpty() ? QStringLiteral("Qt's plugin folders") : folders.join(QStringLiteral(", ")));
}

} // namespace

int runDoctor(const QStringList& args)
{
    CommandParser parser(QStringLiteral("doctor"),
                         QStringLiteral("Reports which of Qt's SQL drivers load and why others do not, the Qt "
                                        "version the tool was built with and the one it runs with, and, given a "
                                        "CONNECTION, whether it connects and which server answers. Exits with 1 "
                                        "when the CONNECTION's driver is missing or it does not connect."));
    parser.addPositional(QStringLiteral("CONNECTION"), connectionHelp(), QStringLiteral("[CONNECTION]"));
    parser.addTagOption();
    parser.addLogOption();
    parser.parse(args, 0, 1);
    parser.setUpLog();

    out() << "tessark " << QCoreApplication::applicationVersion() << '\n'
          << "Qt: built with " << QT_VERSION_STR << ", running with " << qVersion() << '\n';
    const QStringList folders = driverFolders();
    out() << "Qt SQL driver folders: "
          << (folders.isEmpty() ? QStringLiteral("none found") : folders.join(QStringLiteral(", "))) << '\n';
    out() << "Drivers:\n";
    for (Kind kind : kinds) {
        const Tessark::ConnectionRules& rules = Tessark::rulesFor(DbType(kind))->connection;
        const QString driver = QLatin1String(rules.driver);
        out() << QStringLiteral("  %1 %2 ").arg(driver, -8).arg(QLatin1String(rules.displayName), -11);
        if (QSqlDatabase::isDriverAvailable(driver))
            out() << "loads\n";
        else
            out() << "missing: " << whyMissing(driver, folders) << "; " << driverInstallHint(kind) << '\n';
    }

    if (parser.positional().isEmpty())
        return Success;
    const Connection connection = parseConnection(parser.positional().at(0), parser.value(QStringLiteral("tag")));
    const auto backend = connect(connection); // ends the command, on stderr, with what to fix
    const ErrorWatch watch(*backend);
    const Row row = backend->connection().QueryFirst(QLatin1String(backend->rules().connection.serverVersionSql));
    const QString version = row.isEmpty() ? QString() : row.cbegin().value().toString();
    if (version.isEmpty())
        libraryFailure(watch, QStringLiteral("connected to %1, but cannot read the server version").arg(connection.display));
    out() << "Connection " << connection.display << ": connects; the server is " << version << '\n';
    return Success;
}

} // namespace Cli
