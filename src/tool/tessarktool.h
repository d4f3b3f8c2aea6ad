#ifndef TESSARK_TOOL_TESSARKTOOL_H
#define TESSARK_TOOL_TESSARKTOOL_H

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QString>

#include "brelvan_global.h"

class QWidget;

/// Static utilities: the daily log, file probes, the per-file SQLite lock
/// registry, date arithmetic and the two pickers.
class BRELVANSHARED_EXPORT TessarkTool
{
public:
    /// Path as given to SQLiteHelp::InitInfo -> that file's mutex. Entries are
    /// never removed. Read and write it only through SQLiteMutex().
    static QHash<QString, QMutex*> SQLiteLock;

    /// Get-or-create the mutex of a SQLite file path, under the registry's guard.
    static QMutex* SQLiteMutex(const QString& path);

    /// Sets the folder of the daily log files.
    static void SetLogPath(QString path);
    /// The folder of the daily log files.
    static QString GetLogPath();
    /// Appends a stamped entry to today's log file.
    static void WriteLog(QString message);
    /// Writes content to path as UTF-8, replacing it.
    static void WriteFile(QString path, QString content);
    /// Whether path is an existing folder.
    static bool isDirExist(QString path);
    /// Whether path is an existing file.
    static bool isFileExist(QString path);

    /// The date-time pattern of a database kind; empty for none.
    static QString GetDateTimeFormat(short type);
    /// The last second of dateTime's month.
    static QDateTime GetLast(QDateTime dateTime);
    /// The number of days in a month.
    static int GetMonthDayCount(int year, int month);
    /// The average of the moments; invalid for none.
    static QDateTime GetTimeAve(QList<QDateTime> list);
    /// Milliseconds between two moments, never negative.
    static qint64 GetTimeLag(QDateTime first, QDateTime second);
    /// A duration as text in the largest fitting unit (Chinese unit names).
    static QString GetTimeUnit(int milliseconds);

    /// Asks the user for a file to open; empty when cancelled.
    static QString FileDialog(QWidget* parent, QString caption, QString filter);
    /// Asks the user for a folder; empty when cancelled.
    static QString PathDialog(QWidget* parent, QString caption);

private:
    static QString LogPath;
};

#endif // TESSARK_TOOL_TESSARKTOOL_H
