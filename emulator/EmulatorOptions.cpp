#include "EmulatorOptions.h"

#include <QCommandLineParser>
#include <QFile>
#include <QRegularExpression>

#include <optional>

namespace QuorvelEmulator {

namespace {

std::optional<qint64> wholeNumber(const QString& text, qint64 min, qint64 max)
{
    static const QRegularExpression digits(QStringLiteral("^[0-9]{1,12}$"));
    if (!digits.match(text).hasMatch())
        return std::nullopt;
    const qint64 value = text.toLongLong();
    if (value < min || value > max)
        return std::nullopt;
    return value;
}

} // namespace

std::expected<EmulatorOptions, QString> parseEmulatorOptions(const QStringList& arguments)
{
    EmulatorOptions options;
    options.dataDirectory = QStringLiteral(QUORVEL_EMULATOR_DATA_DIR);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Local emulator of the business-entity service, on 127.0.0.1 only.\n"
                       "Admin endpoints: POST/GET/DELETE /_emulator/faults, GET /_emulator/stats,\n"
                       "GET /_emulator/tokens, POST /_emulator/expire-tokens, POST /_emulator/reset."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help."));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Port on 127.0.0.1; 0 picks a free one (default)."),
                                  QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption data(
        QStringLiteral("data"),
        QStringLiteral("Folder of <businessId>.json files (default: %1).").arg(options.dataDirectory),
        QStringLiteral("DIR"), options.dataDirectory);
    const QCommandLineOption clientId(QStringLiteral("client-id"),
                                      QStringLiteral("Client id the token endpoint accepts."),
                                      QStringLiteral("ID"), options.token.clientId);
    const QCommandLineOption clientSecret(QStringLiteral("client-secret"),
                                          QStringLiteral("Client secret the token endpoint accepts."),
                                          QStringLiteral("SECRET"), options.token.clientSecret);
    const QCommandLineOption client(QStringLiteral("client"),
                                    QStringLiteral("A further client the token endpoint accepts "
                                                   "(repeatable): another user."),
                                    QStringLiteral("ID:SECRET"));
    const QCommandLineOption lifetime(
        QStringLiteral("token-lifetime"), QStringLiteral("Lifetime of issued tokens in seconds."),
        QStringLiteral("SECONDS"), QString::number(options.token.lifetimeSeconds));
    const QCommandLineOption fault(QStringLiteral("fault"),
                                   QStringLiteral("Queue a fault, as the JSON the admin endpoint "
                                                  "takes (repeatable)."),
                                   QStringLiteral("JSON"));
    parser.addOptions({help, port, data, clientId, clientSecret, client, lifetime, fault});

    if (!parser.parse(arguments))
        return std::unexpected(parser.errorText());
    if (!parser.positionalArguments().isEmpty()) {
        return std::unexpected(
            QStringLiteral("Unexpected argument '%1'").arg(parser.positionalArguments().first()));
    }
    if (parser.isSet(help)) {
        options.showHelp = true;
        QFile language(QStringLiteral(":/emulator/fault-language.txt"));
        options.helpText = parser.helpText();
        if (language.open(QIODevice::ReadOnly | QIODevice::Text))
            options.helpText += QLatin1Char('\n') + QString::fromUtf8(language.readAll());
        return options;
    }

    const auto portValue = wholeNumber(parser.value(port), 0, 65535);
    if (!portValue)
        return std::unexpected(QStringLiteral("--port must be a number from 0 to 65535"));
    options.port = quint16(*portValue);

    const auto lifetimeValue = wholeNumber(parser.value(lifetime), 1, 366LL * 24 * 3600);
    if (!lifetimeValue)
        return std::unexpected(QStringLiteral("--token-lifetime must be a number of seconds from 1 "
                                              "to one year"));
    options.token.lifetimeSeconds = *lifetimeValue;

    options.dataDirectory = parser.value(data);
    options.token.clientId = parser.value(clientId);
    options.token.clientSecret = parser.value(clientSecret);
    if (options.token.clientId.isEmpty() || options.token.clientSecret.isEmpty())
        return std::unexpected(QStringLiteral("--client-id and --client-secret must not be empty"));

    for (const QString& pair : parser.values(client)) {
        const qsizetype colon = pair.indexOf(u':');
        if (colon <= 0 || colon == pair.size() - 1)
            return std::unexpected(
                QStringLiteral("--client takes ID:SECRET, both non-empty, not \"%1\"").arg(pair));
        options.token.moreClients.insert(pair.left(colon), pair.mid(colon + 1));
    }

    const QStringList faults = parser.values(fault);
    for (const QString& text : faults) {
        auto parsed = Fault::listFromJson(text.toUtf8());
        if (!parsed)
            return std::unexpected(QStringLiteral("--fault %1: %2").arg(text, parsed.error()));
        options.faults.append(*parsed);
    }
    return options;
}

} // namespace QuorvelEmulator
