#include "postgresql/postgresqlhelp.h"

namespace {
const Tessark::ConnectionTraits backend = {"QPSQL", "PostgreSQL", 0, "defaultPostgreSQL", nullptr, true};
}

PostgreSQLHelp::PostgreSQLHelp() : ServerConnection(backend) {}
