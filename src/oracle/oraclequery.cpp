#include "oracle/oraclequery.h"

OracleQuery::OracleQuery() = default;

OracleQuery::~OracleQuery() = default;
