#include "EmulatorServer.h"

#include "EntityQuery.h"
#include "EntityShaper.h"
#include "FaultKinds.h"
#include "QueryEvaluator.h"
#include "ReplyWriter.h"

#include <QHostAddress>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QUrl>

#include <exception>

namespace QuorvelEmulator {

namespace {

using Method = QHttpServerRequest::Method;

const QByteArray kBearerChallenge = QByteArrayLiteral("Bearer realm=\"quorvel-emulator\"");

HttpReply methodNotAllowed(const QByteArray& allowed)
{
    return HttpReply::message(405,
                              QStringLiteral("Method not allowed; use %1").arg(QString::fromLatin1(allowed)))
        .withHeader("Allow", allowed);
}

// Header names are case-insensitive on the wire, whatever the client wrote.
QByteArray headerValue(const QHttpServerRequest& request, const QByteArray& name)
{
    const auto headers = request.headers();
    for (const auto& [n, v] : headers) {
        if (n.compare(name, Qt::CaseInsensitive) == 0)
            return v;
    }
    return {};
}

// "Bearer <token>", the scheme in any case; an empty result means there was
// no usable bearer credential at all.
QByteArray bearerToken(const QHttpServerRequest& request)
{
    const QByteArray header = headerValue(request, "Authorization").trimmed();
    const qsizetype blank = header.indexOf(' ');
    if (blank < 0 || header.left(blank).compare("Bearer", Qt::CaseInsensitive) != 0)
        return {};
    return header.mid(blank + 1).trimmed();
}

// A browser on this machine sends what a web page asks for to 127.0.0.1
// too, under the page's own host name, and cannot add a header of its own
// without asking the server first: a loopback host and the run's key tell
// the tests and scripts that started the emulator from anyone else.
bool adminAllowed(const QHttpServerRequest& request, const QByteArray& key)
{
    const QByteArray host = headerValue(request, "Host");
    const qsizetype colon = host.lastIndexOf(':');
    const QByteArray name = colon > host.lastIndexOf(']') ? host.left(colon) : host;
    const bool loopback =
        name == "127.0.0.1" || name == "[::1]" || name.compare("localhost", Qt::CaseInsensitive) == 0;
    return loopback && !key.isEmpty() && headerValue(request, "X-Emulator-Admin-Key") == key;
}

} // namespace

EmulatorServer::EmulatorServer(DataStore data, TokenSettings tokenSettings, TokenStore::Clock clock,
                               QObject* parent)
    : QAbstractHttpServer(parent)
    , m_data(std::move(data))
    , m_tokenSettings(std::move(tokenSettings))
    , m_tokens(std::move(clock))
{
}

EmulatorStats EmulatorServer::stats() const
{
    EmulatorStats stats = m_stats;
    stats.streams = streamsInProgress(this);
    return stats;
}

quint16 EmulatorServer::start(quint16 port)
{
    m_port = listen(QHostAddress(QHostAddress::LocalHost), port);
    return m_port;
}

bool EmulatorServer::handleRequest(const QHttpServerRequest& request, QTcpSocket* socket)
{
    static const QRegularExpression queryPath(
        QStringLiteral("^/api/business/quorvel/([^/]+)/v0/entities/query/vector$"));

    PlannedReply planned;
    try {
        const QString path = request.url().path(QUrl::FullyEncoded);
        if (path == QLatin1String("/oauth/token")) {
            ++m_stats.tokens;
            planned = request.method() == Method::Post ? handleToken(request)
                                                       : PlannedReply{methodNotAllowed("POST"), {}};
        } else if (const auto match = queryPath.match(path); match.hasMatch()) {
            ++m_stats.queries;
            const QString businessId = QUrl::fromPercentEncoding(match.captured(1).toLatin1());
            planned = request.method() == Method::Post ? handleQuery(request, businessId)
                                                       : PlannedReply{methodNotAllowed("POST"), {}};
        } else if (path.startsWith(QLatin1String("/_emulator/"))) {
            planned.reply =
                adminAllowed(request, m_adminKey)
                    ? handleAdmin(request, path)
                    : HttpReply::message(403, QStringLiteral("The admin endpoints answer only a "
                                                             "loopback host, with this run's key"));
        } else {
            planned.reply = HttpReply::message(404, QStringLiteral("No such endpoint: %1").arg(path));
        }
    } catch (const std::exception& error) {
        // A request must never take the emulator down; a test sees a 500 and
        // the reason instead.
        planned = PlannedReply{
            HttpReply::message(
                500, QStringLiteral("Emulator failure: %1").arg(QString::fromLocal8Bit(error.what()))),
            {}};
    }
    deliverReply(this, makeResponder(request, socket), std::move(planned.reply), planned.delivery);
    return true;
}

void EmulatorServer::missingHandler(const QHttpServerRequest& request, QTcpSocket* socket)
{
    deliverReply(this, makeResponder(request, socket),
                 HttpReply::message(404, QStringLiteral("No such endpoint")), {});
}

PlannedReply EmulatorServer::handleToken(const QHttpServerRequest& request)
{
    return answerWithFault(FaultTarget::Token, request, [&] {
        return issueToken(m_tokens, m_tokenSettings, request.body(), headerValue(request, "Authorization"));
    });
}

PlannedReply EmulatorServer::handleQuery(const QHttpServerRequest& request, const QString& businessId)
{
    return answerWithFault(FaultTarget::Query, request, [&] { return answerQuery(request, businessId); });
}

PlannedReply EmulatorServer::answerWithFault(FaultTarget target, const QHttpServerRequest& request,
                                             const std::function<HttpReply()>& answer)
{
    const std::optional<Fault> fault = m_faults.next(target);
    if (!fault)
        return {answer(), {}};
    const FaultKind& kind = *fault->kind;
    if (kind.before)
        kind.before({m_tokens, bearerToken(request)});
    // A token endpoint that is "down" must not hand out a usable token
    // behind the error it shows. A query is answered all the same, so that
    // it counts for its client in the statistics.
    const bool unanswered = target == FaultTarget::Token && kind.relation == FaultRelation::Replaces;
    return applyFault(*fault, unanswered ? HttpReply{} : answer());
}

HttpReply EmulatorServer::answerQuery(const QHttpServerRequest& request, const QString& businessId)
{
    const QByteArray token = bearerToken(request);
    if (token.isEmpty()) {
        return HttpReply::message(401, QStringLiteral("Missing bearer token"))
            .withHeader("WWW-Authenticate", kBearerChallenge);
    }
    switch (m_tokens.check(token)) {
    case TokenStore::Check::Unknown:
        return HttpReply::message(401, QStringLiteral("Unknown access token"))
            .withHeader("WWW-Authenticate", kBearerChallenge + ", error=\"invalid_token\"");
    case TokenStore::Check::Expired:
        return HttpReply::message(401, QStringLiteral("Access token expired"))
            .withHeader("WWW-Authenticate", kBearerChallenge
                                                + ", error=\"invalid_token\", "
                                                  "error_description=\"The access token expired\"");
    case TokenStore::Check::Valid: break;
    }
    ++m_stats.queriesByClient[m_tokens.owner(token)];

    const QList<QJsonObject>* entities = m_data.business(businessId);
    if (!entities)
        return HttpReply::message(404, QStringLiteral("Unknown business '%1'").arg(businessId));

    const auto paging = parsePaging(request.query());
    if (!paging)
        return HttpReply::message(400, paging.error());
    const auto query = parseEntityQuery(request.body());
    if (!query)
        return HttpReply::message(400, query.error());

    const QList<QJsonObject> page = pageEntities(selectEntities(*entities, *query), *paging);
    return HttpReply::json(200, shapeEntities(page, query->options));
}

HttpReply EmulatorServer::handleAdmin(const QHttpServerRequest& request, const QString& path)
{
    const Method method = request.method();
    if (path == QLatin1String("/_emulator/faults")) {
        if (method == Method::Post) {
            auto faults = Fault::listFromJson(request.body());
            if (!faults)
                return HttpReply::message(400, faults.error());
            for (Fault& fault : *faults)
                m_faults.push(std::move(fault));
            return HttpReply::json(200, QJsonObject{{QStringLiteral("queued"), faults->size()},
                                                    {QStringLiteral("pending"), m_faults.size()}});
        }
        if (method == Method::Get)
            return HttpReply::json(200, QJsonObject{{QStringLiteral("faults"), m_faults.pending()}});
        if (method == Method::Delete) {
            const qsizetype cleared = m_faults.size();
            m_faults.clear();
            return HttpReply::json(200, QJsonObject{{QStringLiteral("cleared"), cleared}});
        }
        return methodNotAllowed("GET, POST, DELETE");
    }
    if (path == QLatin1String("/_emulator/expire-tokens")) {
        if (method != Method::Post)
            return methodNotAllowed("POST");
        m_tokens.expireAll();
        return HttpReply::json(200, QJsonObject{{QStringLiteral("expired"), m_tokens.size()}});
    }
    if (path == QLatin1String("/_emulator/stats")) {
        if (method != Method::Get)
            return methodNotAllowed("GET");
        const EmulatorStats counted = stats();
        QJsonObject byClient;
        for (auto it = counted.queriesByClient.cbegin(); it != counted.queriesByClient.cend(); ++it)
            byClient.insert(it.key(), it.value());
        return HttpReply::json(200, QJsonObject{{QStringLiteral("queries"), counted.queries},
                                                {QStringLiteral("tokens"), counted.tokens},
                                                {QStringLiteral("streams"), counted.streams},
                                                {QStringLiteral("queriesByClient"), byClient}});
    }
    if (path == QLatin1String("/_emulator/tokens")) {
        // Lets a test look for leaked tokens in what the client printed. The
        // server listens on loopback only, as for every admin endpoint.
        if (method != Method::Get)
            return methodNotAllowed("GET");
        QJsonArray tokens;
        for (const QByteArray& token : m_tokens.issued())
            tokens.append(QString::fromLatin1(token));
        return HttpReply::json(200, QJsonObject{{QStringLiteral("tokens"), tokens}});
    }
    if (path == QLatin1String("/_emulator/reset")) {
        if (method != Method::Post)
            return methodNotAllowed("POST");
        m_faults.clear();
        m_stats = {};
        return HttpReply::json(200, QJsonObject{});
    }
    return HttpReply::message(404, QStringLiteral("No such emulator endpoint: %1").arg(path));
}

} // namespace QuorvelEmulator
