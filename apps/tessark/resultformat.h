#ifndef TESSARK_APPS_RESULTFORMAT_H
#define TESSARK_APPS_RESULTFORMAT_H

// Query results as aligned tables for people, CSV and JSON for scripts.

#include <QString>
#include <QStringList>
#include <QTextStream>

#include "Model/types.h"

namespace Cli {

// Column headings, a rule, one line per row, then "(N rows)". NULL is
// written as nullText; numbers are right-aligned; line breaks and tabs
// inside values are shown escaped.
void writeTable(QTextStream& out, const QStringList& columns, const RowList& rows, const QString& nullText);

// A heading line and one line per row. NULL is an empty field, an empty
// text a quoted one (""). Nothing at all without rows.
void writeCsv(QTextStream& out, const QStringList& columns, const RowList& rows);

// An array of objects, one per row: NULL is null, numbers are numbers,
// dates ISO 8601 text, binary values 0x-prefixed hexadecimal text.
void writeJson(QTextStream& out, const RowList& rows);

} // namespace Cli

#endif // TESSARK_APPS_RESULTFORMAT_H
