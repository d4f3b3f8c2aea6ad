// tessark-demo: a first look at the library from the command line.
//
//   tessark-demo [--log-dir DIR] [DATABASE]
//
// Sets up the daily log, takes the per-file lock a SQLite database file gets,
// writes one log entry and shows the time helpers, printing each step.

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QMutexLocker>
#include <QTextStream>

#include "tool/tessarktool.h"

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tessark-demo"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Tessark demo: log, per-file lock and time helpers."));
    parser.addHelpOption();
    QCommandLineOption logDirOption(QStringLiteral("log-dir"), QStringLiteral("Folder for the daily log."),
                                    QStringLiteral("DIR"), QStringLiteral("tessark-demo-logs"));
    parser.addOption(logDirOption);
    parser.addPositionalArgument(QStringLiteral("DATABASE"), QStringLiteral("SQLite database file."),
                                 QStringLiteral("[DATABASE]"));
    parser.process(app);

    const QStringList positional = parser.positionalArguments();
    const QString database = positional.isEmpty() ? QStringLiteral("tessark-demo.db") : positional.first();
    const QString logDir = QFileInfo(parser.value(logDirOption)).absoluteFilePath();

    QTextStream out(stdout);
    out.setCodec("UTF-8");

    TessarkTool::SetLogPath(logDir);
    out << "log folder     : " << TessarkTool::GetLogPath() << '\n';

    // Every connection to one SQLite file shares this mutex.
    QMutex* fileLock = TessarkTool::SQLiteMutex(database);
    const QDateTime started = QDateTime::currentDateTime();
    {
        QMutexLocker locker(fileLock);
        TessarkTool::WriteLog(QStringLiteral("tessark-demo: this entry was written while holding the lock of %1")
                                      .arg(database));
    }
    const qint64 elapsed = TessarkTool::GetTimeLag(started, QDateTime::currentDateTime());

    const QString logFile = QDir(logDir).filePath(QLocale::c().toString(QDate::currentDate(), QStringLiteral("yyyy-MM-dd"))
                                                  + QStringLiteral(".log"));
    out << "database file  : " << QFileInfo(database).absoluteFilePath()
        << " (lock taken; the demo does not open it yet)\n";
    out << "log entry      : written to " << logFile
        << (TessarkTool::isFileExist(logFile) ? "" : " (FAILED: file missing)") << '\n';
    out << "took           : " << TessarkTool::GetTimeUnit(int(elapsed)) << '\n';
    out << "month ends at  : "
        << TessarkTool::GetLast(started).toString(TessarkTool::GetDateTimeFormat(0)) << '\n';
    out.flush();

    return TessarkTool::isFileExist(logFile) ? 0 : 1;
}
