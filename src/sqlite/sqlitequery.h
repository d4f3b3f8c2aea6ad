#ifndef TESSARK_SQLITE_SQLITEQUERY_H
#define TESSARK_SQLITE_SQLITEQUERY_H

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
};

#endif // TESSARK_SQLITE_SQLITEQUERY_H
