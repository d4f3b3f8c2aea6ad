#ifndef TESSARK_MYSQL_MYSQLQUERY_H
#define TESSARK_MYSQL_MYSQLQUERY_H

#include "mysql/mysqlmodel.h"

/// Stores, changes, deletes and reads records in a MySQL database.
class BRELVANSHARED_EXPORT MySqlQuery : public MySqlModel
{
    Q_OBJECT
public:
    MySqlQuery();
    ~MySqlQuery() override;

    TESSARK_SERVER_PERSISTENCE_OPERATIONS
    using BackendObject::Delete;
    using BackendObject::UpdateByKey;
};

#endif // TESSARK_MYSQL_MYSQLQUERY_H
