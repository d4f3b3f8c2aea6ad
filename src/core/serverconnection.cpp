#include "core/serverconnection.h"

#include <QSqlDatabase>

namespace Tessark {

void ServerConnection::InitInfo(QString host, int port, QString userName, QString password,
                                QString databaseName, QString connectTag)
{
    m_host = host;
    m_port = port;
    m_userName = userName;
    m_password = password;
    m_databaseName = databaseName;
    const QString sign = QStringLiteral("%1|%2|%3|%4|%5")
                             .arg(host, QString::number(port), userName, password, databaseName);
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
