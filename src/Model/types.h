#ifndef TESSARK_MODEL_TYPES_H
#define TESSARK_MODEL_TYPES_H

#include <QHash>
#include <QList>
#include <QPair>
#include <QString>
#include <QVariant>

/// Database kind: 0 PostgreSQL, 1 Oracle, 2 SQLite, 3 MySQL; anything else selects nothing.
typedef qint16 DbType;

namespace Tessark {
/// The database kinds by their DbType numbers.
enum class Kind : DbType { PostgreSQL = 0, Oracle = 1, SQLite = 2, MySQL = 3 };
} // namespace Tessark

/// One result row: column name -> value.
typedef QHash<QString, QVariant> Row;
typedef QList<Row> RowList;

/// Column name and value text; in the id-collecting batch, result alias and id query.
typedef QPair<QString, QString> FieldPair;

#endif // TESSARK_MODEL_TYPES_H
