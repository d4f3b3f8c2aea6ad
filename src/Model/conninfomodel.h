#ifndef TESSARK_MODEL_CONNINFOMODEL_H
#define TESSARK_MODEL_CONNINFOMODEL_H

#include <QString>

#include "brelvan_global.h"
#include "Model/types.h"

// How to reach one database. For SQLite, DatabaseName is the file path.
struct BRELVANSHARED_EXPORT ConnInfoModel
{
    DbType Type = 0;
    QString Host;
    int Port = 0;
    QString UserName;
    QString Password;
    QString DatabaseName;
    QString ConnectTag; // distinguishes several connections to one database; empty: "default"

    // SQLite form.
    ConnInfoModel(short type, QString databaseName, QString connectTag)
        : Type(type), DatabaseName(databaseName), ConnectTag(connectTag) {}

    // Server form; note the database name comes after the credentials.
    ConnInfoModel(short type, QString host, int port, QString userName, QString password,
                  QString databaseName, QString connectTag)
        : Type(type), Host(host), Port(port), UserName(userName), Password(password),
          DatabaseName(databaseName), ConnectTag(connectTag) {}
};

#endif // TESSARK_MODEL_CONNINFOMODEL_H
