#include "oracle/oraclequery.h"

#include "core/rules.h"

OracleModel::OracleModel() : BackendObject(Tessark::oracleRules) {}

OracleModel::~OracleModel() = default;

OracleQuery::OracleQuery() = default;

OracleQuery::~OracleQuery() = default;
