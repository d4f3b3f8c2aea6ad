#ifndef TESSARK_CORE_SERVERCONNECTION_H
#define TESSARK_CORE_SERVERCONNECTION_H

#include "core/connectioncore.h"

namespace Tessark {

// The connection description and naming shared by every server backend.
class BRELVANSHARED_EXPORT ServerConnection : public ConnectionCore
{
    Q_OBJECT
public:
    void InitInfo(QString host, int port, QString userName, QString password,
                  QString databaseName, QString connectTag);

protected:
    explicit ServerConnection(const ConnectionTraits& traits) : ConnectionCore(traits) {}
    void configure(QSqlDatabase& db) const override;

    QString m_host;
    int m_port = 0;
    QString m_userName;
    QString m_password;
    QString m_databaseName;
};

} // namespace Tessark

#endif // TESSARK_CORE_SERVERCONNECTION_H
