// Everything that tells PostgreSQL from the other databases.

#include <QSqlError>

#include "Model/columninfomodels.h"
#include "core/dialect.h"
#include "core/rules.h"
#include "postgresql/postgresqlhelp.h"
#include "postgresql/postgresqlstatements_p.h"
#include "schema/modelgenerator.h"

namespace Tessark {

namespace {

QString tableSql(const Dialect& dialect, const QString& schema)
{
    return QStringLiteral("SELECT * FROM pg_tables WHERE schemaname = %1 ORDER BY tablename ")
        .arg(dialect.quoted(schema));
}

QString columnSql(const Dialect& dialect, const QString&, const QString& tableName)
{
    return QStringLiteral("SELECT * FROM information_schema.columns WHERE table_name = %1 ORDER BY "
                          "column_name ")
        .arg(dialect.quoted(tableName));
}

// Only commented columns: the generator takes their comments as documentation.
QString generatorColumnSql(const Dialect& dialect, const QString& tableName)
{
    return QStringLiteral("select a.attnum,a.attname,concat_ws('',t.typname,SUBSTRING(format_type(a.atttypid,"
                          "a.atttypmod) from '(.*)')) as type,d.description ")
           + QStringLiteral("from pg_class c, pg_attribute a , pg_type t, pg_description d ")
           + QStringLiteral("where  c.relname = %1 and a.attnum>0 and a.attrelid = c.oid and a.atttypid = "
                            "t.oid and  d.objoid=a.attrelid and d.objsubid=a.attnum ")
                 .arg(dialect.quoted(tableName));
}

bool connectionLost(const QSqlError& error)
{
    // SQLSTATE class 08 (connection exception), 57P01-03 (shutdown, crash
    // recovery); libpq reports a dropped socket without any SQLSTATE.
    const QString code = error.nativeErrorCode();
    if (code.startsWith(QLatin1String("08")) || code.startsWith(QLatin1String("57P0")))
        return true;
    const QString text = error.text();
    return text.contains(QLatin1String("server closed the connection"))
           || text.contains(QLatin1String("no connection to the server"))
           || text.contains(QLatin1String("terminating connection"));
}

// Generated record classes: matched case-sensitively against typname followed
// by format_type's text. numeric -> int and decimal -> long are kept as
// applications already depend on them.
const TypeRule generatorTypes[] = {
    {"int2", "short"},
    {"int4", "int"},
    {"numeric", "int"},
    {"int8", "qint64"},
    {"float4", "float"},
    {"float8", "double"},
    {"decimal", "long"},
    {"timestamp", "QDateTime"},
    {"varchar", "QString"},
    {"text", "QString"},
    {nullptr, nullptr},
};

} // namespace

const ModelTraits postgresqlModelTraits = {
    generatorColumnSql,
    /* records */ objectsFromRows<ColumnInfoPostgreSQLModel>,
    /* projectName */ "",
    /* nameProperty */ "attname",
    /* commentProperty */ "description",
    /* lowerCaseTypes */ false,
    /* typeRules */ generatorTypes,
};

const BackendRules postgresqlRules = {
    Kind::PostgreSQL,
    {
        /* driver */ "QPSQL",
        /* displayName */ "PostgreSQL",
        /* initialName */ "defaultPostgreSQL",
        /* idBatchBeginFailure */ nullptr,
        /* failedCommitEndsTransaction */ true,
        /* fileDatabase */ false,
        /* addressInDatabaseName */ false,
        /* sessionStatement */ nullptr,
        connectionLost,
        /* serverVersionSql */ "SELECT version()",
    },
    {
        /* quoteTables */ false,
        /* quoteColumns */ true,
        /* objectUpdateWhere */ " where ",
        /* fieldUpdateKeyUpper */ false,
        /* fieldInsertTrailingBlank */ false,
        /* returningKey */ true,
        /* escapeBackslash */ false,
        /* quoteFieldDeleteValue */ true,
        /* dateTime */ DateTimeStyle::Iso,
        /* pageSql */ nullptr,
    },
    {
        /* schemaSql */ "SELECT * FROM pg_catalog.pg_namespace Where nspname != 'pg_toast' And "
                        "nspname != 'pg_temp_1' And nspname != 'pg_toast_temp_1' And nspname != "
                        "'pg_catalog' And nspname != 'information_schema' ",
        /* schemaRowKey */ "nspname",
        tableSql,
        columnSql,
        /* tableRowKey */ "tablename",
        /* columnRowKey */ "column_name",
        /* tableFactsSql */ nullptr,
    },
    {
        /* fromReturningRow */ true,
        /* lastIdHead */ "",
        /* fieldInsertReadsKey */ false,
        /* listsContinueOnError */ false,
        /* emptyInsertStoresDefaults */ false,
    },
    {
        // Qt's driver prepares with PREPARE/EXECUTE too, but its statements
        // send DEALLOCATE when destroyed, which warns on a session that died.
        /* binding */ Binding::SqlPrepare,
        /* leadingBomLost */ false,
        /* multiRowInsert */ true,
        /* maxRows */ 1024,
        /* maxParameters */ 32767,
        /* maxBytes */ 16 << 20,
        /* packetLimitSql */ nullptr,
        /* listStatements */ nullptr,
        postgresqlCommitsAlone,
        postgresqlExecutePrepared,
    },
    &postgresqlModelTraits,
    /* dateTimeFormat */ "yyyy-MM-dd HH:mm:ss",
    []() -> ConnectionCore* { return new PostgreSQLHelp; },
};

} // namespace Tessark
