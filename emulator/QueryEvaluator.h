#pragma once

#include "EntityQuery.h"

#include <QJsonObject>
#include <QList>

namespace QuorvelEmulator {

// The entities of one business that satisfy every criterion of the query,
// in the order of the data file (the order the emulator promises for
// paging).
QList<QJsonObject> selectEntities(const QList<QJsonObject>& entities, const EntityQuery& query);

// Skip, then Take, applied after selection as the service pages its result.
QList<QJsonObject> pageEntities(const QList<QJsonObject>& selected, const Paging& paging);

// Exposed for the unit tests of the filter rule: true when some attribute
// value of `entity` keyed `filter.attributeKey` equals the filter's value
// in its valueKey or in the `value` of one of its admitted locales.
bool matchesAttributeFilter(const QJsonObject& entity, const AttributeFilter& filter);

} // namespace QuorvelEmulator
