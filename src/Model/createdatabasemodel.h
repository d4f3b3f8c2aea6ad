#ifndef TESSARK_MODEL_CREATEDATABASEMODEL_H
#define TESSARK_MODEL_CREATEDATABASEMODEL_H

#include <QList>
#include <QString>

#include "brelvan_global.h"

/// One column of a table to be created; Type is a Qt type name ("int", "QString", ...).
struct BRELVANSHARED_EXPORT ColumnInfoModel
{
    /// column name
    QString Name;
    /// part of the primary key
    bool IsPrimaryKey = false;
    /// part of the table's index
    bool IsIndex = false;
    /// SQLite AUTOINCREMENT key
    bool IsAutoIncrement = false;
    int IsDesc = 0; ///< non-zero: indexed in descending order
    /// Qt type name, mapped to a SQLite type
    QString Type;
};

/// One table to be created, with at most one index over its IsIndex columns.
struct BRELVANSHARED_EXPORT TableInfoModel
{
    /// table name
    QString TableName;
    /// index name; empty: no index
    QString IndexName;
    /// columns in order
    QList<ColumnInfoModel> Columns;
};

/// A SQLite database file to be created.
struct BRELVANSHARED_EXPORT CreateDatabaseModel
{
    /// the file to create
    QString DatabasePath;
    /// tables to create
    QList<TableInfoModel> Tables;
};

#endif // TESSARK_MODEL_CREATEDATABASEMODEL_H
