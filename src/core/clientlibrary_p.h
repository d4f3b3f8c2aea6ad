#ifndef TESSARK_CORE_CLIENTLIBRARY_P_H
#define TESSARK_CORE_CLIENTLIBRARY_P_H

class QSqlDriver;

namespace Tessark {

// The client library a Qt driver runs on (libsqlite3, libpq, libmariadb),
// reached without linking it: functions are looked up in the driver's own
// plugin and what that plugin links. Looking a library up by name could find
// another copy than the plugin's (a plugin may carry SQLite inside), and a
// handle of one copy must never reach another's functions.
namespace ClientLibrary {

// The function name of driver's client; null where it is not found or the
// platform cannot tell which library holds the driver.
void* function(const QSqlDriver* driver, const char* name);

// function() as the type it is called through; false when not found.
template <class F>
bool resolve(F& f, const QSqlDriver* driver, const char* name)
{
    f = reinterpret_cast<F>(function(driver, name));
    return f != nullptr;
}

// The driver's connection handle (sqlite3*, PGconn*, MYSQL*); null when closed.
void* handle(const QSqlDriver* driver);

} // namespace ClientLibrary
} // namespace Tessark

#endif // TESSARK_CORE_CLIENTLIBRARY_P_H
