#include "postgresql/postgresqlstatements_p.h"

#include <QSqlDatabase>

#include "core/clientlibrary_p.h"

namespace Tessark {
namespace {

constexpr int commandOk = 1;           // PGRES_COMMAND_OK
constexpr int inTransaction = 2;       // PQTRANS_INTRANS
constexpr int inFailedTransaction = 3; // PQTRANS_INERROR

struct Api
{
    void* (*exec)(void*, const char*) = nullptr;
    int (*resultStatus)(const void*) = nullptr;
    void (*clear)(void*) = nullptr;
    int (*transactionStatus)(const void*) = nullptr;

    bool find(const QSqlDriver* driver)
    {
        using ClientLibrary::resolve;
        return resolve(exec, driver, "PQexec") && resolve(resultStatus, driver, "PQresultStatus")
               && resolve(clear, driver, "PQclear") && resolve(transactionStatus, driver, "PQtransactionStatus");
    }
    // Whether text ran to the end; a null result (out of memory, lost session) did not.
    bool run(void* session, const QByteArray& text) const
    {
        void* result = exec(session, text.constData());
        const bool ok = result && resultStatus(result) == commandOk;
        clear(result);
        return ok;
    }
};

} // namespace

OneTrip postgresqlOneTrip(QSqlDatabase& db, const QString& statement)
{
    void* session = ClientLibrary::handle(db.driver());
    Api api;
    if (!session || !api.find(db.driver()))
        return OneTrip::Cannot;
    // Qt's driver set the session's client encoding to UTF-8 when it connected.
    // A failing statement stops the rest of the message, COMMIT included.
    if (api.run(session, "BEGIN;" + statement.toUtf8() + ";COMMIT"))
        return OneTrip::Done;
    const int state = api.transactionStatus(session);
    if (state == inTransaction || state == inFailedTransaction)
        api.run(session, QByteArrayLiteral("ROLLBACK"));
    return OneTrip::Failed;
}

} // namespace Tessark
