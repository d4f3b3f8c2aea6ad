// Everything that tells SQLite from the other databases.

#include "Model/columninfomodels.h"
#include "core/dialect.h"
#include "core/rules.h"
#include "schema/modelgenerator.h"
#include "sqlite/sqlitehelp.h"
#include "sqlite/sqlitestatements_p.h"

namespace Tessark {

namespace {

QString tableSql(const Dialect&, const QString&)
{
    return QStringLiteral("SELECT name as  TableName FROM sqlite_master WHERE type='table' ORDER BY name ");
}

QString columnSql(const Dialect& dialect, const QString&, const QString& tableName)
{
    return QStringLiteral("PRAGMA table_info(%1)").arg(dialect.quoted(tableName));
}

// Generated record classes: matched against the lower-cased declared type.
// "datatime" (so DATETIME maps to nothing) and decimal -> long are kept as
// applications already depend on them.
const TypeRule generatorTypes[] = {
    {"integer", "int"},
    {"int", "int"},
    {"text", "QString"},
    {"varchar", "QString"},
    {"timestamp", "QDateTime"},
    {"datatime", "QDateTime"},
    {"float", "float"},
    {"double", "double"},
    {"decimal", "long"},
    {nullptr, nullptr},
};

} // namespace

const ModelTraits sqliteModelTraits = {
    /* columnSql */ [](const Dialect& dialect, const QString& tableName) { return columnSql(dialect, QString(), tableName); },
    /* records */ objectsFromRows<ColumnInfoSQLiteModel>,
    /* projectName */ "Tessark",
    /* nameProperty */ "name",
    /* commentProperty */ nullptr,
    /* lowerCaseTypes */ true,
    /* typeRules */ generatorTypes,
};

const BackendRules sqliteRules = {
    Kind::SQLite,
    {
        /* driver */ "QSQLITE",
        /* displayName */ "SQLite",
        /* initialName */ "defaultSQLite",
        /* idBatchBeginFailure */ nullptr,
        /* failedCommitEndsTransaction */ false,
        /* fileDatabase */ true,
        /* addressInDatabaseName */ false,
        /* sessionStatement */ nullptr,
        /* connectionLost */ nullptr,
        /* serverVersionSql */ "SELECT 'SQLite ' || sqlite_version()",
    },
    {
        /* quoteTables */ true,
        /* quoteColumns */ true,
        /* objectUpdateWhere */ " where ",
        /* fieldUpdateKeyUpper */ false,
        /* fieldInsertTrailingBlank */ false,
        /* returningKey */ false,
        /* escapeBackslash */ false,
        /* quoteFieldDeleteValue */ true,
        /* dateTime */ DateTimeStyle::SpaceMillis,
        /* pageSql */ nullptr,
    },
    {
        /* schemaSql */ nullptr,
        /* schemaRowKey */ nullptr,
        tableSql,
        columnSql,
        /* tableRowKey */ "TableName",
        /* columnRowKey */ "name",
        /* tableFactsSql */ nullptr,
    },
    {
        /* fromReturningRow */ false,
        /* lastIdHead */ "SELECT LAST_INSERT_ROWID() as ",
        /* fieldInsertReadsKey */ true,
        /* listsContinueOnError */ true,
        /* emptyInsertStoresDefaults */ false,
    },
    {
        /* binding */ Binding::Driver,
        /* leadingBomLost */ true,
        /* multiRowInsert */ true,
        /* maxRows */ 512,
        // SQLite before 3.32 takes at most 999 host parameters.
        /* maxParameters */ 999,
        /* maxBytes: far below SQLITE_MAX_LENGTH */ 8 << 20,
        /* packetLimitSql */ nullptr,
        /* listStatements */ newSqliteStatements,
        sqliteCommitsAlone,
        /* executePrepared */ nullptr,
    },
    &sqliteModelTraits,
    /* dateTimeFormat: SQLite stores ISO text */ "yyyy-MM-ddTHH:mm:ss",
    []() -> ConnectionCore* { return new SQLiteHelp; },
};

} // namespace Tessark
