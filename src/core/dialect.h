#ifndef TESSARK_CORE_DIALECT_H
#define TESSARK_CORE_DIALECT_H

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include "brelvan_global.h"
#include "Model/types.h"
#include "core/propertyplan.h"
#include "core/rules.h"

class ObjectModel;

namespace Tessark {

// A statement with its values apart: shape is the text with '?' where each
// value stands (marks: their offsets), values the text each has between its
// quotes, or null where the text says NULL. rowAt..rowEnd is an INSERT's
// "(...)" after VALUES.
struct BoundStatement
{
    QString shape;
    QVector<int> marks;
    QVector<QVariant> values;
    int rowAt = -1;
    int rowEnd = -1;
};

// What a browsing view pages through: a table, or the rows of a query when
// query is set; where is the caller's condition text (without WHERE),
// orderBy a column of the result, tiebreak a unique one after it so that
// pages neither overlap nor leave rows out.
struct BrowseSource
{
    QString table;
    QString query;
    QString where;
    QString orderBy;
    bool descending = false;
    QString tiebreak;
};

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
    // The record INSERT and UPDATE above with their values apart. False where
    // a value is no quoted literal (a to_date call), so only the text will do.
    bool bindInsert(const QString& tableName, const QStringList& columns, ObjectModel* obj, const QString& key,
                    bool generatedKey, const QStringList& excluded, BoundStatement& out) const;
    bool bindUpdate(const QString& tableName, const QStringList& columns, ObjectModel* obj, const QString& key,
                    BoundStatement& out) const;
    QString GetDeleteSql(const QString& tableName, const QString& key, const QVariant& value) const;
    QString GetDeleteSql(const QString& tableName, const QString& key, const QList<FieldPair>& fields) const;
    QString GetDeleteAllSql(const QString& tableName) const;
    QString GetQuerySql(const QString& tableName) const;
    QString GetQueryIndexSql(const QString& tableName, int offset, int count) const;
    QString GetQueryRowSql(const QString& tableName) const;
    // A page of a browsed source, its condition and order on the paged SELECT
    // itself (MariaDB drops an ORDER BY inside a derived table).
    QString GetBrowsePageSql(const BrowseSource& source, int offset, int count) const;
    // The number of rows GetBrowsePageSql() pages through.
    QString GetBrowseCountSql(const BrowseSource& source) const;

    // value between single quotes, its quotes (and where they escape, backslashes) doubled.
    QString quoted(const QString& value) const;

    const DialectRules& rules() const { return m_rules; }

private:
    QString table(const QString& name) const;
    QString column(const QString& name) const;
    void appendQuoted(QString& sql, const QString& value) const;
    template <class Out> void appendRendered(Out& out, const QVariant& value) const;
    template <class Out> void appendProperty(Out& out, const PropertyPlan::Column& c, QObject* obj) const;
    template <class Out> void appendDateTime(Out& out, const QDateTime& value) const;
    void appendUpdateHead(QString& sql, const QString& tableName) const;
    QString browseFrom(const BrowseSource& source) const;
    template <class Out>
    void writeInsert(Out& out, const QString& tableName, const QStringList& columns, ObjectModel* obj,
                     const QString& key, bool generatedKey, const QStringList& excluded) const;
    template <class Out>
    void recordUpdate(Out& out, const QString& tableName, const QStringList& columns, ObjectModel* obj,
                      const QString& key, bool anyProperty, QString& keyValue) const;
    template <class Out>
    void writeUpdate(Out& out, const QString& tableName, const QStringList& columns, ObjectModel* obj,
                     const QString& key) const;

    const DialectRules& m_rules;
};

} // namespace Tessark

#endif // TESSARK_CORE_DIALECT_H
