#include "postgresql/postgresqlhelp.h"

#include "core/lostconnection.h"

namespace {
const Tessark::ConnectionTraits backend = {
    /* driver */ "QPSQL",
    /* displayName */ "PostgreSQL",
    /* type */ 0,
    /* initialName */ "defaultPostgreSQL",
    /* idBatchBeginFailure */ nullptr,
    /* failedCommitEndsTransaction */ true,
    /* connectionLost */ Tessark::postgresConnectionLost,
};
}

PostgreSQLHelp::PostgreSQLHelp() : ServerConnection(backend) {}
