#include "sqlite/sqlitehelp.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>
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

// Names carry only the file's name, so two files of one name in different
// folders would share the first one's connection and write into its file.
// The first file to use a name keeps it; any other file gets the name and a
// digest of its absolute path.
QString connectionNameFor(const QString& name, const QString& path)
{
    static QMutex mutex;
    static QHash<QString, QString> fileOfName;
    const QString absolute = QFileInfo(path).absoluteFilePath();
    QMutexLocker locker(&mutex);
    const QString owner = fileOfName.value(name);
    if (owner.isEmpty()) {
        fileOfName.insert(name, absolute);
        return name;
    }
    if (owner == absolute)
        return name;
    const QByteArray digest = QCryptographicHash::hash(absolute.toUtf8(), QCryptographicHash::Sha256).toHex();
    return name + QLatin1Char('#') + QString::fromLatin1(digest.left(12));
}

} // namespace

SQLiteHelp::SQLiteHelp() : ConnectionCore(backend) {}

void SQLiteHelp::InitInfo(QString path, QString connectTag)
{
    m_path = path;
    const QString fileName = QFileInfo(path).fileName();
    const QString prefix = connectTag.isEmpty() ? QStringLiteral("default") : connectTag;
    setIdentity(connectionNameFor(prefix + QLatin1Char('|') + fileName, path), fileName);
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
