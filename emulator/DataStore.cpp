#include "DataStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace QuorvelEmulator {

namespace {

bool isUuid(const QJsonValue& value)
{
    static const QRegularExpression shape(
        QStringLiteral("^[0-9a-fA-F]{8}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{12}$"));
    return value.isString() && shape.match(value.toString()).hasMatch();
}

// Only what the query evaluation relies on is checked; everything else in
// an entity is passed through to clients as written.
QString checkEntity(const QJsonObject& entity, qsizetype index)
{
    const QString where = QStringLiteral("entity %1").arg(index);
    if (!isUuid(entity.value(QLatin1String("id"))))
        return where + QStringLiteral(": 'id' must be a UUID string");
    if (!entity.value(QLatin1String("entityTypeKey")).isString())
        return where + QStringLiteral(": 'entityTypeKey' must be a string");
    const QJsonValue attributes = entity.value(QLatin1String("attributeValues"));
    if (attributes.isUndefined())
        return {};
    if (!attributes.isArray())
        return where + QStringLiteral(": 'attributeValues' must be an array");
    const QJsonArray list = attributes.toArray();
    for (qsizetype i = 0; i < list.size(); ++i) {
        const QJsonObject attribute = list.at(i).toObject();
        const QString at = where + QStringLiteral(", attribute value %1").arg(i);
        if (!list.at(i).isObject() || !attribute.value(QLatin1String("attributeKey")).isString())
            return at + QStringLiteral(": must be an object with a string 'attributeKey'");
        const QJsonValue locales = attribute.value(QLatin1String("valueLocales"));
        if (locales.isUndefined())
            continue;
        if (!locales.isArray())
            return at + QStringLiteral(": 'valueLocales' must be an array");
        const QJsonArray localeList = locales.toArray();
        const bool allObjects = std::all_of(localeList.begin(), localeList.end(),
                                            [](const QJsonValue& v) { return v.isObject(); });
        if (!allObjects)
            return at + QStringLiteral(": 'valueLocales' must hold objects");
    }
    return {};
}

} // namespace

std::expected<QList<QJsonObject>, QString> DataStore::parseBusiness(const QByteArray& json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        return std::unexpected(
            QStringLiteral("not JSON (%1 at offset %2)").arg(error.errorString()).arg(error.offset));
    }
    QJsonArray array;
    if (document.isArray()) {
        array = document.array();
    } else {
        const QJsonValue entities = document.object().value(QLatin1String("entities"));
        if (!entities.isArray())
            return std::unexpected(QStringLiteral("expected {\"entities\": [...]} or an array"));
        array = entities.toArray();
    }

    QList<QJsonObject> result;
    QSet<QString> ids;
    for (qsizetype i = 0; i < array.size(); ++i) {
        if (!array.at(i).isObject())
            return std::unexpected(QStringLiteral("entity %1: not an object").arg(i));
        const QJsonObject entity = array.at(i).toObject();
        if (const QString problem = checkEntity(entity, i); !problem.isEmpty())
            return std::unexpected(problem);
        const QString id = entity.value(QLatin1String("id")).toString().toLower();
        if (ids.contains(id))
            return std::unexpected(QStringLiteral("entity %1: duplicate id %2").arg(i).arg(id));
        ids.insert(id);
        result.append(entity);
    }
    return result;
}

std::expected<DataStore, QString> DataStore::loadDirectory(const QString& directory)
{
    const QDir dir(directory);
    if (!dir.exists())
        return std::unexpected(QStringLiteral("data folder %1 does not exist").arg(directory));

    DataStore store;
    const QFileInfoList files = dir.entryInfoList({QStringLiteral("*.json")}, QDir::Files, QDir::Name);
    for (const QFileInfo& info : files) {
        QFile file(info.absoluteFilePath());
        if (!file.open(QIODevice::ReadOnly))
            return std::unexpected(QStringLiteral("%1: %2").arg(info.fileName(), file.errorString()));
        auto entities = parseBusiness(file.readAll());
        if (!entities)
            return std::unexpected(QStringLiteral("%1: %2").arg(info.fileName(), entities.error()));
        store.setBusiness(info.completeBaseName(), std::move(*entities));
    }
    return store;
}

void DataStore::setBusiness(const QString& businessId, QList<QJsonObject> entities)
{
    m_businesses.insert(businessId, std::move(entities));
}

const QList<QJsonObject>* DataStore::business(const QString& businessId) const
{
    const auto found = m_businesses.constFind(businessId);
    return found == m_businesses.constEnd() ? nullptr : &found.value();
}

QStringList DataStore::businessIds() const
{
    QStringList ids = m_businesses.keys();
    ids.sort();
    return ids;
}

} // namespace QuorvelEmulator
