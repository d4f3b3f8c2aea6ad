#include "async/recordsnapshot_p.h"

#include <QMetaProperty>

namespace Tessark {

RecordSnapshot::RecordSnapshot(ObjectModel* record) : m_meta(record->metaObject())
{
    // The table and key the persistence code reads as fields, through the base's own properties.
    const QMetaObject& base = ObjectModel::staticMetaObject;
    Key = base.property(base.indexOfProperty("Key")).read(record).toString();
    TableName = base.property(base.indexOfProperty("TableName")).read(record).toString();
    const int count = m_meta->propertyCount();
    m_values.resize(count);
    m_variantTyped.resize(count);
    for (int i = 0; i < count; ++i) {
        const QMetaProperty property = m_meta->property(i);
        m_variantTyped[i] = property.userType() == QMetaType::QVariant;
        m_values[i] = property.read(record);
    }
    const QList<QByteArray> dynamic = record->dynamicPropertyNames();
    for (const QByteArray& name : dynamic)
        setProperty(name.constData(), record->property(name.constData()));
}

// argv[0] is where the caller wants the value; pointing it at our copy is the
// "getter returned a reference" form that QMetaProperty::read and
// PropertyPlan::readDirect both take, and spares a copy per value. Not for a
// QVariant property: QMetaProperty::read returns its own variant for those,
// whatever argv[0] points at, so the value is copied into it.
int RecordSnapshot::qt_metacall(QMetaObject::Call call, int id, void** argv)
{
    if (id < 0 || id >= m_values.size())
        return -1;
    QVariant& value = m_values[id];
    if (call == QMetaObject::ReadProperty) {
        if (m_variantTyped.at(id))
            *static_cast<QVariant*>(argv[0]) = value;
        else if (value.isValid())
            argv[0] = value.data();
    } else if (call == QMetaObject::WriteProperty) {
        if (m_variantTyped.at(id)) {
            value = *static_cast<const QVariant*>(argv[0]);
        } else {
            const int type = m_meta->property(id).userType();
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
            value = QVariant(type, argv[0]);
#else
            value = QVariant(QMetaType(type), argv[0]);
#endif
        }
        if (!m_written.contains(id))
            m_written.append(id);
    }
    return -1;
}

void RecordSnapshot::writeBack(ObjectModel* record) const
{
    for (int id : m_written)
        m_meta->property(id).write(record, m_values.at(id));
}

} // namespace Tessark
