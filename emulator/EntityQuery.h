#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrlQuery>

#include <expected>
#include <optional>

namespace QuorvelEmulator {

// One entry of "entitiesByAttributeValues". The only operator evaluated is
// "Equals"; anything else is refused when the body is read.
struct AttributeFilter
{
    QString attributeKey;
    QString value;
    bool ignoreCase = false;
    // Absent: a value in any locale may match.
    std::optional<QStringList> locales;
};

// "entitiesOptions": what each returned entity carries. Absent lists mean
// "all"; the includes default to false, as the service leaves out what was
// not asked for.
struct EntitiesOptions
{
    std::optional<QStringList> attributeKeys;
    std::optional<QStringList> locales;
    bool includeReferences = false;
    bool includeEntityState = false;
    bool includeLocalization = false;
};

// The part of the query body that the emulator evaluates. An absent
// criterion does not restrict; a present list restricts literally, so an
// empty "entitiesByIds" matches nothing.
struct EntityQuery
{
    std::optional<QStringList> entityTypeKeys;
    std::optional<QStringList> ids; // lower case
    std::optional<QStringList> stateKeys;
    std::optional<bool> isDraft;
    QList<AttributeFilter> attributeFilters;
    EntitiesOptions options;
};

struct Paging
{
    qint64 skip = 0;
    std::optional<qint64> take;
};

// The error text goes back to the client in a 400.
std::expected<EntityQuery, QString> parseEntityQuery(const QByteArray& body);
// "Skip" and "Take" from the query string; "useReplica" and "engine" are
// accepted and have no effect on a single in-memory copy.
std::expected<Paging, QString> parsePaging(const QUrlQuery& query);

} // namespace QuorvelEmulator
