#include "core/serverconnection.h"

#include <QCryptographicHash>
#include <QSqlDatabase>

namespace Tessark {
namespace {

// Names and signs end up in Qt's warnings and in applications' diagnostics:
// they carry a digest of the password, which still tells two passwords apart.
QString passwordDigest(const QString& password)
{
    if (password.isEmpty())
        return QString();
    const QByteArray hash = QCryptographicHash::hash(password.toUtf8(), QCryptographicHash::Sha256);
    return QString::fromLatin1(hash.toHex().left(16));
}

} // namespace

void ServerConnection::InitInfo(QString host, int port, QString userName, QString password,
                                QString databaseName, QString connectTag)
{
    m_host = host;
    m_port = port;
    m_userName = userName;
    m_password = password;
    m_databaseName = databaseName;
    const QString sign = QStringLiteral("%1|%2|%3|%4|%5")
                             .arg(host, QString::number(port), userName, passwordDigest(password), databaseName);
    const QString prefix = connectTag.isEmpty() ? QStringLiteral("default") : connectTag;
    setIdentity(prefix + QLatin1Char('|') + sign, sign);
}

void ServerConnection::configure(QSqlDatabase& db) const
{
    db.setHostName(m_host);
    db.setPort(m_port);
    db.setUserName(m_userName);
    db.setPassword(m_password);
    db.setDatabaseName(m_databaseName);
}

} // namespace Tessark
