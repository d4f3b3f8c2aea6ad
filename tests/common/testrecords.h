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

// A record of a table (id, code, label); its key is id unless given.
class Item : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int id MEMBER id)
    Q_PROPERTY(QString code MEMBER code)
    Q_PROPERTY(QString label MEMBER label)

public:
    explicit Item(const QString& table, const QString& key = QStringLiteral("id"))
    {
        TableName = table;
        Key = key;
    }

    int id = 0;
    QString code, label;
};

// A record none of whose properties is a column of the Item table.
class Stranger : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(QString nothing MEMBER nothing)

public:
    explicit Stranger(const QString& table) { TableName = table, Key = QStringLiteral("nothing"); }

    QString nothing = QStringLiteral("n1");
};

#endif // TESSARK_TESTS_COMMON_TESTRECORDS_H
