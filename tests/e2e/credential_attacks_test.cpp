// A scripted attacker against the whole product: the entity service or its
// token endpoint points the host elsewhere (a second loopback origin,
// 127.0.0.2), or hands it a token built to break out of its header. The
// host must refuse each one visibly, and the other origin must receive
// nothing: no bearer token, no client secret, no request at all.
#include "e2e_fixture.h"

#include <memory>
#include <ostream>

#include <QHostAddress>
#include <QThread>

#include "support/qt/ScriptedHttpServer.h"

namespace QuorvelE2E {
namespace {

using QuorvelTest::ScriptedHttpServer;

// The attacker's server, on a thread of its own: the test's thread blocks
// while the host runs.
class OtherOrigin
{
public:
    OtherOrigin()
    {
        m_thread.start();
        m_server->moveToThread(&m_thread);
        // Were anything to reach it, it would hand out its own token, and
        // take any query as answered with no chat.
        m_server->route(QStringLiteral("/oauth/token"),
                        {200,
                         {{"Content-Type", "application/json"}},
                         R"({"access_token":"attacker-token","token_type":"Bearer"})"});
        QMetaObject::invokeMethod(
            m_server.get(), [this] { m_port = m_server->start(QHostAddress(QStringLiteral("127.0.0.2"))); },
            Qt::BlockingQueuedConnection);
    }

    ~OtherOrigin()
    {
        QMetaObject::invokeMethod(
            m_server.get(), [this] { m_server.reset(); }, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
    }

    quint16 port() const { return m_port; }
    QString url(const QString& path) const
    {
        return QStringLiteral("http://127.0.0.2:%1%2").arg(m_port).arg(path);
    }
    qsizetype requests() const { return m_server ? m_server->received().size() : -1; }

private:
    QThread m_thread;
    std::unique_ptr<ScriptedHttpServer> m_server = std::make_unique<ScriptedHttpServer>();
    quint16 m_port = 0;
};

struct AttackRow
{
    const char* name;
    // Posted to the emulator before the host starts; %ORIGIN% is the other
    // origin's address.
    QString faults;
    // What the host must say: the status line of its view, and on stderr
    // why (the refused redirect's warning, or the sign-in's failure).
    QString status;
    QString why;
    int queries = 0;
};

void PrintTo(const AttackRow& row, std::ostream* out)
{
    *out << row.name;
}

const QString kNotSignedIn =
    QStringLiteral("Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in.");

QString tokenReply(const QString& json)
{
    QString escaped = json;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"))
        .replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QStringLiteral(
               R"({"kind":"status","target":"token","status":200,"contentType":"application/json","body":"%1"})")
        .arg(escaped);
}

std::vector<AttackRow> attackRows()
{
    // Qt's InsecureRedirectError: the transport refused to follow.
    const QString refused = QStringLiteral("Resolve failed \u2014 kind: Network, httpCode: 11");
    const auto toOther = [](int status) {
        return QStringLiteral(R"({"kind":"status","status":%1,"location":"%ORIGIN%/v1/query"})").arg(status);
    };
    std::vector<AttackRow> rows = {
        {"QueryFoundElsewhere302", toOther(302), refused, QStringLiteral("refused (status 302"), 1},
        {"QueryMovedElsewhere307", toOther(307), refused, QStringLiteral("refused (status 307"), 1},
        {"QueryMovedElsewhere308", toOther(308), refused, QStringLiteral("refused (status 308"), 1},
        {"TokenEndpointMovedElsewhere307",
         R"({"kind":"status","target":"token","status":307,"location":"%ORIGIN%/oauth/token"})", kNotSignedIn,
         QStringLiteral("sign-in failed: token endpoint refused the client (HTTP 307)")},
        {"TokenEndpointFoundElsewhere302",
         R"({"kind":"status","target":"token","status":302,"location":"%ORIGIN%/oauth/token"})", kNotSignedIn,
         QStringLiteral("sign-in failed: token endpoint refused the client (HTTP 302)")},
        {"TokenWithAnInjectedHeader",
         tokenReply(R"({"access_token":"t\r\nX-Injected: 1","token_type":"Bearer"})"), kNotSignedIn,
         QStringLiteral("sign-in failed: access token holds characters a bearer token may not")},
        {"TokenOfAnotherType", tokenReply(R"({"access_token":"t","token_type":"MAC"})"), kNotSignedIn,
         QStringLiteral("sign-in failed: token type is \"MAC\", not Bearer")},
        {"OAuthErrorWithTerminalEscapes",
         QStringLiteral(R"({"kind":"status","target":"token","status":400,"contentType":"application/json",)"
                        R"("body":"{\"error\":\"invalid_client\",\"error_description\":\"no\\u001b[2J\"}"})"),
         kNotSignedIn,
         QStringLiteral(
             "sign-in failed: token endpoint refused the client (HTTP 400): invalid_client: no?[2J")},
    };
    return rows;
}

class CredentialAttacks : public HostEndToEnd, public ::testing::WithParamInterface<AttackRow>
{
};

TEST_P(CredentialAttacks, AreRefusedAndNothingReachesTheOtherOrigin)
{
    const AttackRow& row = GetParam();
    OtherOrigin other;
    ASSERT_NE(other.port(), 0);
    fault(QString(row.faults).replace(QLatin1String("%ORIGIN%"), other.url({})).toUtf8());

    const HostRun run = runHost(HostOptions());

    ASSERT_EQ(run.exitCode, row.status == kNotSignedIn ? kSignInFailed : kPageFailed)
        << run.errors.toStdString();
    const QStringList view = run.lastView();
    ASSERT_GT(view.size(), Status) << run.output.toStdString();
    EXPECT_EQ(view[Status].toStdString(), row.status.toStdString()) << run.output.left(2000).toStdString();
    EXPECT_TRUE(run.errors.contains(row.why)) << run.errors.toStdString();
    EXPECT_FALSE(run.output.contains(QLatin1Char('\x1b')) || run.errors.contains(QLatin1Char('\x1b')));
    EXPECT_EQ(other.requests(), 0) << "the other origin was contacted";
    EXPECT_EQ(queries(), row.queries);
}

INSTANTIATE_TEST_SUITE_P(Rows, CredentialAttacks, ::testing::ValuesIn(attackRows()),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace QuorvelE2E
