#include "Model/columninfomodels.h"

ColumnInfoSQLiteModel::ColumnInfoSQLiteModel() = default;
ColumnInfoSQLiteModel::~ColumnInfoSQLiteModel() = default;

ColumnInfoPostgreSQLModel::ColumnInfoPostgreSQLModel() = default;
ColumnInfoPostgreSQLModel::~ColumnInfoPostgreSQLModel() = default;

ColumnModel::ColumnModel() = default;
ColumnModel::~ColumnModel() = default;
