#ifndef TESSARK_TOOL_TESSARKTOOL_H
#define TESSARK_TOOL_TESSARKTOOL_H

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QString>

#include "brelvan_global.h"

class QWidget;

// Static utilities: the daily log, file probes, the per-file SQLite lock
// registry, date arithmetic and the two pickers.
class BRELVANSHARED_EXPORT TessarkTool
{
public:
    // Path as given to SQLiteHelp::InitInfo -> that file's mutex. Entries are
    // never removed. Read and write it only through SQLiteMutex().
    static QHash<QString, QMutex*> SQLiteLock;

    // Get-or-create the mutex of a SQLite file path, under the registry's guard.
    static QMutex* SQLiteMutex(const QString& path);

    static void SetLogPath(QString path);
    static QString GetLogPath();
    static void WriteLog(QString message);
    static void WriteFile(QString path, QString content);
    static bool isDirExist(QString path);
    static bool isFileExist(QString path);

    static QString GetDateTimeFormat(short type);
    static QDateTime GetLast(QDateTime dateTime);
    static int GetMonthDayCount(int year, int month);
    static QDateTime GetTimeAve(QList<QDateTime> list);
    static qint64 GetTimeLag(QDateTime first, QDateTime second);
    static QString GetTimeUnit(int milliseconds);

    static QString FileDialog(QWidget* parent, QString caption, QString filter);
    static QString PathDialog(QWidget* parent, QString caption);

private:
    static QString LogPath;
};

#endif // TESSARK_TOOL_TESSARKTOOL_H
