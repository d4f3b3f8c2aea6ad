#ifndef TESSARK_POSTGRESQL_POSTGRESQLMODEL_H
#define TESSARK_POSTGRESQL_POSTGRESQLMODEL_H

#include "core/persistencecore.h"
#include "postgresql/postgresqlhelp.h"

// PostgreSQL statement text (RETURNING inserts, NULL for empty date-times) and
// a schema -> tables cache; GetModelName qualifies a bare table name.
class BRELVANSHARED_EXPORT PostgreSQLModel : public Tessark::PersistenceCore
{
    Q_OBJECT
public:
    PostgreSQLModel();
    ~PostgreSQLModel() override;

    QString GetModelName(QString tableName);
    QString GetColumnInfoSql(QString tableName);

protected:
    SchemaTables fetchTables() override;
    QString tableSql() override { return QString(); }
    QString columnSql(const QString& tableName) override { return GetColumnSql(tableName); }
    Tessark::SqlValue dateTimeValue(const QVariant& value) const override;
    void appendDateTime(QString& sql, const QDateTime& value) const override;

    PostgreSQLHelp m_help;

private:
    using DialectCore::GetUpdateSqlByKey; // PostgreSQL offers no update by another key

    QString GetModeSql();
    QString GetTableSql(QString schema);
    QString GetColumnSql(QString tableName);
};

#endif // TESSARK_POSTGRESQL_POSTGRESQLMODEL_H
