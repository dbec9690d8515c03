#include "QueryEvaluator.h"

#include <QJsonArray>

namespace QuorvelEmulator {

namespace {

bool equalsFilterValue(const QJsonValue& candidate, const AttributeFilter& filter)
{
    return candidate.isString()
           && candidate.toString().compare(filter.value,
                                           filter.ignoreCase ? Qt::CaseInsensitive : Qt::CaseSensitive)
                  == 0;
}

bool matchesAttributeValue(const QJsonObject& attribute, const AttributeFilter& filter)
{
    if (equalsFilterValue(attribute.value(QLatin1String("valueKey")), filter))
        return true;
    const QJsonArray locales = attribute.value(QLatin1String("valueLocales")).toArray();
    for (const QJsonValue& entry : locales) {
        const QJsonObject locale = entry.toObject();
        if (filter.locales && !filter.locales->contains(locale.value(QLatin1String("key")).toString()))
            continue;
        if (equalsFilterValue(locale.value(QLatin1String("value")), filter))
            return true;
    }
    return false;
}

bool matches(const QJsonObject& entity, const EntityQuery& query)
{
    if (query.entityTypeKeys
        && !query.entityTypeKeys->contains(entity.value(QLatin1String("entityTypeKey")).toString())) {
        return false;
    }
    if (query.ids && !query.ids->contains(entity.value(QLatin1String("id")).toString().toLower()))
        return false;
    if (query.stateKeys) {
        const QJsonValue state = entity.value(QLatin1String("stateKey"));
        if (!state.isString() || !query.stateKeys->contains(state.toString()))
            return false;
    }
    if (query.isDraft && entity.value(QLatin1String("isDraft")).toBool(false) != *query.isDraft)
        return false;
    for (const AttributeFilter& filter : query.attributeFilters) {
        if (!matchesAttributeFilter(entity, filter))
            return false;
    }
    return true;
}

} // namespace

bool matchesAttributeFilter(const QJsonObject& entity, const AttributeFilter& filter)
{
    const QJsonArray attributes = entity.value(QLatin1String("attributeValues")).toArray();
    for (const QJsonValue& entry : attributes) {
        const QJsonObject attribute = entry.toObject();
        if (attribute.value(QLatin1String("attributeKey")).toString() == filter.attributeKey
            && matchesAttributeValue(attribute, filter)) {
            return true;
        }
    }
    return false;
}

QList<QJsonObject> selectEntities(const QList<QJsonObject>& entities, const EntityQuery& query)
{
    QList<QJsonObject> selected;
    for (const QJsonObject& entity : entities) {
        if (matches(entity, query))
            selected.append(entity);
    }
    return selected;
}

QList<QJsonObject> pageEntities(const QList<QJsonObject>& selected, const Paging& paging)
{
    if (paging.skip >= selected.size())
        return {};
    const qsizetype available = selected.size() - qsizetype(paging.skip);
    const qsizetype count = paging.take ? qMin(available, qsizetype(*paging.take)) : available;
    return selected.mid(qsizetype(paging.skip), count);
}

} // namespace QuorvelEmulator
