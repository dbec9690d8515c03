#pragma once

#include "EntityQuery.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>

namespace QuorvelEmulator {

// Cuts a stored entity down to what "entitiesOptions" asked for: only the
// listed attribute keys and locales, and references, state and
// localization only when requested. Every other member of the entity is
// passed through as stored.
QJsonObject shapeEntity(const QJsonObject& entity, const EntitiesOptions& options);
QJsonArray shapeEntities(const QList<QJsonObject>& entities, const EntitiesOptions& options);

} // namespace QuorvelEmulator
