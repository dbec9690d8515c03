#include "CommandLine.h"

#include <algorithm>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QUrl>

#ifndef VYX_DEFAULT_PLUGINS_DIR
#define VYX_DEFAULT_PLUGINS_DIR "plugins"
#endif

namespace {

// The limits a host hands its plug-ins, by option and by the name the
// plug-ins know them by.
struct NetworkLimit
{
    const char* option;
    const char* name;
    const char* help;
};
constexpr NetworkLimit kNetworkLimits[] = {
    {"max-reply-bytes", "maxReplyBytes", "Largest reply body a plug-in accepts (0: the plug-in's default)."},
    {"inactivity-timeout-ms", "inactivityTimeoutMs",
     "A plug-in's exchange with no data moving for this long fails (0: the plug-in's default)."},
    {"exchange-deadline-ms", "exchangeDeadlineMs",
     "A plug-in's exchange not over this long after it began fails (0: the plug-in's default)."},
};

// The secret comes from the option, else from the file (or standard input),
// else from VYX_CLIENT_SECRET: only the first shows in the process list.
bool readClientSecret(const QString& given, const QString& fileName, QString& secret, QString& error)
{
    if (!given.isEmpty()) {
        secret = given;
        return true;
    }
    if (fileName.isEmpty()) {
        secret = qEnvironmentVariable("VYX_CLIENT_SECRET");
        return true;
    }
    QFile file;
    const bool opened = fileName == QLatin1String("-")
                            ? file.open(stdin, QIODevice::ReadOnly | QIODevice::Text)
                            : (file.setFileName(fileName), file.open(QIODevice::ReadOnly | QIODevice::Text));
    if (!opened) {
        error = QStringLiteral("--client-secret-file: cannot read %1: %2").arg(fileName, file.errorString());
        return false;
    }
    // One line; the line break an editor or echo adds is not part of it.
    secret = QString::fromUtf8(file.readLine(64 * 1024)).trimmed();
    return true;
}

} // namespace

void CommandLine::describe(QCommandLineParser& parser)
{
    parser.setApplicationDescription(
        QStringLiteral("Vyx host: loads plug-in pages and shows them.\n"
                       "Exit codes: 0 settled, 1 no such page, 2 bad arguments, 3 not settled in time,\n"
                       "4 sign-in failed, 5 the page reports a failure, 6 screenshot not written."));
    parser.addHelpOption();
    parser.addVersionOption();
    const auto option = [&parser](const char* name, const char* text, const char* value = nullptr,
                                  const char* fallback = nullptr) {
        QString description = QString::fromUtf8(text);
        if (fallback != nullptr)
            description += QStringLiteral(" (default: %1)").arg(QString::fromUtf8(fallback));
        parser.addOption(value == nullptr
                             ? QCommandLineOption(QString::fromLatin1(name), description)
                             : QCommandLineOption(QString::fromLatin1(name), description,
                                                  QString::fromLatin1(value),
                                                  fallback ? QString::fromUtf8(fallback) : QString()));
    };
    option("plugins", "Plug-in folder.", "DIR", VYX_DEFAULT_PLUGINS_DIR);
    option("base-url", "Entity service base address, http or https, without a query.", "URL");
    option("business-id", "Business id (letters, digits, '-', '_', '.', '~').", "ID");
    option("token-url", "OAuth 2 token endpoint; signs in at start.", "URL");
    option("client-id", "OAuth 2 client id.", "ID");
    option("client-secret",
           "OAuth 2 client secret (visible to other users in the process list: prefer the file "
           "or VYX_CLIENT_SECRET).",
           "SECRET");
    option("client-secret-file", "Read the OAuth 2 client secret from FILE, - for standard input.", "FILE");
    option("ca-file",
           "Also trust the certificate authorities in this PEM file (the system's are always trusted).",
           "FILE");
    option("page", "Page to show, by caption (default: the first).", "CAPTION");
    option("print-view", "Print the shown page's texts as they change; exit once settled.");
    option("settle-ms", "Quiet time after which the view counts as settled.", "N", "1000");
    option("screenshot", "Save the window as PNG once settled.", "FILE");
    option("stay", "Keep running after the screenshot.");
    option("timeout-ms", "Exit 3 when not settled by then.", "N", "20000");
    for (const NetworkLimit& limit : kNetworkLimits)
        option(limit.option, limit.help, "N", "0");
    option("print-peak-memory", "On exit, print the process's peak resident memory to stderr.");
    option("quit-after-ms", "Quit this long after the start (0: never), and print how long quitting took.",
           "N", "0");
    option("then",
           "With --print-view or --screenshot: once the page has settled, STEP, and so on for each "
           "--then in turn; exit once the last has settled. STEP: refresh, sign-out, sign-in, or "
           "sign-in=ID (another client id, the same secret).",
           "STEP");
}

