#ifndef TESSARK_CORE_PROPERTYPLAN_H
#define TESSARK_CORE_PROPERTYPLAN_H

#include <QMetaProperty>
#include <QString>
#include <QStringList>
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
};

} // namespace Tessark

#endif // TESSARK_CORE_PROPERTYPLAN_H
