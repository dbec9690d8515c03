#include "EntityQuery.h"

#include "JsonAccess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <limits>

namespace QuorvelEmulator {

namespace {

// Criteria the service knows but the emulator does not evaluate. Ignoring
// them would answer a different question than the one asked, so a request
// that uses one is refused with a message saying so.
constexpr const char16_t* kUnsupported[] = {
    u"entitiesByOriginalIds",
    u"entitiesByReferencedTo",
    u"entitiesByReferencedFrom",
    u"entitiesByFullTextSearch",
    u"entitiesByAttributeRanges",
    u"entitiesByAttributeValueKeys",
    u"entitiesByIsSealed",
    u"entitiesByLocalizations",
    u"entitiesByDirection",
    u"entitiesByDeleted",
    u"customerNumber",
    u"entitiesBySchemaAppKeys",
    u"orderByAttributeValues",
    u"entitiesByOriginalSchemaApps",
    u"orderByReferencedToKey",
};

std::expected<AttributeFilter, QString> parseFilter(const QJsonValue& value, const QString& path)
{
    if (!value.isObject())
        return std::unexpected(QStringLiteral("'%1' must be an object").arg(path));
    const QJsonObject object = value.toObject();
    AttributeFilter filter;

    std::optional<QString> key;
    std::optional<QString> op;
    std::optional<QString> text;
    std::optional<QString> expression;
    const Step read = firstRefusal({
        into(readString(object, u"attributeKey", childPath(path, u"attributeKey")), key),
        into(readString(object, u"operator", childPath(path, u"operator")), op),
        into(readString(object, u"value", childPath(path, u"value")), text),
        into(readString(object, u"valueExpression", childPath(path, u"valueExpression")), expression),
        intoOr(readBool(object, u"ignoreCase", childPath(path, u"ignoreCase")), filter.ignoreCase),
        into(readStringList(object, u"locales", childPath(path, u"locales")), filter.locales),
    });
    if (!read)
        return std::unexpected(read.error());

    if (!key || key->isEmpty())
        return std::unexpected(QStringLiteral("'%1' is required").arg(childPath(path, u"attributeKey")));
    if (!op)
        return std::unexpected(QStringLiteral("'%1' is required").arg(childPath(path, u"operator")));
    if (op->compare(QLatin1String("Equals"), Qt::CaseInsensitive) != 0) {
        return std::unexpected(QStringLiteral("'%1': operator '%2' is not supported by the emulator "
                                              "(supported: Equals)")
                                   .arg(childPath(path, u"operator"), *op));
    }
    if (!text) {
        if (expression) {
            return std::unexpected(QStringLiteral("'%1' is not supported by the emulator; send 'value'")
                                       .arg(childPath(path, u"valueExpression")));
        }
        return std::unexpected(QStringLiteral("'%1' is required").arg(childPath(path, u"value")));
    }
    filter.attributeKey = *key;
    filter.value = *text;
    return filter;
}

std::expected<EntitiesOptions, QString> parseOptions(const QJsonObject& object)
{
    const QString path = QStringLiteral("entitiesOptions");
    EntitiesOptions options;
    bool sealed = false;
    const Step read = firstRefusal({
        into(readStringList(object, u"includeAttributeValuesByAttributeKeys",
                            childPath(path, u"includeAttributeValuesByAttributeKeys")),
             options.attributeKeys),
        into(readStringList(object, u"includeLocales", childPath(path, u"includeLocales")), options.locales),
        intoOr(readBool(object, u"includeReferences", childPath(path, u"includeReferences")),
               options.includeReferences),
        intoOr(readBool(object, u"includeEntityState", childPath(path, u"includeEntityState")),
               options.includeEntityState),
        intoOr(readBool(object, u"includeLocalization", childPath(path, u"includeLocalization")),
               options.includeLocalization),
        // No entity in the data is sealed, so the flag changes nothing; it is
        // still type-checked like the others.
        intoOr(readBool(object, u"includeSealed", childPath(path, u"includeSealed")), sealed),
    });
    if (!read)
        return std::unexpected(read.error());
    return options;
}

std::optional<qint64> parseCount(const QString& text)
{
    static const QRegularExpression digits(QStringLiteral("^[0-9]{1,10}$"));
    if (!digits.match(text).hasMatch())
        return std::nullopt;
    const qint64 value = text.toLongLong();
    if (value > qint64(std::numeric_limits<quint32>::max()))
        return std::nullopt;
    return value;
}

} // namespace

namespace {

std::expected<QJsonObject, QString> bodyObject(const QByteArray& body)
{
    if (body.trimmed().isEmpty())
        return std::unexpected(QStringLiteral("The request body must be a JSON object; it is empty"));
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        return std::unexpected(QStringLiteral("The request body is not valid JSON: %1 at offset %2")
                                   .arg(parseError.errorString())
                                   .arg(parseError.offset));
    }
    if (!document.isObject())
        return std::unexpected(QStringLiteral("The request body must be a JSON object"));
    return document.object();
}

Step refuseUnsupported(const QJsonObject& object, EntityQuery&)
{
    for (const char16_t* key : kUnsupported) {
        const QStringView name(key);
        if (member(object, name))
            return refuse(QStringLiteral("'%1' is not supported by the emulator").arg(name.toString()));
    }
    return {};
}

Step readCriteria(const QJsonObject& object, EntityQuery& query)
{
    std::optional<bool> inheritance;
    std::optional<QString> ignoredText;
    return firstRefusal({
        into(readStringList(object, u"entitiesByEntityTypeKeys", QStringLiteral("entitiesByEntityTypeKeys")),
             query.entityTypeKeys),
        into(readStringList(object, u"entitiesByIds", QStringLiteral("entitiesByIds")), query.ids),
        into(readStringList(object, u"entitiesByStateKeys", QStringLiteral("entitiesByStateKeys")),
             query.stateKeys),
        into(readBool(object, u"entitiesByIsDraft", QStringLiteral("entitiesByIsDraft")), query.isDraft),
        // The data has no type hierarchy, so with or without inheritance a
        // type key selects the same entities.
        into(readBool(object, u"entitiesByEntityTypesWithInheritance",
                      QStringLiteral("entitiesByEntityTypesWithInheritance")),
             inheritance),
        into(readString(object, u"timeout", QStringLiteral("timeout")), ignoredText),
        into(readString(object, u"testModeFilter", QStringLiteral("testModeFilter")), ignoredText),
    });
}

Step checkIds(const QJsonObject&, EntityQuery& query)
{
    if (!query.ids)
        return {};
    static const QRegularExpression uuid(
        QStringLiteral("^[0-9a-fA-F]{8}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{12}$"));
    for (QString& id : *query.ids) {
        if (!uuid.match(id).hasMatch())
            return refuse(QStringLiteral("'entitiesByIds': '%1' is not a UUID").arg(id));
        id = id.toLower();
    }
    return {};
}

Step readFilters(const QJsonObject& object, EntityQuery& query)
{
    const auto filters = member(object, u"entitiesByAttributeValues");
    if (!filters)
        return {};
    if (!filters->isArray())
        return refuse(QStringLiteral("'entitiesByAttributeValues' must be an array"));
    const QJsonArray list = filters->toArray();
    for (qsizetype i = 0; i < list.size(); ++i) {
        auto filter = parseFilter(list.at(i), QStringLiteral("entitiesByAttributeValues[%1]").arg(i));
        if (!filter)
            return refuse(filter.error());
        query.attributeFilters.append(std::move(*filter));
    }
    return {};
}

Step readOptions(const QJsonObject& object, EntityQuery& query)
{
    const auto optionsObject = readObject(object, u"entitiesOptions", QStringLiteral("entitiesOptions"));
    if (!optionsObject)
        return refuse(optionsObject.error());
    if (*optionsObject) {
        auto options = parseOptions(**optionsObject);
        if (!options)
            return refuse(options.error());
        query.options = std::move(*options);
    }
    return {};
}

} // namespace

