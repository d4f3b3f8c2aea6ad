#ifndef TESSARK_APPS_DEMOBOOK_H
#define TESSARK_APPS_DEMOBOOK_H

#include <QDateTime>

#include "Model/objectmodel.h"

// The demo's record class, written by hand the way `tessark gen-model`
// writes one: a property per column, the table and key set in the constructor.
class DemoBook : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int id READ getid WRITE setid)
    Q_PROPERTY(QString title READ gettitle WRITE settitle)
    Q_PROPERTY(QString author READ getauthor WRITE setauthor)
    Q_PROPERTY(double price READ getprice WRITE setprice)
    Q_PROPERTY(QDateTime added READ getadded WRITE setadded)

public:
    DemoBook()
    {
        TableName = QStringLiteral("book");
        Key = QStringLiteral("id");
    }

    int id = 0;
    QString title;
    QString author;
    double price = 0;
    QDateTime added;

    int getid() const { return id; }
    void setid(int value) { id = value; }
    QString gettitle() const { return title; }
    void settitle(const QString& value) { title = value; }
    QString getauthor() const { return author; }
    void setauthor(const QString& value) { author = value; }
    double getprice() const { return price; }
    void setprice(double value) { price = value; }
    QDateTime getadded() const { return added; }
    void setadded(const QDateTime& value) { added = value; }
};

#endif // TESSARK_APPS_DEMOBOOK_H
