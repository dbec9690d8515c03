#include "EmulatorHarness.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QHostAddress>
#include <QNetworkProxy>
#include <QNetworkRequest>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

namespace QuorvelEmulatorTest {

using namespace QuorvelEmulator;

const QByteArray kDutyChannelQuery = QByteArrayLiteral(
    R"({"entitiesByEntityTypesWithInheritance":false,)"
    R"("entitiesByAttributeValues":[{"attributeKey":"IS_DEFAULT_CHANNEL","operator":"Equals",)"
    R"("value":"TRUE","ignoreCase":true,"locales":["EN_US"]}],)"
    R"("entitiesByEntityTypeKeys":["BUSINESS_TICKET"],)"
    R"("entitiesOptions":{"includeAttributeValuesByAttributeKeys":["TICKET_TITLE"],)"
    R"("includeLocales":["EN_US"],"includeReferences":true,"includeEntityState":true}})");

DataStore shippedData()
{
    auto data = DataStore::loadDirectory(QStringLiteral(QUORVEL_EMULATOR_DATA_DIR));
    if (!data) {
        ADD_FAILURE() << "shipped data does not load: " << data.error().toStdString();
        return {};
    }
    return std::move(*data);
}

QByteArray Reply::header(const QByteArray& name) const
{
    for (const auto& [n, v] : headers) {
        if (n.compare(name, Qt::CaseInsensitive) == 0)
            return v;
    }
    return {};
}

QByteArray RawExchange::head() const
{
    const qsizetype end = bytes.indexOf("\r\n\r\n");
    return end < 0 ? bytes : bytes.left(end);
}

QByteArray RawExchange::body() const
{
    const qsizetype end = bytes.indexOf("\r\n\r\n");
    return end < 0 ? QByteArray() : bytes.mid(end + 4);
}

qint64 RawExchange::contentLength() const
{
    const QList<QByteArray> lines = head().split('\n');
    for (const QByteArray& line : lines) {
        const QByteArray trimmed = line.trimmed();
        if (trimmed.toLower().startsWith("content-length:"))
            return trimmed.mid(15).trimmed().toLongLong();
    }
    return -1;
}

EmulatorHarness::EmulatorHarness(DataStore data, TokenSettings settings)
    : m_now(std::make_shared<qint64>(1000000))
{
    std::shared_ptr<qint64> now = m_now;
    m_server = std::make_unique<EmulatorServer>(std::move(data), std::move(settings), [now] { return *now; });
    if (m_server->start(0) == 0)
        ADD_FAILURE() << "the emulator could not listen on 127.0.0.1";
    m_network = std::make_unique<QNetworkAccessManager>();
    m_network->setProxy(QNetworkProxy::NoProxy);
}

EmulatorHarness::~EmulatorHarness()
{
    // Replies still in flight belong to the access manager; it goes first so
    // that nothing talks to a server that is gone.
    m_network.reset();
    m_server.reset();
}

QString EmulatorHarness::url(const QString& pathAndQuery) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(port()).arg(pathAndQuery);
}

QNetworkReply* EmulatorHarness::start(const QByteArray& verb, const QString& pathAndQuery,
                                      const QByteArray& body, const Headers& headers)
{
    QNetworkRequest request{QUrl(url(pathAndQuery))};
    // What the emulator sent, not where it points.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    for (const auto& [name, value] : headers)
        request.setRawHeader(name, value);
    return m_network->sendCustomRequest(request, verb, body);
}

Reply EmulatorHarness::wait(QNetworkReply* reply, int timeoutMs)
{
    if (!reply->isFinished()) {
        QEventLoop loop;
        QTimer watchdog;
        watchdog.setSingleShot(true);
        QObject::connect(&watchdog, &QTimer::timeout, &loop, &QEventLoop::quit);
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        watchdog.start(timeoutMs);
        loop.exec();
    }
    Reply result;
    result.finished = reply->isFinished();
    if (!result.finished)
        reply->abort();
    result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    result.error = reply->error();
    result.body = reply->readAll();
    result.headers = reply->rawHeaderPairs();
    reply->deleteLater();
    return result;
}

