#pragma once

#include <QAbstractHttpServer>
#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QMutex>
#include <QPair>
#include <QQueue>
#include <QString>

namespace QuorvelTest {

using RawHeaders = QList<QPair<QByteArray, QByteArray>>;

// A loopback HTTP server that answers from a script and records what it
// received. Replies are written to the socket byte for byte, so a test
// controls every header, duplicates and order included.
class ScriptedHttpServer : public QAbstractHttpServer
{
public:
    struct Reply
    {
        int status = 200;
        RawHeaders headers;
        QByteArray body;
    };

    struct Received
    {
        QString method;
        // Path and query as the client sent them.
        QString target;
        RawHeaders headers;
        QByteArray body;

        QByteArray header(const QByteArray& name) const;
        int count(const QByteArray& name) const;
    };

    explicit ScriptedHttpServer(QObject* parent = nullptr);

    // Listens on `address` (any loopback address) on `port`, or a free one,
    // and returns it; 0 when it cannot.
    quint16 start(const QHostAddress& address = QHostAddress(QHostAddress::LocalHost), quint16 port = 0);
    QString baseUrl() const;

    // Answers in order; once the script is empty every request gets 200 "{}".
    void push(Reply reply);
    // Answers every request for this path (no query) with `reply`, ahead of
    // the script.
    void route(const QString& path, Reply reply);
    QList<Received> received() const;

protected:
    bool handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) override;
    void missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) override;

private:
    mutable QMutex m_lock;
    QQueue<Reply> m_script;
    QHash<QString, Reply> m_routes;
    QList<Received> m_received;
    QHostAddress m_address;
    quint16 m_port = 0;
};

} // namespace QuorvelTest
