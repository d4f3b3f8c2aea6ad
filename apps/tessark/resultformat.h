#ifndef TESSARK_APPS_RESULTFORMAT_H
#define TESSARK_APPS_RESULTFORMAT_H

// Query results as aligned tables for people, CSV and JSON for scripts.

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <functional>

#include "Model/types.h"

namespace Cli {

// The result's column names in the order a reader expects. A result row
// does not keep the driver's column order, so: columns named in the select
// list come in the order they are named there; the rest (a "*") in the
// order of tableColumns() (the columns of the tables the statement reads,
// asked for only when needed), then by name.
QStringList columnOrder(const RowList& rows, const QString& sql, const std::function<QStringList()>& tableColumns);

// Whether name stands in text as a word of its own, ignoring case.
bool mentions(const QString& text, const QString& name);

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
