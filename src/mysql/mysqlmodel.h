#ifndef TESSARK_MYSQL_MYSQLMODEL_H
#define TESSARK_MYSQL_MYSQLMODEL_H

#include "core/backendobject.h"
#include "mysql/mysqlhelp.h"

/// MySQL statement text (no identifier quoting) and schema-name caches of the
/// connection's own database.
class BRELVANSHARED_EXPORT MySqlModel : public Tessark::BackendObject
{
    Q_OBJECT
public:
    MySqlModel();
    ~MySqlModel() override;
};

#endif // TESSARK_MYSQL_MYSQLMODEL_H
