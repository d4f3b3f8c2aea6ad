#ifndef TESSARK_POSTGRESQL_POSTGRESQLQUERY_H
#define TESSARK_POSTGRESQL_POSTGRESQLQUERY_H

#include "postgresql/postgresqlmodel.h"

// Stores, changes, deletes and reads records in a PostgreSQL database; keys
// come back from the INSERT's RETURNING row.
class BRELVANSHARED_EXPORT PostgreSQLQuery : public PostgreSQLModel
{
    Q_OBJECT
public:
    PostgreSQLQuery();
    ~PostgreSQLQuery() override;

    TESSARK_SERVER_PERSISTENCE_OPERATIONS

    // The trailing flag is accepted and not used.
    bool Delete(QString tableName, QString key, QList<FieldPair> fields, bool)
    {
        return PersistenceCore::Delete(tableName, key, fields);
    }
    bool Delete(QString column, QVariant value, QString tableName, bool)
    {
        return PersistenceCore::Delete(column, value, tableName);
    }
    bool Delete(QString column, QVariant value, ObjectModel* obj, bool)
    {
        return PersistenceCore::Delete(column, value, obj);
    }

    QString GetModelTableName(QString name) { return GetModelName(name); }
};

#endif // TESSARK_POSTGRESQL_POSTGRESQLQUERY_H
