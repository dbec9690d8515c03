// vyx-host: a stand-in for the Vyx desktop application. Loads the plug-in
// pages of a folder, signs in with OAuth 2 client credentials, and shows the
// pages; with --print-view and --screenshot it doubles as a headless probe.
#include <cstdio>

#include <sys/resource.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTimer>

#include <Ambrel/ClientCredentials.h>
#include <Vyx/CTarsionApp.h>
#include <Vyx/CVyxAccount.h>

#include "CommandLine.h"
#include "HostWindow.h"
#include "Probe.h"

namespace {

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

// Help and version are answered without a display: they must work anywhere.
int printHelp(int argc, char** argv)
{
    QCoreApplication core(argc, argv);
    nameApplication();
    QCommandLineParser parser;
    CommandLine::describe(parser);
    // Prints to standard output and exits.
    parser.process(core);
    return Settled;
}

// The window with its plug-in pages, signed in and probed as the options
// say, until the application ends. `quitting` starts when a quit is asked
// for by --quit-after-ms.
int runHost(const CommandLine& options, QElapsedTimer& quitting)
{
    // For the host's own sign-in and for every plug-in's exchanges alike.
    // Read once the application exists: Qt's TLS back end needs it.
    if (!options.caFile.isEmpty()) {
        const QList<QSslCertificate> authorities =
            QSslCertificate::fromPath(options.caFile, QSsl::Pem, QSslCertificate::PatternSyntax::FixedString);
        if (authorities.isEmpty()) {
            printError(QStringLiteral("--ca-file: no PEM certificate in %1").arg(options.caFile));
            return BadArguments;
        }
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.addCaCertificates(authorities);
        QSslConfiguration::setDefaultConfiguration(tls);
    }
    CTarsionApp app;
    app.setBaseUrl(options.baseUrl);
    app.setVyxBusinessId(options.businessId);
    for (const auto& [name, value] : options.networkLimits)
        app.setNetworkLimit(name, value);
    CVyxAccount account;
    app.setAccount(&account);

    const Ambrel::ClientCredentials credentials{QUrl(options.tokenUrl), options.clientId,
                                                options.clientSecret};
    const bool signInAtStart = !options.tokenUrl.isEmpty();

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
    Probe probe(window, account, options, credentials);
    if (Probe::wanted(options))
        probe.start(signInAtStart);
    if (signInAtStart)
        account.signIn(credentials);
    if (options.quitAfterMs > 0) {
        QTimer::singleShot(options.quitAfterMs, [&quitting] {
            quitting.start();
            QApplication::quit();
        });
    }
    const int exitCode = QApplication::exec();
    // Before the pages go: a plug-in waiting for a token must not keep the
    // host from ending.
    account.abandonTokenRequests();
    return exitCode;
}

} // namespace

int main(int argc, char** argv)
{
    QStringList raw;
    for (int i = 0; i < argc; ++i)
        raw << QString::fromLocal8Bit(argv[i]);
    if (CommandLine::asksForHelp(raw))
        return printHelp(argc, argv);

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
    int exitCode = Settled;
    QElapsedTimer quitting;
    {
        QApplication application(argc, argv);
        nameApplication();
        if (early == CommandLine::Parsed::UnknownOption
            && CommandLine::parse(QApplication::arguments(), options, error) != CommandLine::Parsed::Ok) {
            printError(error);
            return BadArguments;
        }
        exitCode = runHost(options, quitting);
    }
    if (quitting.isValid())
        printError(QStringLiteral("vyx-host: quit took %1 ms").arg(quitting.elapsed()));
    if (options.printPeakMemory)
        printPeakMemory();
    return exitCode;
}
