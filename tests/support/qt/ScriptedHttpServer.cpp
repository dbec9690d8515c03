#include "ScriptedHttpServer.h"

#include <algorithm>

#include <QHostAddress>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QMetaEnum>
#include <QMutexLocker>
#include <QTcpSocket>

namespace QuorvelTest {

QByteArray ScriptedHttpServer::Received::header(const QByteArray& name) const
{
    const auto named = [&name](const auto& h) { return h.first.compare(name, Qt::CaseInsensitive) == 0; };
    const auto found = std::find_if(headers.begin(), headers.end(), named);
    return found == headers.end() ? QByteArray() : found->second;
}

int ScriptedHttpServer::Received::count(const QByteArray& name) const
{
    const auto named = [&name](const auto& h) { return h.first.compare(name, Qt::CaseInsensitive) == 0; };
    return int(std::count_if(headers.begin(), headers.end(), named));
}

ScriptedHttpServer::ScriptedHttpServer(QObject* parent) : QAbstractHttpServer(parent) {}

quint16 ScriptedHttpServer::start(const QHostAddress& address, quint16 port)
{
    m_address = address;
    return m_port = listen(address, port);
}

QString ScriptedHttpServer::baseUrl() const
{
    return QStringLiteral("http://%1:%2").arg(m_address.toString()).arg(m_port);
}

void ScriptedHttpServer::push(Reply reply)
{
    QMutexLocker locker(&m_lock);
    m_script.enqueue(std::move(reply));
}

void ScriptedHttpServer::route(const QString& path, Reply reply)
{
    QMutexLocker locker(&m_lock);
    m_routes.insert(path, std::move(reply));
}

QList<ScriptedHttpServer::Received> ScriptedHttpServer::received() const
{
    QMutexLocker locker(&m_lock);
    return m_received;
}

bool ScriptedHttpServer::handleRequest(const QHttpServerRequest& request, QTcpSocket* socket)
{
    Received got;
    got.method = QString::fromLatin1(
        QMetaEnum::fromType<QHttpServerRequest::Method>().valueToKey(int(request.method())));
    got.target = request.url().path(QUrl::FullyEncoded);
    if (request.url().hasQuery())
        got.target += QLatin1Char('?') + request.url().query(QUrl::FullyEncoded);
    got.headers = request.headers();
    got.body = request.body();

    Reply reply{200, {{"Content-Type", "application/json"}}, "{}"};
    {
        QMutexLocker locker(&m_lock);
        m_received.append(got);
        if (const auto routed = m_routes.constFind(request.url().path()); routed != m_routes.cend())
            reply = *routed;
        else if (!m_script.isEmpty())
            reply = m_script.dequeue();
    }

    // Through the server's own responder, so that it keeps the connection's
    // state right; headers go out one by one, duplicates and order as given.
    QHttpServerResponder responder = makeResponder(request, socket);
    responder.writeStatusLine(QHttpServerResponder::StatusCode(reply.status));
    for (const auto& [name, value] : reply.headers)
        responder.writeHeader(name, value);
    responder.writeHeader("Content-Length", QByteArray::number(reply.body.size()));
    responder.writeBody(reply.body);
    return true;
}

void ScriptedHttpServer::missingHandler(const QHttpServerRequest& request, QTcpSocket* socket)
{
    makeResponder(request, socket).write(QHttpServerResponder::StatusCode::InternalServerError);
}

} // namespace QuorvelTest
