#pragma once

// The whole product as a person runs it: the host application loads the
// plug-in, signs in against the emulated entity service, and prints its page.
// Both run as real processes on loopback; the emulator is started per test.
#include <gtest/gtest.h>

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include "EmulatorProcess.h"
#include "view/PageLine.h"

namespace QuorvelE2E {

constexpr int kStartMs = 10000;

// vyx-host's exit codes for a view that settled.
constexpr int kSettled = 0, kSignInFailed = 4, kPageFailed = 5;

inline const QString kResolved = QStringLiteral("Chat resolved.");
inline const QString kNotSignedIn =
    QStringLiteral("Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in.");
QString failed(const char* kind, int httpCode);

struct HostRun
{
    int exitCode = -1;
    QString output; // stdout
    QString errors; // stderr
    // The last snapshot the host printed, one entry per line.
    QStringList lastView() const;
    // The view that had settled when each --then step began, then the last
    // one: a view the host did not print again is the one before it.
    QList<QStringList> settledViews() const;
};

// The defaults are the ordinary sign-in against the fixture's emulator.
struct HostOptions
{
    QString businessId = QStringLiteral("demo");
    QString baseUrl; // empty: the fixture's emulator
    QString tokenUrl; // empty: the fixture's emulator
    // The host gives up (exit 3) when the view has not settled by then.
    int timeoutMs = 15000;
    QList<QPair<QString, QString>> environment;
    QStringList arguments;
};

class HostEndToEnd : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // One admin exchange with the emulator; fails the test unless it is 2xx.
    QJsonObject admin(const QByteArray& verb, const QString& path, const QByteArray& body = {});
    void fault(const QByteArray& json) { admin("POST", QStringLiteral("/_emulator/faults"), json); }
    int stat(const char* name)
    {
        return admin("GET", QStringLiteral("/_emulator/stats")).value(name).toInt(-1);
    }
    HostRun runHost(const HostOptions& options = {});
    // Stops the emulator and returns everything it wrote, stdout and stderr.
    QByteArray stopEmulator();

    // Set by a derived fixture's constructor, before SetUp starts the
    // emulator; the host signs in with the same client.
    QString clientId = QStringLiteral("demo-client");
    QString clientSecret = QStringLiteral("demo-secret");
    QList<QPair<QString, QString>> emulatorEnvironment;
    QStringList emulatorArguments;

private:
    QTemporaryDir m_logDir;
    QuorvelEmulator::EmulatorProcess m_emulator{QStringLiteral(QUORVEL_EMULATOR_BIN)};
};

using QuorvelChat::PageLine;
using enum QuorvelChat::PageLine;

// The run ended with a failure view (exit 5): `status`, `message` in the
// first field line, the other field lines empty.
void expectFailure(const HostRun& run, const QString& status, const QString& message);
void expectFailedView(const QStringList& view, const QString& status, const QString& message);
// The run ended normally with the demo business's duty channel resolved:
// the whole page is tests/e2e/golden/GOLDEN.page.txt but for the build line.
void expectDemoChatResolved(const HostRun& run, const char* golden = "demo");
void expectDemoChat(const QStringList& view, const char* golden = "demo");

} // namespace QuorvelE2E
