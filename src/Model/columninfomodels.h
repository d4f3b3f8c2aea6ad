#ifndef TESSARK_MODEL_COLUMNINFOMODELS_H
#define TESSARK_MODEL_COLUMNINFOMODELS_H

#include "Model/objectmodel.h"

/// One row of SQLite's table-information query.
class BRELVANSHARED_EXPORT ColumnInfoSQLiteModel : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int cid READ getcid WRITE setcid)
    Q_PROPERTY(QString name READ getname WRITE setname)
    Q_PROPERTY(QString type READ gettype WRITE settype)

public:
    ColumnInfoSQLiteModel();
    ~ColumnInfoSQLiteModel() override;

    /// column number
    int cid = 0;
    /// column name
    QString name;
    /// declared type
    QString type;

private:
    int getcid() { return cid; }
    void setcid(int value) { cid = value; }
    QString getname() { return name; }
    void setname(QString value) { name = value; }
    QString gettype() { return type; }
    void settype(QString value) { type = value; }
};

/// One row of the PostgreSQL column catalogue query.
class BRELVANSHARED_EXPORT ColumnInfoPostgreSQLModel : public ObjectModel
{
    Q_OBJECT
    Q_PROPERTY(int attnum READ getattnum WRITE setattnum)
    Q_PROPERTY(QString attname READ getattname WRITE setattname)
    Q_PROPERTY(QString type READ gettype WRITE settype)
    Q_PROPERTY(QString description READ getdescription WRITE setdescription)

public:
    ColumnInfoPostgreSQLModel();
    ~ColumnInfoPostgreSQLModel() override;

    /// column number
    int attnum = 0;
    /// column name
    QString attname;
    /// type name with its modifiers
    QString type;
    /// the column comment
    QString description;

private:
    int getattnum() { return attnum; }
    void setattnum(int value) { attnum = value; }
    QString getattname() { return attname; }
    void setattname(QString value) { attname = value; }
    QString gettype() { return type; }
    void settype(QString value) { type = value; }
    QString getdescription() { return description; }
    void setdescription(QString value) { description = value; }
};

/// A plain carrier of one column name (no meta-property of its own).
class BRELVANSHARED_EXPORT ColumnModel : public ObjectModel
{
public:
    ColumnModel();
    ~ColumnModel() override;

    /// the column name
    QString Name;

private:
    QString getName() { return Name; }
    void setName(QString value) { Name = value; }
};

#endif // TESSARK_MODEL_COLUMNINFOMODELS_H
