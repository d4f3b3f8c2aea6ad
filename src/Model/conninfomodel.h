#ifndef TESSARK_MODEL_CONNINFOMODEL_H
#define TESSARK_MODEL_CONNINFOMODEL_H

#include <QString>

#include "brelvan_global.h"
#include "Model/types.h"

/// How to reach one database. For SQLite, DatabaseName is the file path.
struct BRELVANSHARED_EXPORT ConnInfoModel
{
    /// database kind: 0 PostgreSQL, 1 Oracle, 2 SQLite, 3 MySQL
    DbType Type = 0;
    /// server host name or address
    QString Host;
    /// server port
    int Port = 0;
    /// user to log in as
    QString UserName;
    /// password; connection names and logs carry only a digest of it
    QString Password;
    /// database name (Oracle: service name; SQLite: file path)
    QString DatabaseName;
    QString ConnectTag; ///< distinguishes several connections to one database; empty: "default"

    /// SQLite form.
    ConnInfoModel(short type, QString databaseName, QString connectTag)
        : Type(type), DatabaseName(databaseName), ConnectTag(connectTag) {}

    /// Server form; note the database name comes after the credentials.
    ConnInfoModel(short type, QString host, int port, QString userName, QString password,
                  QString databaseName, QString connectTag)
        : Type(type), Host(host), Port(port), UserName(userName), Password(password),
          DatabaseName(databaseName), ConnectTag(connectTag) {}
};

#endif // TESSARK_MODEL_CONNINFOMODEL_H
