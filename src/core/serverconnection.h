#ifndef TESSARK_CORE_SERVERCONNECTION_H
#define TESSARK_CORE_SERVERCONNECTION_H

#include "core/connectioncore.h"

namespace Tessark {

/// The InitInfo form every server backend's connection class offers.
class BRELVANSHARED_EXPORT ServerConnection : public ConnectionCore
{
    Q_OBJECT
public:
    /// Sets the server's address, the credentials and the database; connectTag tells connections apart.
    void InitInfo(QString host, int port, QString userName, QString password,
                  QString databaseName, QString connectTag);

protected:
    /// A connection for the server database the rules describe.
    explicit ServerConnection(const BackendRules& rules) : ConnectionCore(rules) {}
};

} // namespace Tessark

#endif // TESSARK_CORE_SERVERCONNECTION_H
