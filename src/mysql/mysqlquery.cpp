#include "mysql/mysqlquery.h"

MySqlQuery::MySqlQuery() = default;

MySqlQuery::~MySqlQuery() = default;
