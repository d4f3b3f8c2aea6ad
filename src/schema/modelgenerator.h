#ifndef TESSARK_SCHEMA_MODELGENERATOR_H
#define TESSARK_SCHEMA_MODELGENERATOR_H

#include <QDate>
#include <QList>
#include <QString>

#include "brelvan_global.h"
#include "Model/objectmodel.h"
#include "Model/types.h"

// Writes the header (and optionally the source) of an ObjectModel subclass
// describing an existing table. Written once; a backend contributes its
// column query, its catalogue record class and a ModelTraits table.
namespace Tessark {

// A declared type containing substring becomes qtType.
struct TypeRule
{
    const char* substring;
    const char* qtType;
};

class Backend;
class Dialect;

// What tells one backend's generated record class from another's.
struct ModelTraits
{
    // The column query the generator reads, one row per generated column,
    // each with the column's name (under nameProperty) and its declared "type".
    QString (*columnSql)(const Dialect& dialect, const QString& tableName);
    // The rows as the backend's catalogue records; the caller deletes them.
    QList<ObjectModel*> (*records)(const RowList& rows);
    const char* projectName;     // the word on the "@projectName" line
    const char* nameProperty;    // catalogue record property holding the column name
    const char* commentProperty; // ... holding the column comment; null: the fixed summary word
    bool lowerCaseTypes;         // declared types are lower-cased before matching
    const TypeRule* typeRules;   // tried in order, the first match decides; ends with {nullptr, nullptr}
};

BRELVANSHARED_EXPORT extern const ModelTraits sqliteModelTraits;
BRELVANSHARED_EXPORT extern const ModelTraits postgresqlModelTraits;

// The Qt type name for a declared column type; empty when no rule matches.
BRELVANSHARED_EXPORT QString columnType(const ModelTraits& traits, const QString& declaredType);

// Sets every meta-property of record (inherited ones too) from the row key
// that equals its name ignoring case; when several keys match, the last one met wins.
BRELVANSHARED_EXPORT void fillFromRow(QObject* record, const Row& row);

// One new heap record per row; the caller owns them.
template <class Record>
QList<Record*> recordsFromRows(const RowList& rows)
{
    QList<Record*> records;
    for (const Row& row : rows) {
        auto* record = new Record;
        fillFromRow(record, row);
        records.append(record);
    }
    return records;
}

struct ModelRequest
{
    QString tableName;
    QString keyName;   // empty: no equality operator, no Key in the constructor
    QString className;
    bool withStream;   // stream operators and the source file
};

struct ModelText
{
    QString header;
    QString source;    // empty without stream operators
};

// The generated text for the column records, dated date.
BRELVANSHARED_EXPORT ModelText modelText(const QList<ObjectModel*>& columns, const ModelTraits& traits,
                                         const ModelRequest& request, const QDate& date);

// Writes <folder>/<lower-case class>.h (and .cpp with stream operators) as
// UTF-8, overwriting. A file that cannot be opened is skipped silently.
BRELVANSHARED_EXPORT void writeModelFiles(const ModelText& text, const QString& folder,
                                          const QString& className);

// The generator's column rows of a table, read through the backend; empty
// for a backend that has no generator.
BRELVANSHARED_EXPORT RowList generatorColumns(Backend& backend, const QString& tableName);

// CreateModel: reads the columns, writes the files. False when the backend
// has no generator, the table no (generated) column or the folder is missing.
BRELVANSHARED_EXPORT bool createModel(Backend& backend, const QString& folder, const ModelRequest& request,
                                      const QDate& date = QDate::currentDate());

// Catalogue rows as heap records of one class, for ModelTraits::records.
template <class Record>
QList<ObjectModel*> objectsFromRows(const RowList& rows)
{
    const QList<Record*> records = recordsFromRows<Record>(rows);
    return QList<ObjectModel*>(records.begin(), records.end());
}

} // namespace Tessark

#endif // TESSARK_SCHEMA_MODELGENERATOR_H
