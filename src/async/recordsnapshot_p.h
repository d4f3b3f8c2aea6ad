#ifndef TESSARK_ASYNC_RECORDSNAPSHOT_P_H
#define TESSARK_ASYNC_RECORDSNAPSHOT_P_H

#include <QVariant>
#include <QVector>

#include "Model/objectmodel.h"

namespace Tessark {

// A record as it was when a call was made, for a worker thread to read while
// the application goes on changing (or deleting) the record itself. Made in
// the record's thread; answers as an object of the record's class, so the
// persistence code runs on it unchanged.
//
// Record classes are QObjects, not gadgets: moc gives them no property access
// in the static metacall, so QMetaProperty::read/write and
// QMetaObject::metacall reach properties through the virtual qt_metacall,
// which answers here from the copies.
class RecordSnapshot final : public ObjectModel
{
public:
    explicit RecordSnapshot(ObjectModel* record);

    const QMetaObject* metaObject() const override { return m_meta; }
    int qt_metacall(QMetaObject::Call call, int id, void** argv) override;

    // Properties a call wrote (a generated key), by index; empty when none.
    QVector<int> written() const { return m_written; }
    // Writes the written properties into record, which must be of the snapshot's class.
    void writeBack(ObjectModel* record) const;

private:
    const QMetaObject* m_meta;
    QVector<QVariant> m_values;  // by property index, as QMetaProperty::read gave them
    QVector<bool> m_variantTyped; // the property's own type is QVariant
    QVector<int> m_written;
};

} // namespace Tessark

#endif // TESSARK_ASYNC_RECORDSNAPSHOT_P_H
