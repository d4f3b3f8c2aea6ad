#ifndef TESSARK_MODEL_CREATEDATABASEMODEL_H
#define TESSARK_MODEL_CREATEDATABASEMODEL_H

#include <QList>
#include <QString>

#include "brelvan_global.h"

// One column of a table to be created; Type is a Qt type name ("int", "QString", ...).
struct BRELVANSHARED_EXPORT ColumnInfoModel
{
    QString Name;
    bool IsPrimaryKey = false;
    bool IsIndex = false;
    bool IsAutoIncrement = false;
    int IsDesc = 0; // non-zero: indexed in descending order
    QString Type;
};

// One table to be created, with at most one index over its IsIndex columns.
struct BRELVANSHARED_EXPORT TableInfoModel
{
    QString TableName;
    QString IndexName;
    QList<ColumnInfoModel> Columns;
};

// A SQLite database file to be created.
struct BRELVANSHARED_EXPORT CreateDatabaseModel
{
    QString DatabasePath;
    QList<TableInfoModel> Tables;
};

#endif // TESSARK_MODEL_CREATEDATABASEMODEL_H
