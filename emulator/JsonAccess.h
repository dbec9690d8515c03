#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <expected>
#include <initializer_list>
#include <optional>

namespace QuorvelEmulator {

// Reading request bodies the way the service's clients write them: member
// names match ASCII case-insensitively (an exact match wins), and a JSON
// null counts as an absent member. Every reader answers either the value
// (absent = std::nullopt) or a message for a 400 that names the member by
// `path`, e.g. "entitiesByAttributeValues[0].locales".

template <typename T>
using Read = std::expected<std::optional<T>, QString>;

std::optional<QJsonValue> member(const QJsonObject& object, QStringView key);

Read<QString> readString(const QJsonObject& object, QStringView key, const QString& path);
Read<bool> readBool(const QJsonObject& object, QStringView key, const QString& path);
Read<QStringList> readStringList(const QJsonObject& object, QStringView key, const QString& path);
Read<QJsonObject> readObject(const QJsonObject& object, QStringView key, const QString& path);
// Whole numbers in [min, max] only: JSON numbers are doubles, and a 1e300
// or a 2.5 must not be cast into some arbitrary integer.
Read<qint64> readInteger(const QJsonObject& object, QStringView key, const QString& path, qint64 min,
                         qint64 max);

// Appends ".key" to a path, or starts one.
QString childPath(const QString& path, QStringView key);

// The one way the emulator's readers pass a refusal on: a step either reads
// what it should or answers why it cannot, and the first refusal of a
// series is the answer to the client.
using Step = std::expected<void, QString>;

inline Step refuse(const QString& why)
{
    return std::unexpected(why);
}

// Stores what `read` found (std::nullopt for an absent member).
template <typename T>
Step into(const Read<T>& read, std::optional<T>& target)
{
    if (!read)
        return refuse(read.error());
    target = *read;
    return {};
}

// Stores what `read` found, keeping `target` as it is for an absent member.
template <typename T>
Step intoOr(const Read<T>& read, T& target)
{
    if (!read)
        return refuse(read.error());
    if (*read)
        target = **read;
    return {};
}

// The first refusal among steps already taken, in order.
inline Step firstRefusal(std::initializer_list<Step> steps)
{
    for (const Step& step : steps) {
        if (!step)
            return step;
    }
    return {};
}

} // namespace QuorvelEmulator
