#include "JsonAccess.h"

#include <QJsonArray>

#include <cmath>

namespace QuorvelEmulator {

namespace {

bool sameAsciiCaseless(QStringView a, QStringView b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        char16_t x = a[i].unicode();
        char16_t y = b[i].unicode();
        if (x >= u'A' && x <= u'Z')
            x = char16_t(x - u'A' + u'a');
        if (y >= u'A' && y <= u'Z')
            y = char16_t(y - u'A' + u'a');
        if (x != y)
            return false;
    }
    return true;
}

QString typeError(const QString& path, const QString& expected)
{
    return QStringLiteral("'%1' must be %2").arg(path, expected);
}

} // namespace

QString childPath(const QString& path, QStringView key)
{
    return path.isEmpty() ? key.toString() : path + QLatin1Char('.') + key.toString();
}

std::optional<QJsonValue> member(const QJsonObject& object, QStringView key)
{
    auto found = object.constFind(key);
    if (found == object.constEnd()) {
        for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
            if (sameAsciiCaseless(it.key(), key)) {
                found = it;
                break;
            }
        }
    }
    if (found == object.constEnd() || found.value().isNull())
        return std::nullopt;
    return found.value();
}

Read<QString> readString(const QJsonObject& object, QStringView key, const QString& path)
{
    const auto value = member(object, key);
    if (!value)
        return std::optional<QString>();
    if (!value->isString())
        return std::unexpected(typeError(path, QStringLiteral("a string")));
    return value->toString();
}

Read<bool> readBool(const QJsonObject& object, QStringView key, const QString& path)
{
    const auto value = member(object, key);
    if (!value)
        return std::optional<bool>();
    if (!value->isBool())
        return std::unexpected(typeError(path, QStringLiteral("true or false")));
    return value->toBool();
}

Read<QStringList> readStringList(const QJsonObject& object, QStringView key, const QString& path)
{
    const auto value = member(object, key);
    if (!value)
        return std::optional<QStringList>();
    if (!value->isArray())
        return std::unexpected(typeError(path, QStringLiteral("an array of strings")));
    QStringList list;
    const QJsonArray array = value->toArray();
    for (const QJsonValue& element : array) {
        if (!element.isString())
            return std::unexpected(typeError(path, QStringLiteral("an array of strings")));
        list.append(element.toString());
    }
    return list;
}

Read<QJsonObject> readObject(const QJsonObject& object, QStringView key, const QString& path)
{
    const auto value = member(object, key);
    if (!value)
        return std::optional<QJsonObject>();
    if (!value->isObject())
        return std::unexpected(typeError(path, QStringLiteral("an object")));
    return value->toObject();
}

Read<qint64> readInteger(const QJsonObject& object, QStringView key, const QString& path, qint64 min,
                         qint64 max)
{
    const auto value = member(object, key);
    if (!value)
        return std::optional<qint64>();
    const QString range = QStringLiteral("a whole number from %1 to %2").arg(min).arg(max);
    if (!value->isDouble())
        return std::unexpected(typeError(path, range));
    const double number = value->toDouble();
    if (!std::isfinite(number) || std::trunc(number) != number || number < double(min)
        || number > double(max)) {
        return std::unexpected(typeError(path, range));
    }
    return qint64(number);
}

} // namespace QuorvelEmulator
