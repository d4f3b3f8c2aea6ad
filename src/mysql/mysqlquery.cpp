#include "mysql/mysqlquery.h"

#include "core/rules.h"

MySqlModel::MySqlModel() : BackendObject(Tessark::mysqlRules) {}

MySqlModel::~MySqlModel() = default;

MySqlQuery::MySqlQuery() = default;

MySqlQuery::~MySqlQuery() = default;
