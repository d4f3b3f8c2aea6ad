#ifndef TESSARK_TESTS_COMMON_TESTRECORDS_H
#define TESSARK_TESTS_COMMON_TESTRECORDS_H

#include <QDateTime>

#include "Model/objectmodel.h"

// A record class. The property UserName differs
// from its column (username) in case only, on purpose.
class Person : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int id MEMBER id)
    Q_PROPERTY(QString UserName MEMBER UserName)
    Q_PROPERTY(double score MEMBER score)
    Q_PROPERTY(QDateTime born MEMBER born)
    Q_PROPERTY(QString nickname MEMBER nickname)

public:
    explicit Person(const QString& table = QStringLiteral("person"), const QString& key = QStringLiteral("id"))
    {
        TableName = table;
        Key = key;
    }

    int id = 0;
    QString UserName;
    double score = 0;
    QDateTime born = QDateTime(QDate(2000, 1, 1), QTime(0, 0));
    QString nickname; // no such column: always left out
};

// A record whose key is caller-supplied text.
class Tag : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(QString code MEMBER code)
    Q_PROPERTY(QString label MEMBER label)

public:
    explicit Tag(const QString& table = QStringLiteral("tag"))
    {
        TableName = table;
        Key = QStringLiteral("code");
    }

    QString code;
    QString label;
};

#endif // TESSARK_TESTS_COMMON_TESTRECORDS_H