Reply EmulatorHarness::send(const QByteArray& verb, const QString& pathAndQuery, const QByteArray& body,
                            const Headers& headers)
{
    return wait(start(verb, pathAndQuery, body, headers));
}

Reply EmulatorHarness::requestToken(const QByteArray& form, const Headers& headers)
{
    Headers all{{"Content-Type", "application/x-www-form-urlencoded"}};
    all.append(headers);
    return send("POST", QStringLiteral("/oauth/token"), form, all);
}

QByteArray EmulatorHarness::token()
{
    const Reply reply =
        requestToken("grant_type=client_credentials&client_id=demo-client&client_secret=demo-secret");
    const QByteArray token = reply.json().object().value(QLatin1String("access_token")).toString().toLatin1();
    EXPECT_EQ(reply.status, 200);
    EXPECT_FALSE(token.isEmpty());
    return token;
}

QNetworkReply* EmulatorHarness::startQuery(const QString& businessId, const QByteArray& body,
                                           const QByteArray& token, const QString& queryString)
{
    Headers headers{{"Content-Type", "application/json"}};
    if (!token.isEmpty())
        headers.append({"Authorization", "Bearer " + token});
    return start(
        "POST",
        QStringLiteral("/api/business/quorvel/%1/v0/entities/query/vector%2").arg(businessId, queryString),
        body, headers);
}

Reply EmulatorHarness::query(const QString& businessId, const QByteArray& body, const QByteArray& token,
                             const QString& queryString)
{
    return wait(startQuery(businessId, body, token, queryString));
}

Reply EmulatorHarness::addFault(const QByteArray& json)
{
    const Reply reply =
        send("POST", QStringLiteral("/_emulator/faults"), json, {{"Content-Type", "application/json"}});
    EXPECT_EQ(reply.status, 200) << reply.body.toStdString();
    return reply;
}

QByteArray EmulatorHarness::rawQueryRequest(const QString& businessId, const QByteArray& body,
                                            const QByteArray& token)
{
    return "POST /api/business/quorvel/" + businessId.toUtf8()
           + "/v0/entities/query/vector?Skip=0&Take=1 HTTP/1.1\r\n"
             "Host: 127.0.0.1\r\n"
             "Content-Type: application/json\r\n"
             "Authorization: Bearer "
           + token
           + "\r\n"
             "Content-Length: "
           + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

RawExchange EmulatorHarness::raw(const QByteArray& request, int quietMs, qsizetype hangUpAt)
{
    RawExchange exchange;
    QTcpSocket socket;
    QEventLoop loop;
    QElapsedTimer clock;
    QTimer quiet;
    quiet.setSingleShot(true);
    QTimer watchdog;
    watchdog.setSingleShot(true);

    QObject::connect(&socket, &QTcpSocket::connected, &loop, [&] {
        clock.start();
        socket.write(request);
        quiet.start(quietMs);
    });
    QObject::connect(&socket, &QTcpSocket::readyRead, &loop, [&] {
        exchange.bytes.append(socket.readAll());
        exchange.arrivals.append({clock.elapsed(), exchange.bytes.size()});
        quiet.start(quietMs);
        if (hangUpAt >= 0 && exchange.bytes.size() >= hangUpAt)
            loop.quit();
    });
    QObject::connect(&socket, &QTcpSocket::disconnected, &loop, [&] {
        exchange.bytes.append(socket.readAll());
        exchange.closedByServer = true;
        loop.quit();
    });
    QObject::connect(&socket, &QTcpSocket::errorOccurred, &loop, [&](QAbstractSocket::SocketError error) {
        if (error == QAbstractSocket::RemoteHostClosedError)
            exchange.closedByServer = true;
        loop.quit();
    });
    QObject::connect(&quiet, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&watchdog, &QTimer::timeout, &loop, &QEventLoop::quit);

    watchdog.start(kWatchdogMs);
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port());
    loop.exec();
    // Our own hang-up must not be recorded as the server's.
    QObject::disconnect(&socket, nullptr, nullptr, nullptr);
    socket.abort();
    return exchange;
}

} // namespace QuorvelEmulatorTest
