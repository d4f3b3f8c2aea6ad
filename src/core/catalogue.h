#ifndef TESSARK_CORE_CATALOGUE_H
#define TESSARK_CORE_CATALOGUE_H

#include <QHash>
#include <QList>
#include <QMutex>
#include <QPair>
#include <QString>
#include <QStringList>

#include "brelvan_global.h"
#include "Model/types.h"

namespace Tessark {

class ConnectionCore;
class Dialect;
struct CatalogueRules;

// Table and column names read from the database's catalogue, cached per
// connection sign; owns the caches and their locks. Catalogue statements run
// under the backend's execution lock.
class BRELVANSHARED_EXPORT Catalogue
{
public:
    Catalogue(const CatalogueRules& rules, ConnectionCore& connection, const Dialect& dialect,
              QMutex& executionLock);

    // Reads the table names unless the connection's are cached.
    void refreshTables();
    // A table's column names, from the cache or the catalogue.
    QStringList columns(const QString& tableName);

    QStringList tableNames();
    // The table's name as the database spells it (matched ignoring case); empty if none.
    QString realTableName(const QString& name);
    // A table name for a record statement: "schema"."name" where tables live
    // in schemas and one of them holds the table, else "name".
    QString qualifiedName(const QString& tableName);

    // What a write may rely on in a table; cached with the columns.
    struct TableFacts
    {
        // A failed statement leaves nothing behind once rolled back.
        bool transactional = true;
        // The column the table fills with generated keys; empty if none is known.
        QString generatedColumn;
    };
    TableFacts tableFacts(const QString& tableName);
    void cleanTables();
    void cleanColumns();

    QString tableSql(const QString& scope) const;
    QString columnSql(const QString& tableName) const;
    // A catalogue statement's rows, read under the execution lock.
    RowList read(const QString& sql);

private:
    // One schema's tables; databases without schemas keep a single unnamed one.
    typedef QList<QPair<QString, QStringList>> SchemaTables;
    SchemaTables fetchTables();
    QString scope() const;

    const CatalogueRules& m_rules;
    ConnectionCore& m_connection;
    const Dialect& m_dialect;
    QMutex& m_executionLock;

    QMutex m_tableLock;
    QMutex m_columnLock;
    QHash<QString, SchemaTables> m_tables;                 // sign -> tables
    QHash<QString, QHash<QString, QStringList>> m_columns; // sign -> table -> columns
    QHash<QString, QHash<QString, TableFacts>> m_facts;     // sign -> table -> facts
};

} // namespace Tessark

#endif // TESSARK_CORE_CATALOGUE_H
