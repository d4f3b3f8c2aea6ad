#ifndef TESSARK_SQLITE_SQLITEMODEL_H
#define TESSARK_SQLITE_SQLITEMODEL_H

#include "core/persistencecore.h"
#include "sqlite/sqlitehelp.h"

// SQLite statement text and schema-name caches.
class BRELVANSHARED_EXPORT SQLiteModel : public Tessark::PersistenceCore
{
    Q_OBJECT
public:
    SQLiteModel();
    ~SQLiteModel() override;

    QString GetColumnSql(QString tableName);

protected:
    QString tableSql() override { return GetTableSql(); }
    QString columnSql(const QString& tableName) override { return GetColumnSql(tableName); }
    Tessark::SqlValue dateTimeValue(const QVariant& value) const override;
    void appendDateTime(QString& sql, const QDateTime& value) const override;

    SQLiteHelp m_help;

private:
    QString GetTableSql();
};

#endif // TESSARK_SQLITE_SQLITEMODEL_H
