// quorvel-emulator: serves the emulated business-entity service on
// 127.0.0.1 until SIGTERM or SIGINT. The one line on stdout,
// "listening on http://127.0.0.1:<port>", is what scripts and end-to-end
// tests wait for; everything else goes to stderr.

#include "DataStore.h"
#include "EmulatorOptions.h"
#include "EmulatorServer.h"
#include "LogRedaction.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>

#include <sys/socket.h>
#include <unistd.h>

namespace {

int g_signalPipe[2] = {-1, -1};

// Only async-signal-safe work here: the event loop picks the byte up and
// quits, so that the server's sockets are closed in order.
void onTerminate(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(g_signalPipe[0], &byte, 1);
}

bool installTerminationHandlers(QCoreApplication& app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_signalPipe) != 0)
        return false;
    auto* notifier = new QSocketNotifier(g_signalPipe[1], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [notifier] {
        notifier->setEnabled(false);
        char byte = 0;
        [[maybe_unused]] const auto read = ::read(g_signalPipe[1], &byte, 1);
        QCoreApplication::quit();
    });

    struct sigaction action = {};
    action.sa_handler = onTerminate;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return ::sigaction(SIGTERM, &action, nullptr) == 0 && ::sigaction(SIGINT, &action, nullptr) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    using namespace QuorvelEmulator;
    installCredentialRedaction();
    QCoreApplication app(argc, argv);

    const auto options = parseEmulatorOptions(QCoreApplication::arguments());
    if (!options) {
        std::fprintf(stderr, "quorvel-emulator: %s\n", qPrintable(options.error()));
        return 2;
    }
    if (options->showHelp) {
        std::fputs(qPrintable(options->helpText), stdout);
        return 0;
    }

    auto data = DataStore::loadDirectory(options->dataDirectory);
    if (!data) {
        std::fprintf(stderr, "quorvel-emulator: %s\n", qPrintable(data.error()));
        return 1;
    }
    if (data->businessIds().isEmpty()) {
        std::fprintf(stderr, "quorvel-emulator: warning: no <businessId>.json in %s\n",
                     qPrintable(options->dataDirectory));
    }

    if (!installTerminationHandlers(app)) {
        std::fprintf(stderr, "quorvel-emulator: cannot install signal handlers\n");
        return 1;
    }

    EmulatorServer server(std::move(*data), options->token);
    for (const Fault& fault : options->faults)
        server.faults().push(fault);
    const quint16 port = server.start(options->port);
    if (port == 0) {
        std::fprintf(stderr, "quorvel-emulator: cannot listen on 127.0.0.1:%u\n", unsigned(options->port));
        return 1;
    }

    std::printf("listening on http://127.0.0.1:%u\n", unsigned(port));
    std::fflush(stdout);
    return app.exec();
}
