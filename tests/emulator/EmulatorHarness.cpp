#include "EmulatorHarness.h"

#include <algorithm>

#include <gtest/gtest.h>

#include <QEventLoop>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTimer>

namespace QuorvelEmulatorTest {

using namespace QuorvelEmulator;

const QByteArray kAdminKey = "harness-admin-key";
namespace {
const QByteArray kDemoForm = "grant_type=client_credentials&client_id=demo-client&client_secret=demo-secret";
} // namespace

QByteArray Reply::header(const QByteArray& name) const
{
    const auto found = std::ranges::find_if(
        headers, [&name](const auto& h) { return h.first.compare(name, Qt::CaseInsensitive) == 0; });
    return found == headers.end() ? QByteArray() : found->second;
}

EmulatorHarness::EmulatorHarness()
{
    auto data = DataStore::loadDirectory(QStringLiteral(QUORVEL_EMULATOR_DATA_DIR));
    if (!data)
        ADD_FAILURE() << "shipped data does not load: " << data.error().toStdString();
    m_server = std::make_unique<EmulatorServer>(data ? std::move(*data) : DataStore(), TokenSettings(),
                                                [now = m_now] { return *now; });
    m_server->setAdminKey(kAdminKey);
    if (m_server->start(0) == 0)
        ADD_FAILURE() << "the emulator could not listen on 127.0.0.1";
    m_network.setProxy(QNetworkProxy::NoProxy);
}

Reply EmulatorHarness::send(const QByteArray& verb, const QString& path, const QByteArray& body,
                            const Headers& headers)
{
    QNetworkRequest request{QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server->port()).arg(path))};
    // What the emulator sent, not where it points.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    if (path.startsWith(QLatin1String("/_emulator/")))
        request.setRawHeader("X-Emulator-Admin-Key", kAdminKey);
    for (const auto& [name, value] : headers)
        request.setRawHeader(name, value);
    std::unique_ptr<QNetworkReply> reply(m_network.sendCustomRequest(request, verb, body));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    if (!reply->isFinished()) {
        ADD_FAILURE() << "no reply within 10 s: " << path.toStdString();
        return {};
    }
    return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll(),
            reply->rawHeaderPairs()};
}

QByteArray EmulatorHarness::token()
{
    const Reply reply = send("POST", QStringLiteral("/oauth/token"), kDemoForm,
                             {{"Content-Type", "application/x-www-form-urlencoded"}});
    const QByteArray token = reply.json().object().value(QLatin1String("access_token")).toString().toLatin1();
    EXPECT_EQ(reply.status, 200);
    EXPECT_FALSE(token.isEmpty());
    return token;
}

Reply EmulatorHarness::query(const QByteArray& authorization, const QByteArray& body, const QString& business,
                             const QString& paging)
{
    Headers headers{{"Content-Type", "application/json"}};
    if (!authorization.isEmpty())
        headers.append({"Authorization", authorization});
    return send("POST",
                QStringLiteral("/api/business/quorvel/%1/v0/entities/query/vector%2").arg(business, paging),
                body, headers);
}

} // namespace QuorvelEmulatorTest
