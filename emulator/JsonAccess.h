#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <expected>
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

} // namespace QuorvelEmulator
