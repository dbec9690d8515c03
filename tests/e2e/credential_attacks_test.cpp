// A scripted attacker against the whole product: the entity service or its
// token endpoint points the host elsewhere (a second loopback origin,
// 127.0.0.2), or hands it a token built to break out of its header. The host
// must refuse each one visibly, and the other origin must not be contacted
// at all: no bearer token, no client secret, no request.
#include "e2e_fixture.h"

#include <QTcpServer>

namespace QuorvelE2E {
namespace {

struct AttackRow
{
    const char* name;
    // Posted to the emulator; %ORIGIN% is the other origin's address.
    QString faults;
    // The status line of the view, and on stderr why.
    QString status;
    QString why;
    int queries = 0;
};

QString redirect(const char* target, int status, const char* path)
{
    return QStringLiteral(R"({"kind":"status","target":"%1","status":%2,"location":"%ORIGIN%%3"})")
        .arg(QLatin1String(target), QString::number(status), QLatin1String(path));
}

QString tokenReply(int status, QString json)
{
    json.replace(u'\\', QLatin1String("\\\\")).replace(u'"', QLatin1String("\\\""));
    return QStringLiteral(
               R"({"kind":"status","target":"token","status":%1,"contentType":"application/json","body":"%2"})")
        .arg(QString::number(status), json);
}

// Qt's InsecureRedirectError: the transport refused to follow.
const QString kRefused = failed("Network", 11);

const AttackRow kRows[] = {
    {"QueryFoundElsewhere302", redirect("query", 302, "/v1/query"), kRefused, "refused (status 302", 1},
    {"QueryMovedElsewhere307", redirect("query", 307, "/v1/query"), kRefused, "refused (status 307", 1},
    {"TokenEndpointMovedElsewhere307", redirect("token", 307, "/oauth/token"), kNotSignedIn,
     "sign-in failed: token endpoint refused the client (HTTP 307)"},
    {"TokenWithAnInjectedHeader",
     tokenReply(200, R"({"access_token":"t\r\nX-Injected: 1","token_type":"Bearer"})"), kNotSignedIn,
     "sign-in failed: access token holds characters a bearer token may not"},
    {"OAuthErrorWithTerminalEscapes",
     tokenReply(400, R"({"error":"invalid_client","error_description":"no\u001b[2J"})"), kNotSignedIn,
     "sign-in failed: token endpoint refused the client (HTTP 400): invalid_client: no?[2J"},
};

class CredentialAttacks : public HostEndToEnd, public ::testing::WithParamInterface<AttackRow>
{
};

TEST_P(CredentialAttacks, AreRefusedAndNothingReachesTheOtherOrigin)
{
    const AttackRow& row = GetParam();
    // Never served: the kernel still queues any connection to it, which is
    // all this test needs to see.
    QTcpServer other;
    ASSERT_TRUE(other.listen(QHostAddress(QStringLiteral("127.0.0.2")), 0));
    fault(
        QString(row.faults)
            .replace(QLatin1String("%ORIGIN%"), QStringLiteral("http://127.0.0.2:%1").arg(other.serverPort()))
            .toUtf8());

    const HostRun run = runHost();

    ASSERT_EQ(run.exitCode, row.status == kNotSignedIn ? kSignInFailed : kPageFailed)
        << run.errors.toStdString();
    EXPECT_EQ(run.lastView().value(Status), row.status) << run.output.left(2000).toStdString();
    EXPECT_TRUE(run.errors.contains(row.why)) << run.errors.toStdString();
    EXPECT_FALSE(run.output.contains(u'\x1b') || run.errors.contains(u'\x1b'));
    EXPECT_FALSE(other.waitForNewConnection(0)) << "the other origin was contacted";
    EXPECT_EQ(stat("queries"), row.queries);
}

INSTANTIATE_TEST_SUITE_P(Rows, CredentialAttacks, ::testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace QuorvelE2E
