// vyx-host: a stand-in for the Vyx desktop application. Loads the plug-in
// pages of a folder, signs in with OAuth 2 client credentials, and shows the
// pages; with --print-view and --screenshot it doubles as a headless probe.
#include <cstdio>

#include <sys/resource.h>

#include <QApplication>
#include <QTimer>

#include <Vyx/CTarsionApp.h>
#include <Vyx/CVyxAccount.h>

#include "CommandLine.h"
#include "HostWindow.h"
#include "ViewMonitor.h"

namespace {

enum ExitCode { Settled = 0, NoPage = 1, BadArguments = 2, NotSettled = 3 };

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
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vyx-host"));

    CommandLine options;
    QString error;
    if (!CommandLine::parse(QApplication::arguments(), options, error)) {
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
        QObject::connect(&account, &CVyxAccount::signInFailed, [&](const QString& reason) {
            printError(QStringLiteral("vyx-host: sign-in failed: %1").arg(reason));
            monitor.setReady(true);
        });
        QObject::connect(&account, &CVyxAccount::signedInUserChanged,
                         [&] { monitor.setReady(true); });
        QObject::connect(&monitor, &ViewMonitor::settled, [&] {
            if (!options.screenshot.isEmpty() && !window.grab().save(options.screenshot))
                printError(QStringLiteral("vyx-host: cannot write %1").arg(options.screenshot));
            if (!options.stay)
                QApplication::exit(Settled);
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
