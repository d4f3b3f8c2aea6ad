#ifndef TESSARK_MYSQL_MYSQLMODEL_H
#define TESSARK_MYSQL_MYSQLMODEL_H

#include "core/persistencecore.h"
#include "mysql/mysqlhelp.h"

// MySQL statement text (no identifier quoting) and schema-name caches of the
// connection's own database.
class BRELVANSHARED_EXPORT MySqlModel : public Tessark::PersistenceCore
{
    Q_OBJECT
public:
    MySqlModel();
    ~MySqlModel() override;

protected:
    QString tableSql() override { return GetTableSql(m_help.GetDatabaseName()); }
    QString columnSql(const QString& tableName) override
    {
        return GetColumnSql(m_help.GetDatabaseName(), tableName);
    }
    void appendDateTime(QString& sql, const QDateTime& value) const override;

    MySqlHelp m_help;

private:
    QString GetTableSql(QString databaseName);
    QString GetColumnSql(QString databaseName, QString tableName);
};

#endif // TESSARK_MYSQL_MYSQLMODEL_H
