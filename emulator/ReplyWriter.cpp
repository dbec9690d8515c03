#include "ReplyWriter.h"

#include <QHttpServerResponder>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

#include <memory>

namespace QuorvelEmulator {

namespace {

// Qt 6.4's responder looks the reason phrase up in a table and throws for a
// status it does not know; these are known to be in it. Any other status
// (a fault may ask for 299 or 599) gets its status line written by hand.
bool responderKnows(int status)
{
    switch (status) {
    case 200: case 201: case 202: case 204:
    case 301: case 302: case 303: case 304: case 307: case 308:
    case 400: case 401: case 403: case 404: case 405: case 406: case 408: case 409:
    case 410: case 411: case 413: case 415: case 422: case 429:
    case 500: case 501: case 502: case 503: case 504:
        return true;
    default:
        return false;
    }
}

void writeStatus(QHttpServerResponder& responder, int status)
{
    if (responderKnows(status)) {
        responder.writeStatusLine(QHttpServerResponder::StatusCode(status));
        return;
    }
    responder.socket()->write("HTTP/1.1 " + QByteArray::number(status) + " Status\r\n");
}

void writeHead(QHttpServerResponder& responder, const HttpReply& reply, qint64 contentLength)
{
    writeStatus(responder, reply.status);
    for (const auto& [name, value] : reply.headers)
        responder.writeHeader(name, value);
    responder.writeHeader("Content-Length", QByteArray::number(contentLength));
}

bool connected(const QPointer<QTcpSocket>& socket)
{
    return socket && socket->state() == QAbstractSocket::ConnectedState;
}

void writeNow(QObject* context, const std::shared_ptr<QHttpServerResponder>& responder,
              const QPointer<QTcpSocket>& socket, const HttpReply& reply, const Delivery& delivery)
{
    if (!connected(socket))
        return;
    const qint64 size = reply.body.size();
    const qint64 cutAt = qBound<qint64>(0, delivery.cutAt, size);

    switch (delivery.cut) {
    case Delivery::Cut::None:
        writeHead(*responder, reply, size);
        responder->writeBody(reply.body);
        return;
    case Delivery::Cut::Close:
        writeHead(*responder, reply, size);
        responder->writeBody(reply.body.constData(), cutAt);
        socket->flush();
        socket->abort();
        return;
    case Delivery::Cut::Truncate: {
        // Even an empty body must come up short of what was announced.
        const qint64 announced = size > cutAt ? size : cutAt + 1;
        writeHead(*responder, reply, announced);
        responder->writeBody(reply.body.constData(), cutAt);
        socket->disconnectFromHost();
        return;
    }
    case Delivery::Cut::Stall: {
        writeHead(*responder, reply, size);
        responder->writeBody(reply.body.constData(), cutAt);
        socket->flush();
        const QByteArray rest = reply.body.mid(cutAt);
        QTimer::singleShot(delivery.stallMs, Qt::PreciseTimer, context, [responder, socket, rest] {
            if (connected(socket))
                responder->writeBody(rest);
        });
        return;
    }
    }
}

} // namespace

void deliverReply(QObject* context, QHttpServerResponder&& responder, HttpReply reply,
                  Delivery delivery)
{
    // The responder must outlive this call when the reply is held back; the
    // socket may not (the client can give up), hence the guarded pointer.
    auto shared = std::make_shared<QHttpServerResponder>(std::move(responder));
    const QPointer<QTcpSocket> socket = shared->socket();
    if (delivery.delayMs <= 0) {
        writeNow(context, shared, socket, reply, delivery);
        return;
    }
    QTimer::singleShot(delivery.delayMs, Qt::PreciseTimer, context,
                       [context, shared, socket, reply = std::move(reply), delivery] {
                           writeNow(context, shared, socket, reply, delivery);
                       });
}

} // namespace QuorvelEmulator
