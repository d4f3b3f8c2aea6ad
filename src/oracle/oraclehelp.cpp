#include "oracle/oraclehelp.h"

#include "core/rules.h"

OracleHelp::OracleHelp() : ServerConnection(Tessark::oracleRules) {}

QString OracleHelp::connectDatabaseName() const
{
    return driverDatabaseName();
}
