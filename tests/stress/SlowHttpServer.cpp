#include "SlowHttpServer.h"

#include <utility>

#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

namespace QuorvelStress {

// Lives on the server's thread; everything it does happens there.
class SlowListener : public QTcpServer
{
public:
    SlowListener(SlowHttpServer& owner, const QByteArray& body, int delayMs)
        : m_owner(owner)
        , m_response("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
                     + QByteArray::number(body.size()) + "\r\n\r\n" + body)
        , m_delayMs(delayMs)
    {
    }

    void hold() { m_held = true; }

    void release()
    {
        m_held = false;
        const QList<QPointer<QTcpSocket>> waiting = std::exchange(m_waiting, {});
        for (const QPointer<QTcpSocket>& socket : waiting) {
            if (socket)
                answerLater(socket);
        }
    }

    void hangUpAll()
    {
        m_hungUp = true;
        m_waiting.clear();
        for (QTcpSocket* socket : findChildren<QTcpSocket*>())
            socket->abort();
    }

protected:
    void incomingConnection(qintptr handle) override
    {
        auto* socket = new QTcpSocket(this);
        if (!socket->setSocketDescriptor(handle) || m_hungUp) {
            socket->abort();
            socket->deleteLater();
            return;
        }
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readFrom(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_buffers.remove(socket);
            socket->deleteLater();
        });
    }

private:
    // The product sends one request at a time per connection, each with a
    // Content-Length; that is all this parser knows of HTTP.
    void readFrom(QTcpSocket* socket)
    {
        QByteArray& buffer = m_buffers[socket];
        buffer += socket->readAll();
        for (;;) {
            const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
            if (headEnd < 0)
                return;
            qint64 length = 0;
            for (const QByteArray& line : buffer.left(headEnd).split('\n')) {
                const qsizetype colon = line.indexOf(':');
                if (colon > 0
                    && line.left(colon).trimmed().compare("Content-Length", Qt::CaseInsensitive) == 0)
                    length = line.mid(colon + 1).trimmed().toLongLong();
            }
            const qsizetype total = headEnd + 4 + length;
            if (buffer.size() < total)
                return;
            buffer.remove(0, total);
            ++m_owner.m_received;
            if (m_hungUp) {
                // The hang-up forgets this socket's buffer at once.
                socket->abort();
                return;
            }
            if (m_held)
                m_waiting.append(socket);
            else
                answerLater(socket);
        }
    }

    void answerLater(QTcpSocket* socket)
    {
        // Bound to the socket: a connection that goes away takes its timer.
        QTimer::singleShot(m_delayMs, socket, [this, socket] {
            if (m_hungUp || socket->state() != QAbstractSocket::ConnectedState)
                return;
            ++m_owner.m_answered;
            socket->write(m_response);
        });
    }

    SlowHttpServer& m_owner;
    const QByteArray m_response;
    const int m_delayMs;
    bool m_held = false;
    bool m_hungUp = false;
    QHash<QTcpSocket*, QByteArray> m_buffers;
    QList<QPointer<QTcpSocket>> m_waiting;
};

SlowHttpServer::SlowHttpServer(QByteArray replyBody, int delayMs)
    : m_thread(new QThread)
    , m_context(new QObject)
{
    m_thread->setObjectName(QStringLiteral("SlowHttpServer"));
    m_context->moveToThread(m_thread);
    m_thread->start();
    runOnServerThread([&] {
        m_listener = new SlowListener(*this, replyBody, delayMs);
        if (m_listener->listen(QHostAddress::LocalHost, 0))
            m_port = m_listener->serverPort();
    });
}

SlowHttpServer::~SlowHttpServer()
{
    // The listener and its sockets were made on the server's thread and go
    // there, before the thread stops.
    runOnServerThread([this] {
        delete m_listener;
        m_listener = nullptr;
    });
    m_thread->quit();
    m_thread->wait();
    delete m_context;
    delete m_thread;
}

QByteArray SlowHttpServer::baseUrl() const
{
    return "http://127.0.0.1:" + QByteArray::number(m_port);
}

void SlowHttpServer::hold()
{
    runOnServerThread([this] { m_listener->hold(); });
}

void SlowHttpServer::release()
{
    runOnServerThread([this] { m_listener->release(); });
}

void SlowHttpServer::hangUpAll()
{
    runOnServerThread([this] { m_listener->hangUpAll(); });
}

void SlowHttpServer::runOnServerThread(const std::function<void()>& work)
{
    QMetaObject::invokeMethod(
        m_context, [&work] { work(); }, Qt::BlockingQueuedConnection);
}

} // namespace QuorvelStress
