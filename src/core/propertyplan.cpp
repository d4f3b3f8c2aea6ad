#include "core/propertyplan.h"

#include <QHash>
#include <QMutex>
#include <QMutexLocker>

namespace Tessark {
namespace {

struct PlanCache
{
    QMutex mutex;
    QHash<const QMetaObject*, QVector<std::shared_ptr<const PropertyPlan>>> plans;
    int size = 0;
};

Q_GLOBAL_STATIC(PlanCache, planCache)

// Column lists change only with the schema; a bound keeps stale ones from piling up.
constexpr int maxPlans = 512;

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
                              name == QLatin1String("objectName")});
    }
    return plan;
}

} // namespace

QString PropertyPlan::containsColumn(const QStringList& columns, const QString& name)
{
    for (const QString& column : columns) {
        if (column.compare(name, Qt::CaseInsensitive) == 0 && column.toLower() == name.toLower())
            return column;
    }
    return QString();
}

std::shared_ptr<const PropertyPlan> PropertyPlan::get(const QMetaObject* meta, const QStringList& columns)
{
    PlanCache* cache = planCache();
    if (!cache)
        return build(meta, columns);
    QMutexLocker locker(&cache->mutex);
    QVector<std::shared_ptr<const PropertyPlan>>& forClass = cache->plans[meta];
    for (const auto& plan : qAsConst(forClass)) {
        if (plan->columns == columns)
            return plan;
    }
    if (cache->size >= maxPlans) {
        cache->plans.clear();
        cache->size = 0;
    }
    auto plan = build(meta, columns);
    cache->plans[meta].append(plan);
    ++cache->size;
    return plan;
}

} // namespace Tessark
