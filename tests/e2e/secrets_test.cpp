// No access token and no client secret may turn up in anything the host or
// the emulator prints, with every logging category switched on: not in log
// lines, warnings, error texts, nor in the page itself.
#include "e2e_fixture.h"

#include <QTcpServer>
#include <QTemporaryFile>
#include <QUuid>

#include <ostream>

namespace QuorvelE2E {
namespace {

const QPair<QString, QString> kEveryCategory{QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*=true")};

// A logged token cut short is still a leak; this much of one is unique.
constexpr qsizetype kTokenPrefix = 16;

enum class Scenario
{
    Resolved,
    Renewed,
    RenewalFails,
    Refused,
    ServerError
};

void PrintTo(Scenario scenario, std::ostream* out)
{
    *out << int(scenario);
}

class SecretsStayOut : public HostEndToEnd, public ::testing::WithParamInterface<Scenario>
{
protected:
    SecretsStayOut()
    {
        // Unlike the demo client's secret, this one cannot turn up by chance.
        clientId = QStringLiteral("e2e-secrets-client");
        clientSecret = QStringLiteral("cs-") + QUuid::createUuid().toString(QUuid::Id128);
        emulatorEnvironment = {kEveryCategory};
    }

    void expectNothingSecretIn(const QString& who, const QString& text, const QStringList& tokens)
    {
        EXPECT_FALSE(text.contains(clientSecret)) << who.toStdString() << " printed the client secret";
        for (const QString& token : tokens) {
            ASSERT_GE(token.size(), kTokenPrefix);
            EXPECT_FALSE(text.contains(token.left(kTokenPrefix)))
                << who.toStdString() << " printed an access token";
        }
    }
};

TEST_P(SecretsStayOut, NeitherTokensNorTheClientSecretAreEverPrinted)
{
    HostOptions options;
    options.environment = {kEveryCategory};
    int expectedTokens = 1;
    QTcpServer closed;
    QTemporaryFile secretFile;
    const QString urlPassword = QStringLiteral("pw-") + QUuid::createUuid().toString(QUuid::Id128);
    switch (GetParam()) {
    case Scenario::Resolved:
        // From a file; the environment's secret would be refused.
        ASSERT_TRUE(secretFile.open());
        secretFile.write(clientSecret.toUtf8() + '\n');
        secretFile.flush();
        options.arguments = {QStringLiteral("--client-secret-file"), secretFile.fileName()};
        options.environment.append({QStringLiteral("VYX_CLIENT_SECRET"), QStringLiteral("wrong")});
        break;
    case Scenario::Renewed:
        fault(R"({"kind":"expire"})");
        expectedTokens = 2;
        break;
    case Scenario::RenewalFails:
        fault(R"([{"kind":"expire"},{"kind":"status","status":503,"target":"token","after":1}])");
        // The sign-in's token only: the renewal got none.
        break;
    case Scenario::Refused:
        ASSERT_TRUE(closed.listen(QHostAddress::LocalHost, 0));
        // With a password in it, which the transport error must not print.
        options.baseUrl =
            QStringLiteral("http://e2e:%1@127.0.0.1:%2").arg(urlPassword).arg(closed.serverPort());
        closed.close();
        break;
    case Scenario::ServerError: fault(R"({"kind":"status","status":500,"body":"boom"})"); break;
    }

    const HostRun run = runHost(options);
    const bool resolves = GetParam() == Scenario::Resolved || GetParam() == Scenario::Renewed;
    ASSERT_EQ(run.exitCode, resolves ? kSettled : kPageFailed) << run.errors.toStdString();

    // The scenario really happened, so that there was something to leak.
    const QString status = run.lastView().value(Status);
    switch (GetParam()) {
    case Scenario::Resolved:
    case Scenario::Renewed: EXPECT_EQ(status, "Chat resolved.") << run.output.toStdString(); break;
    case Scenario::RenewalFails:
        EXPECT_EQ(status, "Resolve failed \u2014 kind: Network, httpCode: 0");
        EXPECT_EQ(run.lastView().value(Id), "QtTokenFactory: refresh returned empty token.");
        break;
    case Scenario::Refused:
        EXPECT_EQ(status, "Resolve failed \u2014 kind: Network, httpCode: 1");
        // The plug-in's own warning, so its log is part of what was searched.
        EXPECT_TRUE(run.errors.contains("QtHttpNetworkService: transport error")) << run.errors.toStdString();
        break;
    case Scenario::ServerError:
        EXPECT_EQ(status, "Resolve failed \u2014 kind: ServerError, httpCode: 500");
        break;
    }
    // Debug lines of Qt's own categories: the rules did switch everything on.
    EXPECT_TRUE(run.errors.contains(QLatin1String("qt."))) << run.errors.left(2000).toStdString();

    const QStringList tokens = issuedTokens();
    ASSERT_EQ(tokens.size(), expectedTokens);
    const QString emulatorOutput = QString::fromUtf8(stopEmulator());
    EXPECT_TRUE(emulatorOutput.startsWith("listening on ")) << emulatorOutput.toStdString();
    // The emulator's request log was on too, and met the token the host sent.
    if (GetParam() != Scenario::Refused) {
        EXPECT_TRUE(emulatorOutput.contains("Bearer <redacted>")) << emulatorOutput.toStdString();
    }

    EXPECT_FALSE(run.output.contains(urlPassword) || run.errors.contains(urlPassword))
        << "vyx-host printed the password of its base URL";
    expectNothingSecretIn(QStringLiteral("vyx-host (stdout)"), run.output, tokens);
    expectNothingSecretIn(QStringLiteral("vyx-host (stderr)"), run.errors, tokens);
    expectNothingSecretIn(QStringLiteral("quorvel-emulator"), emulatorOutput, tokens);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, SecretsStayOut,
                         ::testing::Values(Scenario::Resolved, Scenario::Renewed, Scenario::RenewalFails,
                                           Scenario::Refused, Scenario::ServerError),
                         [](const ::testing::TestParamInfo<Scenario>& info) -> std::string {
                             switch (info.param) {
                             case Scenario::Resolved: return "Resolved";
                             case Scenario::Renewed: return "TokenRenewed";
                             case Scenario::RenewalFails: return "TokenEndpointDownAtRenewal";
                             case Scenario::Refused: return "ConnectionRefused";
                             case Scenario::ServerError: return "ServerError500";
                             }
                             return "Unknown";
                         });

} // namespace
} // namespace QuorvelE2E
