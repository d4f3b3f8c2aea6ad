#ifndef TESSARK_SQLITE_SQLITEMODEL_H
#define TESSARK_SQLITE_SQLITEMODEL_H

#include "core/backendobject.h"
#include "sqlite/sqlitehelp.h"

/// SQLite statement text and schema-name caches.
class BRELVANSHARED_EXPORT SQLiteModel : public Tessark::BackendObject
{
    Q_OBJECT
public:
    SQLiteModel();
    ~SQLiteModel() override;

    /// The table-information query the generator reads a table's columns with.
    QString GetColumnSql(QString tableName);
};

#endif // TESSARK_SQLITE_SQLITEMODEL_H
