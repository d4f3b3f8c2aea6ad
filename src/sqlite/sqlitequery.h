#ifndef TESSARK_SQLITE_SQLITEQUERY_H
#define TESSARK_SQLITE_SQLITEQUERY_H

#include "Model/createdatabasemodel.h"
#include "sqlite/sqlitemodel.h"

// Stores, changes, deletes and reads records in a SQLite database.
class BRELVANSHARED_EXPORT SQLiteQuery : public SQLiteModel
{
    Q_OBJECT
public:
    SQLiteQuery();
    ~SQLiteQuery() override;

    void InitInfo(QString path, QString connectTag);

    TESSARK_PERSISTENCE_OPERATIONS
    using PersistenceCore::Delete;
    using PersistenceCore::UpdateByKey;

    // Creates a new SQLite file from a description, replacing any file at its path.
    bool CreateDatabase(CreateDatabaseModel model);
};

#endif // TESSARK_SQLITE_SQLITEQUERY_H
