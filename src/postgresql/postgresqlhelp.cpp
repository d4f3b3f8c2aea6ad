#include "postgresql/postgresqlhelp.h"

#include "core/rules.h"

PostgreSQLHelp::PostgreSQLHelp() : ServerConnection(Tessark::postgresqlRules) {}
