#ifndef TESSARK_MODEL_OBJECTMODEL_H
#define TESSARK_MODEL_OBJECTMODEL_H

#include <QObject>
#include <QString>
#include <QStringList>

#include "brelvan_global.h"

namespace Tessark {
class Dialect;
class Persistence;
}

/// Base of every persistent record: one Q_PROPERTY per column in subclasses,
/// the table name and key column set by the subclass's constructor.
class BRELVANSHARED_EXPORT ObjectModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString Key READ getKey WRITE setKey)
    Q_PROPERTY(QString TableName READ getTableName WRITE setTableName)
    Q_PROPERTY(QString SequenceName READ getSequenceName WRITE setSequenceName)
    Q_PROPERTY(QStringList MarkList READ getMarkList WRITE setMarkList)

public:
    ObjectModel();
    ~ObjectModel() override;

protected:
    QString Key;            ///< the key column; set by the subclass's constructor
    QString TableName;      ///< the table; set by the subclass's constructor
    QString SequenceName;   ///< kept for record classes that set it; the library does not read it
    QStringList MarkList;   ///< kept for record classes that set it; the library does not read it

private:
    /// The library reads the table and key without a property lookup.
    friend class Tessark::Dialect;
    friend class Tessark::Persistence;

    QString getKey() { return Key; }
    void setKey(QString value) { Key = value; }
    QString getTableName() { return TableName; }
    void setTableName(QString value) { TableName = value; }
    QString getSequenceName() { return SequenceName; }
    void setSequenceName(QString value) { SequenceName = value; }
    QStringList getMarkList() { return MarkList; }
    void setMarkList(QStringList value) { MarkList = value; }
};

#endif // TESSARK_MODEL_OBJECTMODEL_H
