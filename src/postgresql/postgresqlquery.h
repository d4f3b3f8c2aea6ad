#ifndef TESSARK_POSTGRESQL_POSTGRESQLQUERY_H
#define TESSARK_POSTGRESQL_POSTGRESQLQUERY_H

#include "Model/columninfomodels.h"
#include "postgresql/postgresqlmodel.h"

/// Stores, changes, deletes and reads records in a PostgreSQL database; keys
/// come back from the INSERT's RETURNING row.
class BRELVANSHARED_EXPORT PostgreSQLQuery : public PostgreSQLModel
{
    Q_OBJECT
public:
    PostgreSQLQuery();
    ~PostgreSQLQuery() override;

    TESSARK_SERVER_PERSISTENCE_OPERATIONS

    /// The trailing flag is accepted and not used.
    bool Delete(QString tableName, QString key, QList<FieldPair> fields, bool)
    {
        return BackendObject::Delete(tableName, key, fields);
    }
    /// Deletes the rows whose column holds value; the last argument is ignored.
    bool Delete(QString column, QVariant value, QString tableName, bool)
    {
        return BackendObject::Delete(column, value, tableName);
    }
    /// The same in the record's table.
    bool Delete(QString column, QVariant value, ObjectModel* obj, bool)
    {
        return BackendObject::Delete(column, value, obj);
    }

    /// The class name the record-class generator gives a table.
    QString GetModelTableName(QString name) { return GetModelName(name); }

    /// Writes FOLDER/<lower-case className>.h (and .cpp with stream operators)
    /// describing tableName's commented columns; false when there are none or folder is missing.
    bool CreateModel(QString tableName, QString keyName, QString folder, QString className, bool withStream);
    /// The commented columns of tableName; the caller deletes the records.
    QList<ColumnInfoPostgreSQLModel*> GetColumnInfo(QString tableName);
};

#endif // TESSARK_POSTGRESQL_POSTGRESQLQUERY_H
