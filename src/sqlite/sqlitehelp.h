#ifndef TESSARK_SQLITE_SQLITEHELP_H
#define TESSARK_SQLITE_SQLITEHELP_H

#include "core/connectioncore.h"

/// One named connection to one SQLite file. All work on a file path is
/// serialised across objects and threads by that path's mutex.
class BRELVANSHARED_EXPORT SQLiteHelp : public Tessark::ConnectionCore
{
    Q_OBJECT
public:
    SQLiteHelp();

    /// Sets the database file (it must exist); connectTag tells connections apart.
    void InitInfo(QString path, QString connectTag);

    /// Both batch forms; InsertList is the id-collecting one.
    using ConnectionCore::ExecutionList;
    using ConnectionCore::InsertList;
};

#endif // TESSARK_SQLITE_SQLITEHELP_H
