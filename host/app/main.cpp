// vyx-host: a stand-in for the Vyx desktop application. Loads the plug-in
// pages of a folder, signs in with OAuth 2 client credentials, and shows the
// pages; with --print-view and --screenshot it doubles as a headless probe.
#include <cstdio>

#include <sys/resource.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include <Vyx/CTarsionApp.h>
#include <Vyx/CVyxAccount.h>
#include <Vyx/PageState.h>

#include "CommandLine.h"
#include "HostWindow.h"
#include "ViewMonitor.h"

namespace {

// Listed in --help and in the README; scripts rely on them.
enum ExitCode
{
    Settled = 0,
    NoPage = 1,
    BadArguments = 2,
    NotSettled = 3,
    SignInFailed = 4,
    PageFailed = 5,
    ScreenshotFailed = 6,
};

void nameApplication()
{
    QCoreApplication::setApplicationName(QStringLiteral("vyx-host"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VYX_HOST_VERSION));
}

void printError(const QString& text)
{
    const QByteArray bytes = (text + QLatin1Char('\n')).toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
}

// The high-water mark of resident memory, as the kernel keeps it: what a
// test of a hostile service checks the host against.
void printPeakMemory()
{
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) == 0)
        printError(QStringLiteral("vyx-host: peak memory %1 kB").arg(usage.ru_maxrss));
}

} // namespace

int main(int argc, char** argv)
{
    QStringList raw;
    for (int i = 0; i < argc; ++i)
        raw << QString::fromLocal8Bit(argv[i]);
    // Answered without a display: help and version must work anywhere.
    if (CommandLine::asksForHelp(raw)) {
        QCoreApplication core(argc, argv);
        nameApplication();
        QCommandLineParser parser;
        CommandLine::describe(parser);
        // Prints to standard output and exits.
        parser.process(core);
        return Settled;
    }

    // Checked before the application starts, so that a mistake is told
    // without a display; an option only Qt knows is checked once Qt has
    // taken its own away.
    CommandLine options;
    QString error;
    const CommandLine::Parsed early = CommandLine::parse(raw, options, error);
    if (early == CommandLine::Parsed::Invalid) {
        printError(error);
        return BadArguments;
    }
    QApplication application(argc, argv);
    nameApplication();
    if (early == CommandLine::Parsed::UnknownOption
        && CommandLine::parse(QApplication::arguments(), options, error) != CommandLine::Parsed::Ok) {
        printError(error);
        return BadArguments;
    }

    CTarsionApp app;
    app.setBaseUrl(options.baseUrl);
    app.setVyxBusinessId(options.businessId);
    app.setNetworkLimits(options.maxReplyBytes, options.inactivityTimeoutMs);
    CVyxAccount account;
    app.setAccount(&account);

    const Ambrel::ClientCredentials credentials{QUrl(options.tokenUrl), options.clientId,
                                                options.clientSecret};
    const bool signInAtStart = !options.tokenUrl.isEmpty();

    int exitCode = Settled;
    {
        HostWindow window(&account);
        if (window.loadPlugins(options.pluginsDir) == 0) {
            printError(QStringLiteral("vyx-host: no plug-in pages in %1").arg(options.pluginsDir));
            return NoPage;
        }
        if (signInAtStart)
            window.setSignInHandler([&account, credentials] { account.signIn(credentials); });
        window.show();
        if (!window.showPage(options.page)) {
            printError(QStringLiteral("vyx-host: no page \"%1\"; pages: %2")
                           .arg(options.page, window.captions().join(QStringLiteral(", "))));
            return NoPage;
        }

        const bool probing = options.printView || !options.screenshot.isEmpty();
        ViewMonitor monitor([&window] { return window.currentPageView(); }, options.printView,
                            options.settleMs);
        bool signInFailed = false;
        QObject::connect(&account, &CVyxAccount::signInFailed, [&](const QString& reason) {
            printError(QStringLiteral("vyx-host: sign-in failed: %1").arg(reason));
            signInFailed = true;
            monitor.setReady(true);
        });
        QObject::connect(&account, &CVyxAccount::signedInUserChanged, [&] { monitor.setReady(true); });
        QObject::connect(&monitor, &ViewMonitor::settled, [&] {
            int outcome = signInFailed ? SignInFailed
                          : ViewMonitor::pageSays(window.currentPageView(), Vyx::PageState::kFailed)
                              ? PageFailed
                              : Settled;
            if (!options.screenshot.isEmpty() && !window.grab().save(options.screenshot)) {
                printError(QStringLiteral("vyx-host: cannot write %1").arg(options.screenshot));
                outcome = ScreenshotFailed;
            }
            if (!options.stay)
                QApplication::exit(outcome);
        });
        QTimer deadline;
        if (probing) {
            monitor.setReady(!signInAtStart);
            monitor.start();
            deadline.setSingleShot(true);
            QObject::connect(&deadline, &QTimer::timeout, [] {
                printError(QStringLiteral("vyx-host: the view did not settle in time"));
                QApplication::exit(NotSettled);
            });
            deadline.start(options.timeoutMs);
        }
        if (signInAtStart)
            account.signIn(credentials);
        exitCode = QApplication::exec();
    }
    if (options.printPeakMemory)
        printPeakMemory();
    return exitCode;
}
