#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>

namespace QuorvelEmulator {

using HeaderList = QList<QPair<QByteArray, QByteArray>>;

// A complete reply, built before anything touches the socket, so that a
// fault can reshape or hold it back without the handlers knowing.
// Content-Length is not in `headers`: the writer adds it, because some
// faults deliberately announce more than they send.
struct HttpReply
{
    int status = 200;
    HeaderList headers;
    QByteArray body;

    static HttpReply json(int status, const QJsonObject& object);
    static HttpReply json(int status, const QJsonArray& array);
    // The error shape the query endpoint uses: {"message": "..."}.
    static HttpReply message(int status, const QString& text);

    HttpReply& withHeader(const QByteArray& name, const QByteArray& value);
    QByteArray header(const QByteArray& name) const;
    void setHeader(const QByteArray& name, const QByteArray& value);
};

} // namespace QuorvelEmulator
