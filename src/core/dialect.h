#ifndef TESSARK_CORE_DIALECT_H
#define TESSARK_CORE_DIALECT_H

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include "brelvan_global.h"
#include "Model/types.h"
#include "core/propertyplan.h"
#include "core/rules.h"

class ObjectModel;

namespace Tessark {

// Statement text, written once for every database from its DialectRules.
// Builds text only: no connection, no locks, no caches.
class BRELVANSHARED_EXPORT Dialect
{
public:
    explicit Dialect(const DialectRules& rules) : m_rules(rules) {}

    QString GetInsertSql(const QString& tableName, const QStringList& columns, ObjectModel* obj,
                         const QString& key, bool generatedKey, const QStringList& excluded) const;
    QString GetInsertSql(const QString& tableName, const QStringList& columns, const QList<FieldPair>& fields,
                         const QString& key, bool generatedKey) const;
    QString GetUpdateSql(const QString& tableName, const QStringList& columns, ObjectModel* obj,
                         const QString& key) const;
    QString GetUpdateSql(const QString& tableName, const QString& key, const QStringList& columns,
                         const QList<FieldPair>& fields) const;
    QString GetUpdateSqlByKey(const QString& tableName, const QString& key, const QStringList& columns,
                              ObjectModel* obj) const;
    QString GetDeleteSql(const QString& tableName, const QString& key, const QVariant& value) const;
    QString GetDeleteSql(const QString& tableName, const QString& key, const QList<FieldPair>& fields) const;
    QString GetDeleteAllSql(const QString& tableName) const;
    QString GetQuerySql(const QString& tableName) const;
    QString GetQueryIndexSql(const QString& tableName, int offset, int count) const;
    QString GetQueryRowSql(const QString& tableName) const;

    // value between single quotes, its quotes (and where they escape, backslashes) doubled.
    QString quoted(const QString& value) const;

    const DialectRules& rules() const { return m_rules; }

private:
    QString table(const QString& name) const;
    QString column(const QString& name) const;
    void appendQuoted(QString& sql, const QString& value) const;
    void appendRendered(QString& sql, const QVariant& value) const;
    void appendProperty(QString& sql, const PropertyPlan::Column& c, QObject* obj) const;
    void appendDateTime(QString& sql, const QDateTime& value) const;
    void appendUpdateHead(QString& sql, const QString& tableName) const;
    QString recordUpdate(const QString& tableName, const QStringList& columns, ObjectModel* obj,
                         const QString& key, bool anyProperty, QString& keyValue) const;

    const DialectRules& m_rules;
};

} // namespace Tessark

#endif // TESSARK_CORE_DIALECT_H
