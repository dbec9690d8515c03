#include "HttpReply.h"

#include <QJsonDocument>

namespace QuorvelEmulator {

namespace {

const QByteArray kJsonType = QByteArrayLiteral("application/json");

} // namespace

HttpReply HttpReply::json(int status, const QJsonObject& object)
{
    return HttpReply{
        status, {{"Content-Type", kJsonType}}, QJsonDocument(object).toJson(QJsonDocument::Compact)};
}

HttpReply HttpReply::json(int status, const QJsonArray& array)
{
    return HttpReply{
        status, {{"Content-Type", kJsonType}}, QJsonDocument(array).toJson(QJsonDocument::Compact)};
}

HttpReply HttpReply::message(int status, const QString& text)
{
    return json(status, QJsonObject{{QStringLiteral("message"), text}});
}

HttpReply& HttpReply::withHeader(const QByteArray& name, const QByteArray& value)
{
    headers.append({name, value});
    return *this;
}

QByteArray HttpReply::header(const QByteArray& name) const
{
    for (const auto& [n, v] : headers) {
        if (n.compare(name, Qt::CaseInsensitive) == 0)
            return v;
    }
    return {};
}

void HttpReply::setHeader(const QByteArray& name, const QByteArray& value)
{
    for (auto& header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0) {
            header.second = value;
            return;
        }
    }
    headers.append({name, value});
}

} // namespace QuorvelEmulator
