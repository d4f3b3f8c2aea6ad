#include "schema/modelgenerator.h"

// The two backends' differences in generated record classes. Both tables keep
// the quirks applications already depend on: "datatime" (so SQLite DATETIME
// maps to nothing), numeric -> int and decimal -> long.
namespace Tessark {

namespace {

// Matched against the lower-cased declared type.
const TypeRule sqliteTypes[] = {
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

// Matched case-sensitively against typname followed by format_type's text.
const TypeRule postgresqlTypes[] = {
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

const ModelTraits sqliteModelTraits = {
    /* projectName */ "Tessark",
    /* nameProperty */ "name",
    /* commentProperty */ nullptr,
    /* lowerCaseTypes */ true,
    /* typeRules */ sqliteTypes,
};

const ModelTraits postgresqlModelTraits = {
    /* projectName */ "",
    /* nameProperty */ "attname",
    /* commentProperty */ "description",
    /* lowerCaseTypes */ false,
    /* typeRules */ postgresqlTypes,
};

} // namespace Tessark
