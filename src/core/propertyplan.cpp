#include "core/propertyplan.h"

#include <QHash>
#include <QMutex>
#include <QMutexLocker>
#include <QPair>

namespace Tessark {
namespace {

typedef QPair<const QMetaObject*, QString> KeyOfClass;

struct PlanCache
{
    QMutex mutex;
    QHash<const QMetaObject*, QVector<std::shared_ptr<const PropertyPlan>>> plans;
    int size = 0;
    QHash<KeyOfClass, int> keys;
};

Q_GLOBAL_STATIC(PlanCache, planCache)

// What this thread asked for last. Records come in runs of one class, so most
// lookups end here without taking the cache's mutex. Plans never change, so a
// plan the cache has since dropped is still right for its class and columns.
thread_local std::shared_ptr<const PropertyPlan> lastPlan;
thread_local QStringList lastColumns; // the caller's list that matched lastPlan, sharing its data
thread_local KeyOfClass lastKey;
thread_local int lastKeyIndex = -1;

int findKeyProperty(const QMetaObject* meta, const QString& key)
{
    const QString lowerKey = key.toLower();
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (QString::fromLatin1(property.name()).toLower() == lowerKey)
            return meta->indexOfProperty(property.name()); // as QObject::setProperty resolves the name
    }
    return -1;
}

// Column lists change only with the schema; a bound keeps stale ones from piling up.
constexpr int maxPlans = 512;

// The types the statement builders write without a variant.
int directType(const QMetaProperty& property)
{
    if (property.isEnumType())
        return 0;
    switch (property.userType()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Double:
    case QMetaType::QString:
    case QMetaType::QDateTime:
        return property.userType();
    default:
        return 0;
    }
}

std::shared_ptr<const PropertyPlan> build(const QMetaObject* meta, const QStringList& columns)
{
    auto plan = std::make_shared<PropertyPlan>();
    plan->meta = meta;
    plan->columns = columns;
    const int count = meta->propertyCount();
    plan->lowerProperties.reserve(count);
    for (int i = 0; i < count; ++i) {
        const QMetaProperty property = meta->property(i);
        const QString name = QString::fromLatin1(property.name());
        plan->lowerProperties.append(name.toLower());
        const QString column = PropertyPlan::containsColumn(columns, name);
        if (column.isEmpty())
            continue;
        plan->matched.append({property, name, name.toLower(), column, column.toLower(),
                              QLatin1Char('"') + column + QLatin1Char('"'), name == QLatin1String("objectName"),
                              i, directType(property)});
    }
    return plan;
}

} // namespace

QString PropertyPlan::containsColumn(const QStringList& columns, const QString& name)
{
    // The rule is equality of the lower-cased names. The case-insensitive
    // compare allocates nothing and rejects almost every column first; it
    // folds case slightly differently (titlecase letters), so it only filters.
    for (const QString& column : columns) {
        if (column.compare(name, Qt::CaseInsensitive) == 0 && column.toLower() == name.toLower())
            return column;
    }
    return QString();
}

std::shared_ptr<const PropertyPlan> PropertyPlan::get(const QMetaObject* meta, const QStringList& columns)
{
    if (lastPlan && lastPlan->meta == meta) {
        if (columns.isSharedWith(lastColumns)) // mostly the very list of last time
            return lastPlan;
        if (lastPlan->columns == columns) {
            lastColumns = columns;
            return lastPlan;
        }
    }
    PlanCache* cache = planCache();
    if (!cache)
        return build(meta, columns);
    QMutexLocker locker(&cache->mutex);
    QVector<std::shared_ptr<const PropertyPlan>>& forClass = cache->plans[meta];
    for (const auto& plan : qAsConst(forClass)) {
        if (plan->columns == columns) {
            lastPlan = plan;
            lastColumns = columns;
            return plan;
        }
    }
    if (cache->size >= maxPlans) {
        cache->plans.clear();
        cache->size = 0;
    }
    auto plan = build(meta, columns);
    cache->plans[meta].append(plan);
    ++cache->size;
    lastPlan = plan;
    lastColumns = columns;
    return plan;
}

int PropertyPlan::keyProperty(const QMetaObject* meta, const QString& key)
{
    if (lastKey.first == meta && lastKey.second == key)
        return lastKeyIndex;
    int index;
    PlanCache* cache = planCache();
    if (!cache) {
        index = findKeyProperty(meta, key);
    } else {
        QMutexLocker locker(&cache->mutex);
        const KeyOfClass cacheKey(meta, key);
        auto it = cache->keys.constFind(cacheKey);
        if (it == cache->keys.constEnd()) {
            if (cache->keys.size() >= maxPlans)
                cache->keys.clear();
            it = cache->keys.insert(cacheKey, findKeyProperty(meta, key));
        }
        index = it.value();
    }
    lastKey = KeyOfClass(meta, key);
    lastKeyIndex = index;
    return index;
}

} // namespace Tessark
