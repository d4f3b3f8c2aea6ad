#ifndef TESSARK_BENCH_RECORD_H
#define TESSARK_BENCH_RECORD_H

#include <QDateTime>

#include "Model/objectmodel.h"

// The record every scenario stores and reads: a generated integer key and
// three columns of the usual kinds (text, floating point, date-time).
class BenchPerson : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int id READ getid WRITE setid)
    Q_PROPERTY(QString username READ getusername WRITE setusername)
    Q_PROPERTY(double score READ getscore WRITE setscore)
    Q_PROPERTY(QDateTime born READ getborn WRITE setborn)

public:
    explicit BenchPerson(const QString& table)
    {
        TableName = table;
        Key = QStringLiteral("id");
    }

    int id = 0;
    QString username;
    double score = 0;
    QDateTime born;

    int getid() const { return id; }
    void setid(int value) { id = value; }
    QString getusername() const { return username; }
    void setusername(const QString& value) { username = value; }
    double getscore() const { return score; }
    void setscore(double value) { score = value; }
    QDateTime getborn() const { return born; }
    void setborn(const QDateTime& value) { born = value; }

    QString table() const { return TableName; }
};

#endif // TESSARK_BENCH_RECORD_H
