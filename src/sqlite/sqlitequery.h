#ifndef TESSARK_SQLITE_SQLITEQUERY_H
#define TESSARK_SQLITE_SQLITEQUERY_H

#include "Model/columninfomodels.h"
#include "Model/createdatabasemodel.h"
#include "sqlite/sqlitemodel.h"

/// Stores, changes, deletes and reads records in a SQLite database.
class BRELVANSHARED_EXPORT SQLiteQuery : public SQLiteModel
{
    Q_OBJECT
public:
    SQLiteQuery();
    ~SQLiteQuery() override;

    /// Sets the database file (it must exist); connectTag tells connections apart.
    void InitInfo(QString path, QString connectTag);

    TESSARK_PERSISTENCE_OPERATIONS
    using BackendObject::Delete;
    using BackendObject::UpdateByKey;

    /// Creates a new SQLite file from a description, replacing any file at its path.
    bool CreateDatabase(CreateDatabaseModel model);

    /// Writes FOLDER/<lower-case className>.h (and .cpp with stream operators)
    /// describing tableName; false when the table has no columns or folder is missing.
    bool CreateModel(QString tableName, QString keyName, QString folder, QString className, bool withStream);
};

#endif // TESSARK_SQLITE_SQLITEQUERY_H
