#include "core/serverconnection.h"

#include "core/rules.h"

namespace Tessark {

void ServerConnection::InitInfo(QString host, int port, QString userName, QString password,
                                QString databaseName, QString connectTag)
{
    describe(ConnInfoModel(DbType(rules().kind), host, port, userName, password, databaseName, connectTag));
}

} // namespace Tessark
