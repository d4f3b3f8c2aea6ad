#ifndef TESSARK_CORE_DIALECTCORE_H
#define TESSARK_CORE_DIALECTCORE_H

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVariant>

#include "brelvan_global.h"
#include "Model/types.h"
#include "core/propertyplan.h"

class ObjectModel;

namespace Tessark {

class ConnectionCore;

// What tells one dialect's statements from another's.
struct DialectTraits
{
    bool quoteTables;              // "t" rather than t
    bool quoteColumns;             // "c" rather than c
    const char* objectUpdateWhere; // " where " or " WHERE " in the record UPDATE
    bool fieldUpdateKeyUpper;      // field UPDATE writes its key upper- (else lower-) cased
    bool fieldInsertTrailingBlank; // field INSERT ends in a blank
    bool returningKey;             // INSERT ends with RETURNING <key>
    bool escapeBackslash;          // backslash is an escape inside '...'
    bool quoteFieldDeleteValue;    // field DELETE writes 'value' (else the caller's literal)
    const char* tableRowKey;       // catalogue column holding a table name
    const char* columnRowKey;      // catalogue column holding a column name

    // Record persistence: how a generated key comes back.
    bool keyFromReturningRow;      // else a last-id query after the INSERT
    const char* lastIdHead;        // "SELECT LAST_INSERT_ROWID() as ", followed by the key
    bool fieldInsertReadsKey;      // field INSERT reads and tests the new id
    bool listsContinueOnError;     // DeleteList passes continueOnError on
    bool emptyInsertStoresDefaults; // INSERT INTO t () VALUES () stores a row (else the server refuses it)
};

// A rendered value: quoted text, or a literal written as it is (NULL, to_date(...)).
struct SqlValue
{
    QString text;
    bool literal = false;
};

// Statement building and the schema-name caches, written once for every dialect.
class BRELVANSHARED_EXPORT DialectCore : public QObject
{
    Q_OBJECT
public:
    ~DialectCore() override;

    void Close();
    QString GetSign() const;
    void GetTable();
    QStringList GetColumn(QString tableName);

    QString GetInsertSql(QString tableName, QStringList columns, ObjectModel* obj, QString key,
                         bool generatedKey, QStringList excluded);
    QString GetInsertSql(QString tableName, QStringList columns, QList<FieldPair> fields, QString key,
                         bool generatedKey);
    QString GetUpdateSql(QString tableName, QStringList columns, ObjectModel* obj, QString key);
    QString GetUpdateSql(QString tableName, QString key, QStringList columns, QList<FieldPair> fields);
    QString GetUpdateSqlByKey(QString tableName, QString key, QStringList columns, ObjectModel* obj);
    QString GetDeleteSql(QString tableName, QString key, QVariant value);
    QString GetDeleteSql(QString tableName, QString key, QList<FieldPair> fields);
    QString GetDeleteAllSql(QString tableName);
    QString GetQuerySql(QString tableName);
    virtual QString GetQueryIndexSql(QString tableName, int offset, int count);
    QString GetQueryRowSql(QString tableName);

protected:
    // One schema's tables; dialects without schemas keep a single unnamed one.
    typedef QList<QPair<QString, QStringList>> SchemaTables;

    DialectCore(const DialectTraits& traits, ConnectionCore& connection);

    // Catalogue reads of the dialect.
    virtual SchemaTables fetchTables();
    virtual QString tableSql() = 0;
    virtual QString columnSql(const QString& tableName) = 0;
    // A valid QDateTime property's value; the default is the variant's own text, quoted.
    virtual SqlValue dateTimeValue(const QVariant& value) const;

    QString ContainsColumn(QStringList columns, QString name) const;
    QString table(const QString& name) const;
    QString column(const QString& name) const;
    QString quoted(const QString& value) const;
    void appendQuoted(QString& sql, const QString& value) const;
    static void appendName(QString& sql, const QString& name, bool quote);
    void appendValue(QString& sql, const SqlValue& value) const;
    void appendRendered(QString& sql, const QVariant& value) const;
    void appendProperty(QString& sql, const PropertyPlan::Column& c, QObject* obj) const;
    // A date-time value between quotes (or as a literal), NULL when invalid; by
    // default what dateTimeValue gives. Dialects with a shorter way to the same
    // text override it and fall back to this one.
    virtual void appendDateTime(QString& sql, const QDateTime& value) const;
    RowList catalogue(const QString& sql);

    const DialectTraits& m_dialect;
    ConnectionCore& m_connection;

    QMutex m_executionLock;
    QMutex m_tableLock;
    QMutex m_columnLock;
    QHash<QString, SchemaTables> m_tables;                 // sign -> tables
    QHash<QString, QHash<QString, QStringList>> m_columns; // sign -> table -> columns

private:
    void appendUpdateHead(QString& sql, const QString& tableName) const;
    static QString columnText(const PropertyPlan::Column& c, QObject* obj);
    QString recordUpdate(const QString& tableName, const QStringList& columns, ObjectModel* obj,
                         const QString& key, bool anyProperty, QString& keyValue) const;
};

} // namespace Tessark

#endif // TESSARK_CORE_DIALECTCORE_H
