// The host's command line.
#include "e2e_fixture.h"

#include <QJsonObject>
#include <QRegularExpression>
#include <QProcess>

#include <tuple>

namespace QuorvelE2E {
namespace {

// The host's command line on its own: no emulator, and for help no display
// either.
TEST(HostCommandLine, AnswersWithTheDocumentedExitCode)
{
    const QString plugins = QStringLiteral(QUORVEL_PLUGIN_DIR);
    // Arguments, exit code, and the start of stdout for exit code 0, else a part of stderr.
    const std::tuple<QStringList, int, QString> rows[] = {
        {{"--help"}, 0, "Usage: "},
        {{"--plugins", plugins, "--page", "Mail", "--print-view"}, 1, "no page \"Mail\"; pages: Chat"},
        {{"--plugins", plugins, "--settle-ms", "0", "--screenshot", "/nonexistent/page.png"},
         6,
         "cannot write /nonexistent/page.png"},
    };
    for (const auto& [arguments, exitCode, expected] : rows) {
        SCOPED_TRACE(arguments.join(' ').toStdString());
        QProcess host;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("WAYLAND_DISPLAY"));
        // Help needs no display at all; a page needs one, offscreen will do.
        if (exitCode == 0)
            env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        else
            env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        host.setProcessEnvironment(env);
        host.start(QStringLiteral(QUORVEL_HOST_BIN), arguments);
        ASSERT_TRUE(host.waitForFinished(kStartMs));
        const QString out = QString::fromUtf8(host.readAllStandardOutput());
        const QString err = QString::fromUtf8(host.readAllStandardError());
        EXPECT_EQ(host.exitStatus(), QProcess::NormalExit) << err.toStdString();
        EXPECT_EQ(host.exitCode(), exitCode) << err.toStdString();
        EXPECT_TRUE(exitCode == 0 ? out.startsWith(expected) : err.contains(expected))
            << out.toStdString() << err.toStdString();
    }
}

// Quitting never waits for a service or a token endpoint, whatever is
// pending: a sign-in, a renewal after a 401, a query, or a reply that
// stalls. The host says how long quitting took: under a second.
TEST_F(HostEndToEnd, QuitsPromptlyWhateverIsPending)
{
    const struct
    {
        const char* pending;
        QByteArray faults;
        int tokens;
        int queries;
    } rows[] = {
        {"sign-in", R"({"kind":"delay","target":"token","delayMs":60000})", 1, 0},
        {"renewal", R"([{"kind":"expire"},{"kind":"delay","target":"token","after":1,"delayMs":60000}])", 2,
         1},
        {"query", R"({"kind":"delay","delayMs":60000})", 1, 1},
        {"stalled reply", R"({"kind":"stall","delayMs":60000,"bytes":100})", 1, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.pending);
        admin("POST", QStringLiteral("/_emulator/reset"));
        fault(row.faults);
        HostOptions options;
        options.arguments = {QStringLiteral("--quit-after-ms"), QStringLiteral("1500")};
        const HostRun run = runHost(options);
        EXPECT_EQ(run.exitCode, kSettled) << run.errors.toStdString();
        const QRegularExpressionMatch took =
            QRegularExpression(QStringLiteral("quit took (\\d+) ms")).match(run.errors);
        ASSERT_TRUE(took.hasMatch()) << run.errors.toStdString();
        EXPECT_LT(took.captured(1).toInt(), 1000);
        RecordProperty(row.pending, took.captured(1).toStdString());
        // It was pending when the host quit.
        EXPECT_EQ(stat("tokens"), row.tokens);
        EXPECT_EQ(stat("queries"), row.queries);
    }
}

// One host process through a person's session: the page resolves, resolves
// again, shows a failure, resolves on the refresh after it, follows a
// switch to another user without a sign-out between, and signs out. Each
// resolution must be a query of its own, with the token of the user then
// signed in.
class HostSession : public HostEndToEnd
{
protected:
    HostSession() { emulatorArguments = {"--client", "other-client:" + clientSecret}; }
};

TEST_F(HostSession, ResolvesAgainRecoversFromAFailureAndFollowsTheUser)
{
    // The third query fails.
    fault(R"({"kind":"status","status":500,"body":"boom","after":2})");
    HostOptions options;
    for (const char* step : {"refresh", "refresh", "refresh", "sign-in=other-client", "sign-out"})
        options.arguments << "--then" << step;
    const HostRun run = runHost(options);
    EXPECT_EQ(run.exitCode, kSettled) << run.errors.toStdString();
    const QList<QStringList> views = run.settledViews();
    ASSERT_EQ(views.size(), 6) << run.output.left(4000).toStdString();
    expectDemoChat(views[0]);
    expectDemoChat(views[1]);
    expectFailedView(views[2], failed("ServerError", 500), QStringLiteral("boom"));
    expectDemoChat(views[3]);
    expectDemoChat(views[4]);
    EXPECT_EQ(views[5].value(Status), kNotSignedIn);
    const QJsonObject stats = admin("GET", QStringLiteral("/_emulator/stats"));
    EXPECT_EQ(stats.value("queries").toInt(), 5);
    EXPECT_EQ(stats.value("tokens").toInt(), 2);
    EXPECT_EQ(stats.value("queriesByClient").toObject(),
              (QJsonObject{{"demo-client", 4}, {"other-client", 1}}));
}

} // namespace
} // namespace QuorvelE2E