bool CommandLine::asksForHelp(const QStringList& arguments)
{
    static const QStringList kAnswered{"-h", "--help", "-?", "--help-all", "-v", "--version"};
    return std::any_of(arguments.begin() + std::min<qsizetype>(1, arguments.size()), arguments.end(),
                       [](const QString& argument) { return kAnswered.contains(argument); });
}

namespace {

QString checkBaseUrl(const QString& text)
{
    if (text.isEmpty())
        return {};
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https"))
        || url.host().isEmpty())
        return QStringLiteral("--base-url must be an http or https address, not \"%1\"").arg(text);
    if (url.hasQuery() || url.hasFragment())
        return QStringLiteral("--base-url must not carry a query or a fragment");
    return {};
}

// It becomes part of every request's path and query.
QString checkBusinessId(const QString& id)
{
    const bool plain = std::all_of(id.begin(), id.end(), [](QChar c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'-'
               || c == u'_' || c == u'.' || c == u'~';
    });
    return plain ? QString()
                 : QStringLiteral("--business-id may hold only letters, digits, '-', '_', '.' and '~'");
}

} // namespace

CommandLine::Parsed CommandLine::parse(const QStringList& arguments, CommandLine& out, QString& error)
{
    QCommandLineParser parser;
    describe(parser);
    if (!parser.parse(arguments)) {
        error = parser.errorText();
        return parser.unknownOptionNames().isEmpty() ? Parsed::Invalid : Parsed::UnknownOption;
    }
    bool settleOk = false;
    bool timeoutOk = false;
    out.pluginsDir = parser.value(QStringLiteral("plugins"));
    out.baseUrl = parser.value(QStringLiteral("base-url"));
    out.businessId = parser.value(QStringLiteral("business-id"));
    for (const QString& problem : {checkBaseUrl(out.baseUrl), checkBusinessId(out.businessId)}) {
        if (!problem.isEmpty()) {
            error = problem;
            return Parsed::Invalid;
        }
    }
    out.tokenUrl = parser.value(QStringLiteral("token-url"));
    out.clientId = parser.value(QStringLiteral("client-id"));
    if (!readClientSecret(parser.value(QStringLiteral("client-secret")),
                          parser.value(QStringLiteral("client-secret-file")), out.clientSecret, error))
        return Parsed::Invalid;
    out.caFile = parser.value(QStringLiteral("ca-file"));
    out.page = parser.value(QStringLiteral("page"));
    out.printView = parser.isSet(QStringLiteral("print-view"));
    out.settleMs = parser.value(QStringLiteral("settle-ms")).toInt(&settleOk);
    out.screenshot = parser.value(QStringLiteral("screenshot"));
    out.stay = parser.isSet(QStringLiteral("stay"));
    out.printPeakMemory = parser.isSet(QStringLiteral("print-peak-memory"));
    out.timeoutMs = parser.value(QStringLiteral("timeout-ms")).toInt(&timeoutOk);
    bool quitOk = false;
    out.quitAfterMs = parser.value(QStringLiteral("quit-after-ms")).toInt(&quitOk);
    if (!settleOk || out.settleMs < 0 || !timeoutOk || out.timeoutMs <= 0 || !quitOk || out.quitAfterMs < 0) {
        error =
            QStringLiteral("--settle-ms, --timeout-ms and --quit-after-ms take non-negative whole numbers of "
                           "milliseconds");
        return Parsed::Invalid;
    }
    for (const NetworkLimit& limit : kNetworkLimits) {
        bool ok = false;
        const qint64 value = parser.value(QLatin1String(limit.option)).toLongLong(&ok);
        if (!ok || value < 0) {
            error = QStringLiteral("--%1 takes a non-negative whole number").arg(QLatin1String(limit.option));
            return Parsed::Invalid;
        }
        out.networkLimits.append({limit.name, value});
    }
    out.steps = parser.values(QStringLiteral("then"));
    for (const QString& step : out.steps) {
        const bool known = step == QLatin1String("refresh") || step == QLatin1String("sign-out")
                           || step == QLatin1String("sign-in")
                           || (step.startsWith(QLatin1String("sign-in=")) && step.size() > 8);
        if (!known) {
            error =
                QStringLiteral("--then takes refresh, sign-out, sign-in or sign-in=ID, not \"%1\"").arg(step);
            return Parsed::Invalid;
        }
    }
    return Parsed::Ok;
}
