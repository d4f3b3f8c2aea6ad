#ifndef TESSARK_CORE_PROPERTYPLAN_H
#define TESSARK_CORE_PROPERTYPLAN_H

#include <QDateTime>
#include <QMetaProperty>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include <memory>

namespace Tessark {

// Which properties of a record class are columns of a table, worked out once
// per (class, column list) instead of once per record.
struct PropertyPlan
{
    struct Column
    {
        QMetaProperty property;
        QString name;        // the property's name
        QString lowerName;
        QString column;      // the column list's form of the name
        QString lowerColumn;
        QString quotedColumn; // "column", for the dialects that quote names
        bool isObjectName;
        int index;           // the property's index in the class, as QMetaObject::metacall takes it
        int directType;      // the property's type when read() can read it without a variant, else 0
    };

    const QMetaObject* meta = nullptr;
    QStringList columns;
    QVector<Column> matched;       // in property index order
    QStringList lowerProperties;   // every property, lower-cased, in index order

    static std::shared_ptr<const PropertyPlan> get(const QMetaObject* meta, const QStringList& columns);

    // The property that obj->setProperty(<name of the first property named
    // key ignoring case>, ...) writes; -1 when no property has that name.
    static int keyProperty(const QMetaObject* meta, const QString& key);

    // The column list's form of name, matched ignoring case; empty if none.
    static QString containsColumn(const QStringList& columns, const QString& name);

    // Reads c's property as QMetaProperty::read does, into a value of the
    // property's own type (c.directType) instead of a variant: the same getter
    // call, without building and converting a variant per value. False when
    // the object answered in the variant instead (Qt D-Bus proxies do); the
    // value is then in variant.
    template <class T>
    static bool readDirect(QObject* obj, const Column& c, T& value, QVariant& variant)
    {
        int status = -1;
        void* argv[] = {&value, &variant, &status};
        QMetaObject::metacall(obj, QMetaObject::ReadProperty, c.index, argv);
        if (status != -1)
            return false;
        if (argv[0] != &value) // the getter handed back a reference of its own
            value = *static_cast<const T*>(argv[0]);
        return true;
    }

    // Calls f with c's value read through readDirect in the property's own
    // type, or with the QVariant QMetaProperty::read gives for any other type.
    template <class F>
    static void read(QObject* obj, const Column& c, F&& f)
    {
        QVariant variant;
        switch (c.directType) {
        case QMetaType::Int:
            return readAs<int>(obj, c, variant, f);
        case QMetaType::LongLong:
            return readAs<qlonglong>(obj, c, variant, f);
        case QMetaType::Double:
            return readAs<double>(obj, c, variant, f);
        case QMetaType::QString:
            return readAs<QString>(obj, c, variant, f);
        case QMetaType::QDateTime:
            return readAs<QDateTime>(obj, c, variant, f);
        default:
            f(c.property.read(obj));
        }
    }

private:
    template <class T, class F>
    static void readAs(QObject* obj, const Column& c, QVariant& variant, F& f)
    {
        T value{};
        if (readDirect(obj, c, value, variant))
            f(value);
        else
            f(variant);
    }
};

} // namespace Tessark

#endif // TESSARK_CORE_PROPERTYPLAN_H
