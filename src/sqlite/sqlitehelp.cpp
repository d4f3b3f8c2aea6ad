#include "sqlite/sqlitehelp.h"

#include <QFileInfo>
#include <QSqlDatabase>

#include "tool/tessarktool.h"

namespace {
const Tessark::ConnectionTraits backend = {
    /* driver */ "QSQLITE",
    /* displayName */ "SQLite",
    /* type */ 2,
    /* initialName */ "defaultSQLite",
    /* idBatchBeginFailure */ nullptr,
    /* failedCommitEndsTransaction */ false,
    /* connectionLost */ nullptr,
};
}

SQLiteHelp::SQLiteHelp() : ConnectionCore(backend) {}

void SQLiteHelp::InitInfo(QString path, QString connectTag)
{
    m_path = path;
    const QString fileName = QFileInfo(path).fileName();
    const QString prefix = connectTag.isEmpty() ? QStringLiteral("default") : connectTag;
    setIdentity(prefix + QLatin1Char('|') + fileName, fileName);
    m_fileMutex = TessarkTool::SQLiteMutex(path);
}

bool SQLiteHelp::checkTarget()
{
    // The file is never created here; that is the schema tools' job.
    if (TessarkTool::isFileExist(m_path))
        return true;
    log(QStringLiteral("打开SQLite数据库失败 错误信息：\n%1数据文件未找到").arg(m_path));
    return false;
}

void SQLiteHelp::configure(QSqlDatabase& db) const
{
    db.setDatabaseName(m_path);
}
