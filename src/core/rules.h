#ifndef TESSARK_CORE_RULES_H
#define TESSARK_CORE_RULES_H

#include <QString>
#include <QVariant>
#include <QVector>

#include "brelvan_global.h"
#include "Model/types.h"

class QSqlDatabase;
class QSqlError;

// One table per database of everything that tells it from the others. Each
// database folder defines its table (sqlite/sqliterules.cpp, ...); the
// algorithms in core/ read them and never test which database they serve.
namespace Tessark {

class ConnectionCore;
class ListStatements;
class Dialect;
struct ModelTraits;

struct ConnectionRules
{
    const char* driver;        // Qt driver key
    const char* displayName;   // the database's name in log messages
    const char* initialName;   // connection name before InitInfo
    // Logged instead of the execution message when the id-collecting batch
    // cannot begin its transaction; null: the execution message.
    const char* idBatchBeginFailure;
    // A failed COMMIT has already ended the transaction (no ROLLBACK to send).
    bool failedCommitEndsTransaction;
    // The database is a file: it must exist before connecting, and its
    // per-path mutex serialises all work on it.
    bool fileDatabase;
    // The server address goes inside the database name ("host:port/name").
    bool addressInDatabaseName;
    // Sent on every newly opened session before its first statement; null: none.
    const char* sessionStatement;
    // Whether an error means the session is gone (server restart, killed
    // session); null: never. Such a connection is reopened on the next call.
    bool (*connectionLost)(const QSqlError& error);
    // One row, one column: the server's version text (tessark doctor shows it).
    const char* serverVersionSql;
};

// How a date-time value is written between the statement's quotes.
enum class DateTimeStyle {
    Iso,           // the variant's ISO text with milliseconds
    SpaceMillis,   // "yyyy-MM-dd HH:mm:ss.zzz"
    OracleToDate,  // to_date('yyyy-MM-dd HH:mm:ss', 'yyyy/mm/dd hh24:mi:ss')
};

struct DialectRules
{
    bool quoteTables;              // "t" rather than t
    bool quoteColumns;             // "c" rather than c
    const char* objectUpdateWhere; // " where " or " WHERE " in the record UPDATE
    bool fieldUpdateKeyUpper;      // field UPDATE writes its key upper- (else lower-) cased
    bool fieldInsertTrailingBlank; // field INSERT ends in a blank
    bool returningKey;             // INSERT ends with RETURNING <key>
    bool escapeBackslash;          // backslash is an escape inside '...'
    bool quoteFieldDeleteValue;    // field DELETE writes 'value' (else the caller's literal)
    DateTimeStyle dateTime;        // a null or invalid date-time is NULL in every style
    // Paging text; null: "select * from <table> t LIMIT <count> OFFSET <offset> ".
    QString (*pageSql)(const QString& tableName, int offset, int count);
};

// Catalogue reads. scope is what the database groups its tables in: the
// connection's database name (MySQL) or a schema (PostgreSQL's schemaSql walk).
struct CatalogueRules
{
    // Lists the schemas whose tables are read, one per row under schemaRowKey;
    // null: one unnamed schema.
    const char* schemaSql;
    const char* schemaRowKey;
    QString (*tableSql)(const Dialect& dialect, const QString& scope);
    QString (*columnSql)(const Dialect& dialect, const QString& scope, const QString& tableName);
    const char* tableRowKey;       // catalogue column holding a table name
    const char* columnRowKey;      // catalogue column holding a column name
    // One row: TRANSACTIONS, YES when the table's engine has them, and
    // GENERATED_COLUMN, the column the table fills with generated keys (NULL if
    // none); null: every table has transactions and none is known to generate.
    QString (*tableFactsSql)(const Dialect& dialect, const QString& scope, const QString& tableName);
};

// How record persistence reads a generated key back.
struct KeyRules
{
    bool fromReturningRow;         // else a last-id query after the INSERT
    const char* lastIdHead;        // "SELECT LAST_INSERT_ROWID() as ", followed by the key
    bool fieldInsertReadsKey;      // field INSERT reads and tests the new id
    bool listsContinueOnError;     // DeleteList passes continueOnError on
    bool emptyInsertStoresDefaults; // INSERT INTO t () VALUES () stores a row (else the server refuses it)
};

// How writes are run underneath the dialect's text. A value is bound as the
// text the dialect writes between its quotes (NULL as null), so the database
// reads the same value whichever way it arrives.
enum class Binding {
    None,       // every statement is sent as its text (a multi-row INSERT too)
    Driver,     // the Qt driver prepares it and binds the values
    SqlPrepare, // PREPARE name AS ... with $n once, then EXECUTE name('v', ...)
};

// What handing a statement to the database's own client came to.
enum class Sent {
    Done,
    Failed,
    NotSent, // out of the client's reach: the driver's way then
};

struct WriteRules
{
    Binding binding;
    // The driver's bound text loses a leading U+FEFF (SQLite reads UTF-16
    // text's first BOM as its byte order): such a value goes as text.
    bool leadingBomLost;
    // Lists that read no key back go as INSERT ... VALUES (...),(...), bound
    // as above or, without binding, as the rows' texts joined.
    bool multiRowInsert;
    int maxRows;                   // rows per multi-row INSERT
    int maxParameters;             // bound values per statement
    int maxBytes;                  // bound values' UTF-8 bytes per statement
    // Reads the server's largest packet, one value; a chunk stays under a quarter
    // of it. null: maxBytes only.
    const char* packetLimitSql;
    // A list call's statements through the database's own client; null, or a
    // null result: through the driver as binding says.
    ListStatements* (*listStatements)(QSqlDatabase& db);
    // Whether db's session now commits each statement by itself (autocommit,
    // no transaction open): a single write sent alone is then a transaction of
    // its own, without BEGIN and COMMIT. null: never.
    bool (*commitsAlone)(QSqlDatabase& db);
    // Executes the statement db's session prepared as name, with values as the
    // texts the EXECUTE's literals would hold; first, if given, takes the first
    // row, each value as Qt's driver gives integers and text. null: EXECUTE
    // through the driver.
    Sent (*executePrepared)(QSqlDatabase& db, const QString& name, const QVector<QVariant>& values, Row* first);
};

struct BackendRules
{
    Kind kind;
    ConnectionRules connection;
    DialectRules dialect;
    CatalogueRules catalogue;
    KeyRules keys;
    WriteRules writes;
    const ModelTraits* generator;  // the record-class generator's type map; null: none
    const char* dateTimeFormat;    // TessarkTool::GetDateTimeFormat's pattern; null: none
    ConnectionCore* (*newConnection)(); // a new connection object of the backend's public class
};

// The table of a kind; null for a number that names no database.
BRELVANSHARED_EXPORT const BackendRules* rulesFor(DbType kind);

extern const BackendRules sqliteRules;
extern const BackendRules postgresqlRules;
extern const BackendRules mysqlRules;
extern const BackendRules oracleRules;

} // namespace Tessark

#endif // TESSARK_CORE_RULES_H
