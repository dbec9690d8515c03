#pragma once

// The whole product as a person runs it: the host application loads the
// plug-in, signs in against the emulated entity service, and prints its page.
// Both run as real processes on loopback; this fixture starts the emulator
// per test and the host per run.
#include <gtest/gtest.h>

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include "EmulatorProcess.h"
#include "support/ViewLines.h"

namespace QuorvelE2E {

constexpr int kStartMs = 10000;

// vyx-host's exit codes for a view that settled.
enum HostExit
{
    kSettled = 0,
    kSignInFailed = 4,
    kPageFailed = 5
};

// The demo business's duty channel, as the view shows it once resolved.
inline constexpr const char* kDemoChatId = "5885e99b-527d-4893-af14-46c61299024e";

struct HostRun
{
    int exitCode = -1;
    // stdout and stderr, each as the host wrote it.
    QString output;
    QString errors;

    // The last snapshot the host printed, one entry per line.
    QStringList lastView() const;
};

// How one host run is set up. The defaults are the ordinary sign-in against
// the fixture's emulator.
struct HostOptions
{
    QString businessId = QStringLiteral("demo");
    // Empty: the fixture's emulator.
    QString baseUrl;
    // Quiet time after which the host takes its view as final. It bounds how
    // long a reply may take and still be shown, so a row whose reply is slow
    // on purpose needs more than the default.
    int settleMs = 400;
    // The host gives up (exit 3) when the view has not settled by then.
    int timeoutMs = 15000;
    // Added to the host's environment.
    QList<QPair<QString, QString>> environment;
    // Added to the host's command line.
    QStringList arguments;
};

class HostEndToEnd : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    QString service() const;

    // One admin exchange with the emulator, bounded by a watchdog; fails the
    // test on a transport failure or a status from 300 up.
    QJsonObject admin(const QByteArray& verb, const QString& path, const QByteArray& body = {});
    void fault(const QByteArray& json);
    int queries();
    int tokens();
    // Every access token the emulator has issued so far.
    QStringList issuedTokens();

    HostRun runHost(const QString& businessId = QStringLiteral("demo"), const QString& baseUrl = {});
    HostRun runHost(const HostOptions& options);

    // Stops the emulator and returns everything it wrote, stdout and stderr.
    QByteArray stopEmulator();

    // Set by a derived fixture's constructor, before SetUp starts the
    // emulator; the host signs in with the same client.
    QString clientId = QStringLiteral("demo-client");
    QString clientSecret = QStringLiteral("demo-secret");
    QList<QPair<QString, QString>> emulatorEnvironment;

private:
    QTemporaryDir m_logDir;
    QuorvelEmulator::EmulatorProcess m_emulator{QStringLiteral(QUORVEL_EMULATOR_BIN)};
};

using QuorvelTest::Line;
using enum QuorvelTest::Line;

// The run ended with a failure view (exit 5): `status`, `message` in the
// first field line, the other field lines empty.
void expectFailure(const HostRun& run, const QString& status, const QString& message);

// The run ended normally with the demo business's duty channel resolved.
void expectDemoChatResolved(const HostRun& run);

} // namespace QuorvelE2E
