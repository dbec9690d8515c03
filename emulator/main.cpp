// quorvel-emulator: serves the emulated business-entity service on
// 127.0.0.1 until SIGTERM or SIGINT. The two lines on stdout,
// "listening on http(s)://127.0.0.1:<port>" and "admin key <key>", are what
// scripts and end-to-end tests wait for; everything else goes to stderr.

#include "DataStore.h"
#include "EmulatorOptions.h"
#include "EmulatorServer.h"
#include "LogRedaction.h"

#include <QCoreApplication>
#include <QFile>
#include <QRandomGenerator>
#include <QSocketNotifier>
#include <QSslCertificate>
#include <QSslKey>

#include <array>
#include <expected>
#include <utility>

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

QByteArray randomKey()
{
    std::array<quint32, 4> words{};
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    return QByteArray(reinterpret_cast<const char*>(words.data()), qsizetype(sizeof words)).toHex();
}

std::expected<std::pair<QSslCertificate, QSslKey>, QString> readTlsCredentials(const QString& certificateFile,
                                                                               const QString& keyFile)
{
    QFile certificate(certificateFile);
    QFile key(keyFile);
    if (!certificate.open(QIODevice::ReadOnly) || !key.open(QIODevice::ReadOnly))
        return std::unexpected(QStringLiteral("cannot read %1 or %2").arg(certificateFile, keyFile));
    const QSslCertificate parsed(&certificate, QSsl::Pem);
    const QByteArray keyText = key.readAll();
    QSslKey privateKey(keyText, QSsl::Rsa, QSsl::Pem);
    if (privateKey.isNull())
        privateKey = QSslKey(keyText, QSsl::Ec, QSsl::Pem);
    if (parsed.isNull() || privateKey.isNull())
        return std::unexpected(
            QStringLiteral("%1 and %2 hold no PEM certificate and key").arg(certificateFile, keyFile));
    return std::pair{parsed, privateKey};
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
    const bool tls = !options->tlsCertificate.isEmpty();
    if (tls) {
        const auto credentials = readTlsCredentials(options->tlsCertificate, options->tlsKey);
        if (!credentials) {
            std::fprintf(stderr, "quorvel-emulator: %s\n", qPrintable(credentials.error()));
            return 1;
        }
        server.sslSetup(credentials->first, credentials->second);
    }
    const QByteArray adminKey = options->adminKey.isEmpty() ? randomKey() : options->adminKey;
    server.setAdminKey(adminKey);
    const quint16 port = server.start(options->port);
    if (port == 0) {
        std::fprintf(stderr, "quorvel-emulator: cannot listen on 127.0.0.1:%u\n", unsigned(options->port));
        return 1;
    }

    std::printf("listening on %s://127.0.0.1:%u\nadmin key %s\n", tls ? "https" : "http", unsigned(port),
                adminKey.constData());
    std::fflush(stdout);
    return app.exec();
}
