#include "core/lostconnection.h"

#include <QSqlError>
#include <QStringList>

namespace Tessark {

bool postgresConnectionLost(const QSqlError& error)
{
    // SQLSTATE class 08 (connection exception), 57P01-03 (shutdown, crash
    // recovery); libpq reports a dropped socket without any SQLSTATE.
    const QString code = error.nativeErrorCode();
    if (code.startsWith(QLatin1String("08")) || code.startsWith(QLatin1String("57P0")))
        return true;
    const QString text = error.text();
    return text.contains(QLatin1String("server closed the connection"))
           || text.contains(QLatin1String("no connection to the server"))
           || text.contains(QLatin1String("terminating connection"));
}

bool mysqlConnectionLost(const QSqlError& error)
{
    // 2006 server has gone away, 2013 lost connection during query,
    // 1927 connection killed (MariaDB), 4031 disconnected for inactivity.
    static const QStringList codes = {QStringLiteral("2006"), QStringLiteral("2013"), QStringLiteral("1927"),
                                      QStringLiteral("4031")};
    return codes.contains(error.nativeErrorCode());
}

bool oracleConnectionLost(const QSqlError& error)
{
    // ORA-03113 end-of-file on channel, ORA-03114 not connected, ORA-03135 connection lost.
    const QString code = error.nativeErrorCode();
    return code.contains(QLatin1String("3113")) || code.contains(QLatin1String("3114"))
           || code.contains(QLatin1String("3135"));
}

} // namespace Tessark
