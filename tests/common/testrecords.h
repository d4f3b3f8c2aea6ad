#ifndef TESSARK_TESTS_COMMON_TESTRECORDS_H
#define TESSARK_TESTS_COMMON_TESTRECORDS_H

#include <QDateTime>

#include "Model/objectmodel.h"

// A record class as applications write them. The property UserName differs
// from its column (username) in case only, on purpose.
class Person : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int id READ getid WRITE setid)
    Q_PROPERTY(QString UserName READ getUserName WRITE setUserName)
    Q_PROPERTY(double score READ getscore WRITE setscore)
    Q_PROPERTY(QDateTime born READ getborn WRITE setborn)
    Q_PROPERTY(QString nickname READ getnickname WRITE setnickname)

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

    int getid() const { return id; }
    void setid(int value) { id = value; }
    QString getUserName() const { return UserName; }
    void setUserName(const QString& value) { UserName = value; }
    double getscore() const { return score; }
    void setscore(double value) { score = value; }
    QDateTime getborn() const { return born; }
    void setborn(const QDateTime& value) { born = value; }
    QString getnickname() const { return nickname; }
    void setnickname(const QString& value) { nickname = value; }
};

// A record whose key is caller-supplied text.
class Tag : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(QString code READ getcode WRITE setcode)
    Q_PROPERTY(QString label READ getlabel WRITE setlabel)

public:
    explicit Tag(const QString& table = QStringLiteral("tag"))
    {
        TableName = table;
        Key = QStringLiteral("code");
    }

    QString code;
    QString label;

    QString getcode() const { return code; }
    void setcode(const QString& value) { code = value; }
    QString getlabel() const { return label; }
    void setlabel(const QString& value) { label = value; }
};

#endif // TESSARK_TESTS_COMMON_TESTRECORDS_H
