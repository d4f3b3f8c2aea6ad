#ifndef TESSARK_APPS_SCHEMAJSON_H
#define TESSARK_APPS_SCHEMAJSON_H

// The JSON description create-db reads (docs/cli.md):
//   {"database": "shop.db",
//    "tables": [{"name": "customer", "index": "customer_by_name",
//                "columns": [{"name": "id", "type": "int", "primaryKey": true, "autoIncrement": true},
//                            {"name": "name", "type": "QString", "index": true, "descending": false}]}]}

#include <QByteArray>
#include <QString>

#include "Model/createdatabasemodel.h"

namespace Cli {

// The description in a JSON document; fileName names it in messages and its
// folder anchors a relative "database" path. A non-empty database overrides
// the document's. Anything wrong ends the command with a message that says
// where and what to fix.
CreateDatabaseModel schemaFromJson(const QByteArray& json, const QString& fileName, const QString& database);

// The same, read from a file.
CreateDatabaseModel readSchema(const QString& fileName, const QString& database);

// The SQLite type the library gives a Qt type name; empty for none.
QString sqliteTypeOf(const QString& qtType);

} // namespace Cli

#endif // TESSARK_APPS_SCHEMAJSON_H
