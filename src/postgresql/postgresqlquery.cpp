#include "postgresql/postgresqlquery.h"

PostgreSQLQuery::PostgreSQLQuery() = default;

PostgreSQLQuery::~PostgreSQLQuery() = default;
