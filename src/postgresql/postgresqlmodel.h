#ifndef TESSARK_POSTGRESQL_POSTGRESQLMODEL_H
#define TESSARK_POSTGRESQL_POSTGRESQLMODEL_H

#include "core/backendobject.h"
#include "postgresql/postgresqlhelp.h"

/// PostgreSQL statement text (RETURNING inserts, NULL for empty date-times) and
/// a schema -> tables cache; GetModelName qualifies a bare table name.
class BRELVANSHARED_EXPORT PostgreSQLModel : public Tessark::BackendObject
{
    Q_OBJECT
public:
    PostgreSQLModel();
    ~PostgreSQLModel() override;

    /// The class name the record-class generator gives a table.
    QString GetModelName(QString tableName);
    /// The catalogue query the generator reads a table's columns with.
    QString GetColumnInfoSql(QString tableName);

private:
    using BackendObject::GetUpdateSqlByKey; // PostgreSQL offers no update by another key
};

#endif // TESSARK_POSTGRESQL_POSTGRESQLMODEL_H