std::expected<EntityQuery, QString> parseEntityQuery(const QByteArray& body)
{
    const auto object = bodyObject(body);
    if (!object)
        return std::unexpected(object.error());
    static constexpr Step (*kSteps[])(const QJsonObject&, EntityQuery&) = {
        refuseUnsupported, readCriteria, checkIds, readFilters, readOptions,
    };
    EntityQuery query;
    for (const auto step : kSteps) {
        if (const Step read = step(*object, query); !read)
            return std::unexpected(read.error());
    }
    return query;
}

std::expected<Paging, QString> parsePaging(const QUrlQuery& query)
{
    Paging paging;
    bool sawSkip = false;
    bool sawTake = false;
    const auto items = query.queryItems(QUrl::FullyDecoded);
    for (const auto& [name, value] : items) {
        const bool isSkip = name.compare(QLatin1String("Skip"), Qt::CaseInsensitive) == 0;
        const bool isTake = name.compare(QLatin1String("Take"), Qt::CaseInsensitive) == 0;
        if (!isSkip && !isTake)
            continue;
        if ((isSkip && sawSkip) || (isTake && sawTake))
            return std::unexpected(QStringLiteral("Query parameter '%1' is given more than once").arg(name));
        const auto count = parseCount(value);
        if (!count) {
            return std::unexpected(
                QStringLiteral("Query parameter '%1' must be a non-negative integer up to 4294967295, "
                               "not '%2'")
                    .arg(name, value));
        }
        if (isSkip) {
            sawSkip = true;
            paging.skip = *count;
        } else {
            sawTake = true;
            paging.take = *count;
        }
    }
    return paging;
}

} // namespace QuorvelEmulator
