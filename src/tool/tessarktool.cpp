#include "tool/tessarktool.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLocale>
#include <QTextStream>

#include <atomic>
#include <cstdlib>

#include "core/qtcompat_p.h"
#include "core/rules.h"
#include "tool/tessarkclock_p.h"

QHash<QString, QMutex*> TessarkTool::SQLiteLock;
QString TessarkTool::LogPath;

namespace {

// QBasicMutex is constant-initialised and never destroyed, so both guards stay
// usable from static constructors and destructors of other libraries.
QBasicMutex logGuard;      // LogPath and every log write
QBasicMutex registryGuard; // SQLiteLock

std::atomic<TessarkClock::Source> clockSource{nullptr};

// The date twice is the stamp's documented form: readers of existing logs
// split on it, so it stays.
const QString stampPattern = QStringLiteral("yyyy-MM-dd yyyy-MM-dd hh:mm:ss");
const QString separator = QStringLiteral("\n--------------------\n\n");
const QString parsePattern = QStringLiteral("yyyy-MM-dd hh:mm:ss");

} // namespace

void TessarkClock::setSource(Source source)
{
    clockSource.store(source);
}

QDateTime TessarkClock::now()
{
    const Source source = clockSource.load();
    return source ? source() : QDateTime::currentDateTime();
}

QMutex* TessarkTool::SQLiteMutex(const QString& path)
{
    QMutexLocker locker(&registryGuard);
    QMutex*& mutex = SQLiteLock[path];
    if (!mutex)
        mutex = new QMutex; // lives as long as the process: objects on other threads may still hold it
    return mutex;
}

void TessarkTool::SetLogPath(QString path)
{
    QMutexLocker locker(&logGuard);
    LogPath = path;
}

QString TessarkTool::GetLogPath()
{
    QMutexLocker locker(&logGuard);
    return LogPath;
}

void TessarkTool::WriteLog(QString message)
{
    // One lock around the whole entry: entries from several threads never mix,
    // and a concurrent SetLogPath cannot split an entry across two folders.
    QMutexLocker locker(&logGuard);
    if (LogPath.isEmpty())
        return;

    // One reading of the clock names the file and stamps the entry, so an
    // entry written at midnight lands in the file of the date it shows.
    // The C locale keeps digits ASCII whatever the user's locale is.
    const QDateTime now = TessarkClock::now();
    const QLocale c = QLocale::c();
    const QString fileName = LogPath + QLatin1Char('/') + c.toString(now, QStringLiteral("yyyy-MM-dd"))
            + QStringLiteral(".log");

    if (!QDir(LogPath).exists())
        QDir().mkpath(LogPath);

    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
        return;

    QTextStream out(&file);
    Tessark::useUtf8(out);
    out << c.toString(now, stampPattern) << QLatin1Char('\n') << message << separator;
    out.flush();
    file.close();
}

void TessarkTool::WriteFile(QString path, QString content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return;

    QTextStream out(&file);
    Tessark::useUtf8(out);
    out << content;
    out.flush();
    file.close();
}

bool TessarkTool::isDirExist(QString path)
{
    // QDir("") would be the working directory.
    if (path.isEmpty())
        return false;
    return QDir(path).exists();
}

bool TessarkTool::isFileExist(QString path)
{
    return QFileInfo(path).isFile();
}

QString TessarkTool::GetDateTimeFormat(short type)
{
    const Tessark::BackendRules* rules = Tessark::rulesFor(type);
    return rules && rules->dateTimeFormat ? QLatin1String(rules->dateTimeFormat) : QString();
}

QDateTime TessarkTool::GetLast(QDateTime dateTime)
{
    // Built as text on purpose: a year that does not print as four digits
    // fails the parse and gives an invalid result.
    const QString first = QStringLiteral("%1-%2-%3 %4:%5:%6")
                                  .arg(dateTime.date().year())
                                  .arg(dateTime.date().month(), 2, 10, QLatin1Char('0'))
                                  .arg(QStringLiteral("01"), QStringLiteral("23"), QStringLiteral("59"),
                                       QStringLiteral("59"));
    const QDateTime start = QDateTime::fromString(first, parsePattern);
    // Qt's month arithmetic on a null date-time yields a date in 4714 BC.
    if (!start.isValid())
        return QDateTime();
    return start.addMonths(1).addDays(-1);
}

// The Gregorian rule for every year number: QDate::daysInMonth has no year 0
// and counts leap years before 1 AD differently.
int TessarkTool::GetMonthDayCount(int year, int month)
{
    switch (month) {
    case 1: case 3: case 5: case 7: case 8: case 10: case 12:
        return 31;
    case 4: case 6: case 9: case 11:
        return 30;
    case 2:
        return (year % 4 == 0 && (year % 100 != 0 || year % 400 == 0)) ? 29 : 28;
    default:
        return 0;
    }
}

QDateTime TessarkTool::GetTimeAve(QList<QDateTime> list)
{
    if (list.isEmpty())
        return QDateTime();

    const QDateTime base = QDateTime::fromString(QStringLiteral("1970-01-01 00:00:00"), parsePattern);
    qint64 total = 0;
    for (const QDateTime& moment : qAsConst(list)) {
        // The distance is unsigned by design: a moment before the base counts as after it.
        const qint64 distance = std::llabs(base.msecsTo(moment));
        total = static_cast<qint64>(distance / 1000.0 + total);
    }
    return base.addSecs(total / list.size());
}

qint64 TessarkTool::GetTimeLag(QDateTime first, QDateTime second)
{
    return std::llabs(first.msecsTo(second));
}

QString TessarkTool::GetTimeUnit(int milliseconds)
{
    if (milliseconds < 1000)
        return QString::fromUtf8("%1毫秒").arg(milliseconds);
    if (milliseconds < 60000)
        return QString::fromUtf8("%1秒").arg(milliseconds / 1000.0, 0, 'f', 1);
    if (milliseconds < 3600000)
        return QString::fromUtf8("%1分").arg(milliseconds / 1000.0 / 60, 0, 'f', 1);
    if (milliseconds < 216000000)
        return QString::fromUtf8("%1时").arg(milliseconds / 1000.0 / 60 / 60, 0, 'f', 1);
    return QStringLiteral("-");
}

QString TessarkTool::FileDialog(QWidget* parent, QString caption, QString filter)
{
    return QFileDialog::getOpenFileName(parent, caption, QStringLiteral("/"), filter);
}

QString TessarkTool::PathDialog(QWidget* parent, QString caption)
{
    return QFileDialog::getExistingDirectory(parent, caption, QStringLiteral("/"),
                                             QFileDialog::ShowDirsOnly);
}
