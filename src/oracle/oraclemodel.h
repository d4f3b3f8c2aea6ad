#ifndef TESSARK_ORACLE_ORACLEMODEL_H
#define TESSARK_ORACLE_ORACLEMODEL_H

#include "core/persistencecore.h"
#include "oracle/oraclehelp.h"

// Oracle statement text (to_date values, rownum paging) and schema-name caches.
class BRELVANSHARED_EXPORT OracleModel : public Tessark::PersistenceCore
{
    Q_OBJECT
public:
    OracleModel();
    ~OracleModel() override;

    QString GetQueryIndexSql(QString tableName, int offset, int count) override;

protected:
    QString tableSql() override { return GetTableSql(); }
    QString columnSql(const QString& tableName) override { return GetColumnSql(tableName); }
    Tessark::SqlValue dateTimeValue(const QVariant& value) const override;

    OracleHelp m_help;

private:
    QString GetTableSql();
    QString GetColumnSql(QString tableName);
};

#endif // TESSARK_ORACLE_ORACLEMODEL_H
