#include "postgresql/postgresqlstatements_p.h"

#include <QSqlDatabase>

#include "core/clientlibrary_p.h"

namespace Tessark {

bool postgresqlCommitsAlone(QSqlDatabase& db)
{
    constexpr int idle = 0; // PQTRANS_IDLE
    int (*transactionStatus)(const void*) = nullptr;
    void* session = ClientLibrary::handle(db.driver());
    return session && ClientLibrary::resolve(transactionStatus, db.driver(), "PQtransactionStatus")
           && transactionStatus(session) == idle;
}

} // namespace Tessark
