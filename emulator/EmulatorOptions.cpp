#include "EmulatorOptions.h"

#include "FaultKinds.h"
#include "JsonAccess.h"

#include <QCommandLineParser>
#include <QFile>
#include <QRegularExpression>

#include <optional>

namespace QuorvelEmulator {

namespace {

// The options as declared, so that each step below reads its own by name.
struct Declared
{
    QCommandLineOption help;
    QCommandLineOption port;
    QCommandLineOption data;
    QCommandLineOption clientId;
    QCommandLineOption clientSecret;
    QCommandLineOption client;
    QCommandLineOption lifetime;
    QCommandLineOption fault;
    QCommandLineOption tlsCertificate;
    QCommandLineOption tlsKey;
    QCommandLineOption adminKey;
};

Declared declareOptions(QCommandLineParser& parser, const EmulatorOptions& options)
{
    parser.setApplicationDescription(
        QStringLiteral("Local emulator of the business-entity service, on 127.0.0.1 only.\n"
                       "Admin endpoints: POST/GET/DELETE /_emulator/faults, GET /_emulator/stats,\n"
                       "GET /_emulator/tokens, POST /_emulator/expire-tokens, POST /_emulator/reset."));
    Declared declared{
        {{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")},
        {QStringLiteral("port"), QStringLiteral("Port on 127.0.0.1; 0 picks a free one (default)."),
         QStringLiteral("N"), QStringLiteral("0")},
        {QStringLiteral("data"),
         QStringLiteral("Folder of <businessId>.json files (default: %1).").arg(options.dataDirectory),
         QStringLiteral("DIR"), options.dataDirectory},
        {QStringLiteral("client-id"), QStringLiteral("Client id the token endpoint accepts."),
         QStringLiteral("ID"), options.token.clientId},
        {QStringLiteral("client-secret"), QStringLiteral("Client secret the token endpoint accepts."),
         QStringLiteral("SECRET"), options.token.clientSecret},
        {QStringLiteral("client"),
         QStringLiteral("A further client the token endpoint accepts (repeatable): another user."),
         QStringLiteral("ID:SECRET")},
        {QStringLiteral("token-lifetime"), QStringLiteral("Lifetime of issued tokens in seconds."),
         QStringLiteral("SECONDS"), QString::number(options.token.lifetimeSeconds)},
        {QStringLiteral("fault"),
         QStringLiteral("Queue a fault, as the JSON the admin endpoint takes (repeatable)."),
         QStringLiteral("JSON")},
        {QStringLiteral("tls-certificate"),
         QStringLiteral("Serve https with this certificate (PEM); needs --tls-key."), QStringLiteral("FILE")},
        {QStringLiteral("tls-key"), QStringLiteral("The certificate's private key (PEM, unencrypted)."),
         QStringLiteral("FILE")},
        {QStringLiteral("admin-key"),
         QStringLiteral("The key the admin endpoints ask for (default: a random one, printed at start)."),
         QStringLiteral("KEY")},
    };
    parser.addOptions({declared.help, declared.port, declared.data, declared.clientId, declared.clientSecret,
                       declared.client, declared.lifetime, declared.fault, declared.tlsCertificate,
                       declared.tlsKey, declared.adminKey});
    return declared;
}

// The kinds grouped by where they apply and what they do to the reply, as
// their descriptors say: a new kind is listed without a word here.
QString kindList()
{
    // In the order of FaultTargets and FaultRelation.
    const char* const targets[] = {"queries only", "the token endpoint only",
                                   "queries and the token endpoint"};
    const char* const relations[] = {
        "replacing it",
        "reshaping it if it succeeded (an error\n"
        "               reply goes out as it is, the fault used up all the same, as\n"
        "               the request happened)",
        "sending it late, cut short\n"
        "               or with more headers",
        "changing the server first (expire:\n"
        "               the caller's token)",
    };
    const QString indent(15, QLatin1Char(' '));
    QString list;
    for (int target = 0; target < int(std::size(targets)); ++target) {
        for (int relation = 0; relation < int(std::size(relations)); ++relation) {
            QStringList names;
            for (const FaultKind& kind : faultKinds()) {
                if (int(kind.targets) == target && int(kind.relation) == relation)
                    names << QLatin1String(kind.name);
            }
            if (!names.isEmpty())
                list += indent + QLatin1String(targets[target]) + QLatin1String(", ")
                        + QLatin1String(relations[relation]) + QLatin1String(":\n") + indent
                        + QLatin1String("  ") + names.join(QLatin1String(" | ")) + QLatin1Char('\n');
        }
    }
    return list;
}

// The fault language follows in full: the help is where a test writer
// learns it.
QString helpText(const QCommandLineParser& parser)
{
    QString text = parser.helpText();
    QFile language(QStringLiteral(":/emulator/fault-language.txt"));
    if (language.open(QIODevice::ReadOnly | QIODevice::Text))
        text += QLatin1Char('\n')
                + QString::fromUtf8(language.readAll()).replace(QLatin1String("%KINDS%\n"), kindList());
    return text;
}

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

Step readNumbers(const QCommandLineParser& parser, const Declared& declared, EmulatorOptions& options)
{
    const auto port = wholeNumber(parser.value(declared.port), 0, 65535);
    if (!port)
        return refuse(QStringLiteral("--port must be a number from 0 to 65535"));
    options.port = quint16(*port);
    const auto lifetime = wholeNumber(parser.value(declared.lifetime), 1, 366LL * 24 * 3600);
    if (!lifetime)
        return refuse(QStringLiteral("--token-lifetime must be a number of seconds from 1 to one year"));
    options.token.lifetimeSeconds = *lifetime;
    return {};
}

Step readClients(const QCommandLineParser& parser, const Declared& declared, EmulatorOptions& options)
{
    options.token.clientId = parser.value(declared.clientId);
    options.token.clientSecret = parser.value(declared.clientSecret);
    if (options.token.clientId.isEmpty() || options.token.clientSecret.isEmpty())
        return refuse(QStringLiteral("--client-id and --client-secret must not be empty"));
    for (const QString& pair : parser.values(declared.client)) {
        const qsizetype colon = pair.indexOf(u':');
        if (colon <= 0 || colon == pair.size() - 1)
            return refuse(QStringLiteral("--client takes ID:SECRET, both non-empty, not \"%1\"").arg(pair));
        options.token.moreClients.insert(pair.left(colon), pair.mid(colon + 1));
    }
    return {};
}

Step readFaults(const QCommandLineParser& parser, const Declared& declared, EmulatorOptions& options)
{
    for (const QString& text : parser.values(declared.fault)) {
        auto parsed = Fault::listFromJson(text.toUtf8());
        if (!parsed)
            return refuse(QStringLiteral("--fault %1: %2").arg(text, parsed.error()));
        options.faults.append(*parsed);
    }
    return {};
}

Step readTransport(const QCommandLineParser& parser, const Declared& declared, EmulatorOptions& options)
{
    options.tlsCertificate = parser.value(declared.tlsCertificate);
    options.tlsKey = parser.value(declared.tlsKey);
    if (options.tlsCertificate.isEmpty() != options.tlsKey.isEmpty())
        return refuse(QStringLiteral("--tls-certificate and --tls-key go together"));
    options.adminKey = parser.value(declared.adminKey).toUtf8();
    return {};
}

} // namespace

std::expected<EmulatorOptions, QString> parseEmulatorOptions(const QStringList& arguments)
{
    EmulatorOptions options;
    options.dataDirectory = QStringLiteral(QUORVEL_EMULATOR_DATA_DIR);
    QCommandLineParser parser;
    const Declared declared = declareOptions(parser, options);

    if (!parser.parse(arguments))
        return std::unexpected(parser.errorText());
    if (!parser.positionalArguments().isEmpty()) {
        return std::unexpected(
            QStringLiteral("Unexpected argument '%1'").arg(parser.positionalArguments().first()));
    }
    if (parser.isSet(declared.help)) {
        options.showHelp = true;
        options.helpText = helpText(parser);
        return options;
    }

    options.dataDirectory = parser.value(declared.data);
    // The first refusal is the answer.
    for (const auto step : {readNumbers, readClients, readFaults, readTransport}) {
        if (const Step read = step(parser, declared, options); !read)
            return std::unexpected(read.error());
    }
    return options;
}

} // namespace QuorvelEmulator
