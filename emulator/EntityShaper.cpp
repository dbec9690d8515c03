#include "EntityShaper.h"

namespace QuorvelEmulator {

namespace {

const QLatin1String kLocalization("localization");

QJsonObject shapeLocalization(QJsonObject localization, const EntitiesOptions& options)
{
    if (!options.locales)
        return localization;
    QJsonObject states = localization.value(QLatin1String("localeStates")).toObject();
    for (const QString& locale : states.keys()) {
        if (!options.locales->contains(locale))
            states.remove(locale);
    }
    if (localization.contains(QLatin1String("localeStates")))
        localization.insert(QLatin1String("localeStates"), states);
    return localization;
}

QJsonObject shapeAttribute(QJsonObject attribute, const EntitiesOptions& options)
{
    if (options.locales && attribute.value(QLatin1String("valueLocales")).isArray()) {
        QJsonArray kept;
        const QJsonArray locales = attribute.value(QLatin1String("valueLocales")).toArray();
        for (const QJsonValue& locale : locales) {
            if (options.locales->contains(locale.toObject().value(QLatin1String("key")).toString()))
                kept.append(locale);
        }
        attribute.insert(QLatin1String("valueLocales"), kept);
    }
    if (!options.includeLocalization)
        attribute.remove(kLocalization);
    else if (attribute.value(kLocalization).isObject())
        attribute.insert(kLocalization,
                         shapeLocalization(attribute.value(kLocalization).toObject(), options));
    return attribute;
}

} // namespace

QJsonObject shapeEntity(const QJsonObject& entity, const EntitiesOptions& options)
{
    QJsonObject shaped = entity;
    if (!options.includeReferences)
        shaped.remove(QLatin1String("referencedTo"));
    if (!options.includeEntityState) {
        shaped.remove(QLatin1String("stateId"));
        shaped.remove(QLatin1String("stateKey"));
    }
    if (!options.includeLocalization)
        shaped.remove(kLocalization);
    else if (shaped.value(kLocalization).isObject())
        shaped.insert(kLocalization, shapeLocalization(shaped.value(kLocalization).toObject(), options));

    if (shaped.value(QLatin1String("attributeValues")).isArray()) {
        QJsonArray kept;
        const QJsonArray attributes = shaped.value(QLatin1String("attributeValues")).toArray();
        for (const QJsonValue& value : attributes) {
            const QJsonObject attribute = value.toObject();
            const QString key = attribute.value(QLatin1String("attributeKey")).toString();
            if (options.attributeKeys && !options.attributeKeys->contains(key))
                continue;
            kept.append(shapeAttribute(attribute, options));
        }
        shaped.insert(QLatin1String("attributeValues"), kept);
    }
    return shaped;
}

QJsonArray shapeEntities(const QList<QJsonObject>& entities, const EntitiesOptions& options)
{
    QJsonArray array;
    for (const QJsonObject& entity : entities)
        array.append(shapeEntity(entity, options));
    return array;
}

} // namespace QuorvelEmulator
