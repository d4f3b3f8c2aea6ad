#include "mysql/mysqlsession_p.h"

#include <QSqlDatabase>

#include "core/clientlibrary_p.h"

namespace Tessark {

bool mysqlCommitsAlone(QSqlDatabase& db)
{
    // MariaDB Connector/C: MARIADB_CONNECTION_SERVER_STATUS, and the
    // protocol's SERVER_STATUS_IN_TRANS and SERVER_STATUS_AUTOCOMMIT flags.
    // Another client library lacks the function, and every write then keeps
    // its BEGIN and COMMIT.
    constexpr int serverStatus = 30;
    constexpr unsigned inTransaction = 1;
    constexpr unsigned autocommit = 2;
    char (*info)(void*, int, void*, ...) = nullptr; // my_bool: 0 is success
    void* session = ClientLibrary::handle(db.driver());
    unsigned status = 0;
    return session && ClientLibrary::resolve(info, db.driver(), "mariadb_get_infov")
           && info(session, serverStatus, &status) == 0 && (status & (inTransaction | autocommit)) == autocommit;
}

} // namespace Tessark
