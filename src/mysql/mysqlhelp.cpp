#include "mysql/mysqlhelp.h"

#include "core/rules.h"

MySqlHelp::MySqlHelp() : ServerConnection(Tessark::mysqlRules) {}
