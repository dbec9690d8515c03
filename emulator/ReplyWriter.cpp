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
    case 200:
    case 201:
    case 202:
    case 204:
    case 301:
    case 302:
    case 303:
    case 304:
    case 307:
    case 308:
    case 400:
    case 401:
    case 403:
    case 404:
    case 405:
    case 406:
    case 408:
    case 409:
    case 410:
    case 411:
    case 413:
    case 415:
    case 422:
    case 429:
    case 500:
    case 501:
    case 502:
    case 503:
    case 504: return true;
    default: return false;
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

void writeStatusAndHeaders(QHttpServerResponder& responder, const HttpReply& reply)
{
    writeStatus(responder, reply.status);
    for (const auto& [name, value] : reply.headers)
        responder.writeHeader(name, value);
}

void writeHead(QHttpServerResponder& responder, const HttpReply& reply, qint64 contentLength)
{
    writeStatusAndHeaders(responder, reply);
    responder.writeHeader("Content-Length", QByteArray::number(contentLength));
}

// Takes the base class: while a socket is being destroyed it emits
// disconnected() from QAbstractSocket's destructor, when it no longer is a
// QTcpSocket, and a guarded pointer to a QTcpSocket would cast it wrongly.
bool connected(const QPointer<QAbstractSocket>& socket)
{
    return socket && socket->state() == QAbstractSocket::ConnectedState;
}

// How streams are found again for the admin statistics.
const char* const kStreamName = "quorvel-emulator-stream";
constexpr qsizetype kPieceBytes = 64 * 1024;
// A stream writes more only once the socket has passed most of what it
// holds to the system, so an emulator whose client stopped reading keeps
// a few hundred KiB per stream, not what the fault asked to send.
constexpr qint64 kRefillBelow = 2 * kPieceBytes;

struct StreamPlan
{
    QByteArray opening; // the first body bytes, counted in `total`
    QByteArray filler; // one piece, sent over and over
    qint64 total = 0;
    bool chunked = false;
    bool closeWhenDone = false;
};

// Owned by the socket, so it goes with the connection, whoever ends it:
// the client hanging up, or the server being destroyed.
class ReplyStream : public QObject
{
public:
    ReplyStream(QAbstractSocket* socket, StreamPlan plan);
    void refill();

private:
    QByteArray nextPiece() const;
    void finish();

    QPointer<QAbstractSocket> m_socket;
    StreamPlan m_plan;
    qint64 m_sent = 0;
};

ReplyStream::ReplyStream(QAbstractSocket* socket, StreamPlan plan)
    : QObject(socket)
    , m_socket(socket)
    , m_plan(std::move(plan))
{
    setObjectName(QLatin1String(kStreamName));
    connect(socket, &QIODevice::bytesWritten, this, &ReplyStream::refill);
    connect(socket, &QAbstractSocket::disconnected, this, &ReplyStream::finish);
}

void ReplyStream::refill()
{
    while (connected(m_socket) && m_sent < m_plan.total && m_socket->bytesToWrite() < kRefillBelow) {
        const QByteArray piece = nextPiece();
        m_sent += piece.size();
        m_socket->write(m_plan.chunked ? QByteArray::number(piece.size(), 16) + "\r\n" + piece + "\r\n"
                                       : piece);
    }
    if (!connected(m_socket) || m_sent >= m_plan.total)
        finish();
}

QByteArray ReplyStream::nextPiece() const
{
    QByteArray piece = m_sent == 0 && !m_plan.opening.isEmpty() ? m_plan.opening : m_plan.filler;
    if (piece.size() > m_plan.total - m_sent)
        piece.truncate(qsizetype(m_plan.total - m_sent));
    return piece;
}

void ReplyStream::finish()
{
    if (m_socket) {
        disconnect(m_socket, nullptr, this, nullptr);
        if (m_plan.closeWhenDone && connected(m_socket))
            m_socket->disconnectFromHost();
    }
    // Possibly inside one of the socket's signals: not deleted on the spot.
    deleteLater();
}

const QByteArray& jsonFiller()
{
    static const QByteArray piece = QByteArrayLiteral("0,").repeated(kPieceBytes / 2);
    return piece;
}

const QByteArray& headerFiller()
{
    static const QByteArray piece(kPieceBytes, 'x');
    return piece;
}

void startStream(QHttpServerResponder& responder, QAbstractSocket* socket, const HttpReply& reply,
                 const Delivery& delivery)
{
    const bool endless = !delivery.streamBytes;
    StreamPlan plan;
    plan.total = qMin(delivery.streamBytes.value_or(kMaxStreamBytes), kMaxStreamBytes);
    plan.closeWhenDone = endless;
    writeStatusAndHeaders(responder, reply);
    if (delivery.stream == Delivery::Stream::HeaderLine) {
        socket->write("X-Endless: ");
        plan.filler = headerFiller();
    } else {
        if (endless)
            responder.writeHeader("Transfer-Encoding", "chunked");
        else
            responder.writeHeader("Content-Length", QByteArray::number(plan.total));
        socket->write("\r\n");
        plan.opening = QByteArrayLiteral("[");
        plan.filler = jsonFiller();
        plan.chunked = endless;
    }
    (new ReplyStream(socket, std::move(plan)))->refill();
}

void writeNow(QObject* context, const std::shared_ptr<QHttpServerResponder>& responder,
              const QPointer<QAbstractSocket>& socket, const HttpReply& reply, const Delivery& delivery)
{
    if (!connected(socket))
        return;
    if (delivery.stream != Delivery::Stream::None) {
        startStream(*responder, socket, reply, delivery);
        return;
    }
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
    case Delivery::Cut::Trickle: {
        writeHead(*responder, reply, size);
        socket->flush();
        // Owned by the socket, so it stops when the client hangs up.
        auto* drip = new QTimer(socket);
        drip->setTimerType(Qt::PreciseTimer);
        QObject::connect(drip, &QTimer::timeout, drip,
                         [drip, responder, body = reply.body, sent = qsizetype(0)]() mutable {
                             if (sent >= body.size()) {
                                 drip->deleteLater();
                                 return;
                             }
                             responder->writeBody(body.constData() + sent++, 1);
                         });
        drip->start(std::max(delivery.stallMs, 1));
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

void deliverReply(QObject* context, QHttpServerResponder&& responder, HttpReply reply, Delivery delivery)
{
    // The responder must outlive this call when the reply is held back; the
    // socket may not (the client can give up), hence the guarded pointer.
    auto shared = std::make_shared<QHttpServerResponder>(std::move(responder));
    const QPointer<QAbstractSocket> socket = shared->socket();
    if (delivery.delayMs <= 0) {
        writeNow(context, shared, socket, reply, delivery);
        return;
    }
    QTimer::singleShot(delivery.delayMs, Qt::PreciseTimer, context,
                       [context, shared, socket, reply = std::move(reply), delivery] {
                           writeNow(context, shared, socket, reply, delivery);
                       });
}

qsizetype streamsInProgress(const QObject* context)
{
    return context->findChildren<QObject*>(QLatin1String(kStreamName)).size();
}

} // namespace QuorvelEmulator
