#pragma once

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <expected>

namespace QuorvelEmulator {

// The entities of every business the emulator serves. On disk a business is
// one file "<businessId>.json" holding {"entities": [...]} (a bare array is
// accepted too); entities are stored as the service would return them in
// full, and queries cut them down per request.
class DataStore
{
public:
    // Every *.json in `directory`. Any unreadable or malformed file fails the
    // whole load, naming the file: a half-loaded data set would make tests
    // fail far from the cause.
    static std::expected<DataStore, QString> loadDirectory(const QString& directory);
    // The entities of one business file's text.
    static std::expected<QList<QJsonObject>, QString> parseBusiness(const QByteArray& json);

    void setBusiness(const QString& businessId, QList<QJsonObject> entities);
    // Null for a business the emulator does not know.
    const QList<QJsonObject>* business(const QString& businessId) const;
    QStringList businessIds() const;

private:
    QHash<QString, QList<QJsonObject>> m_businesses;
};

} // namespace QuorvelEmulator
