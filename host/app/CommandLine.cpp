#include "CommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>

#ifndef VYX_DEFAULT_PLUGINS_DIR
#define VYX_DEFAULT_PLUGINS_DIR "plugins"
#endif

namespace {

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

bool CommandLine::parse(const QStringList& arguments, CommandLine& out, QString& error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Vyx host: loads plug-in pages and shows them."));
    parser.addHelpOption();
    const QCommandLineOption plugins(QStringLiteral("plugins"), QStringLiteral("Plug-in folder."),
                                     QStringLiteral("DIR"), QStringLiteral(VYX_DEFAULT_PLUGINS_DIR));
    const QCommandLineOption baseUrl(QStringLiteral("base-url"),
                                     QStringLiteral("Entity service base address."), QStringLiteral("URL"));
    const QCommandLineOption businessId(QStringLiteral("business-id"), QStringLiteral("Business id."),
                                        QStringLiteral("ID"));
    const QCommandLineOption tokenUrl(QStringLiteral("token-url"),
                                      QStringLiteral("OAuth 2 token endpoint; signs in at start."),
                                      QStringLiteral("URL"));
    const QCommandLineOption clientId(QStringLiteral("client-id"), QStringLiteral("OAuth 2 client id."),
                                      QStringLiteral("ID"));
    const QCommandLineOption clientSecret(QStringLiteral("client-secret"),
                                          QStringLiteral("OAuth 2 client secret (visible to other "
                                                         "users in the process list: prefer the "
                                                         "file or VYX_CLIENT_SECRET)."),
                                          QStringLiteral("SECRET"));
    const QCommandLineOption clientSecretFile(QStringLiteral("client-secret-file"),
                                              QStringLiteral("Read the OAuth 2 client secret from "
                                                             "FILE, - for standard input."),
                                              QStringLiteral("FILE"));
    const QCommandLineOption page(QStringLiteral("page"), QStringLiteral("Page to show, by caption."),
                                  QStringLiteral("CAPTION"));
    const QCommandLineOption printView(QStringLiteral("print-view"),
                                       QStringLiteral("Print the shown page's texts as they change; "
                                                      "exit once settled."));
    const QCommandLineOption settle(QStringLiteral("settle-ms"),
                                    QStringLiteral("Quiet time after which the view counts as settled."),
                                    QStringLiteral("N"), QStringLiteral("1000"));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Save the window as PNG once settled."),
                                        QStringLiteral("FILE"));
    const QCommandLineOption stay(QStringLiteral("stay"),
                                  QStringLiteral("Keep running after the screenshot."));
    const QCommandLineOption timeout(QStringLiteral("timeout-ms"),
                                     QStringLiteral("Exit 3 when not settled by then."),
                                     QStringLiteral("N"), QStringLiteral("20000"));
    const QCommandLineOption maxReply(QStringLiteral("max-reply-bytes"),
                                      QStringLiteral("Largest reply body a plug-in accepts "
                                                     "(0: the plug-in's default)."),
                                      QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption inactivity(QStringLiteral("inactivity-timeout-ms"),
                                        QStringLiteral("A plug-in's exchange with no data moving for "
                                                       "this long fails (0: the plug-in's default)."),
                                        QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption peakMemory(QStringLiteral("print-peak-memory"),
                                        QStringLiteral("On exit, print the process's peak resident "
                                                       "memory to stderr."));
    parser.addOptions({plugins, baseUrl, businessId, tokenUrl, clientId, clientSecret,
                       clientSecretFile, page,
                       printView, settle, screenshot, stay, timeout, maxReply, inactivity,
                       peakMemory});
    if (!parser.parse(arguments)) {
        error = parser.errorText();
        return false;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        error = parser.helpText();
        return false;
    }
    bool settleOk = false;
    bool timeoutOk = false;
    out.pluginsDir = parser.value(plugins);
    out.baseUrl = parser.value(baseUrl);
    out.businessId = parser.value(businessId);
    out.tokenUrl = parser.value(tokenUrl);
    out.clientId = parser.value(clientId);
    if (!readClientSecret(parser.value(clientSecret), parser.value(clientSecretFile),
                          out.clientSecret, error))
        return false;
    out.page = parser.value(page);
    out.printView = parser.isSet(printView);
    out.settleMs = parser.value(settle).toInt(&settleOk);
    out.screenshot = parser.value(screenshot);
    out.stay = parser.isSet(stay);
    out.printPeakMemory = parser.isSet(peakMemory);
    out.timeoutMs = parser.value(timeout).toInt(&timeoutOk);
    if (!settleOk || out.settleMs < 0 || !timeoutOk || out.timeoutMs <= 0) {
        error = QStringLiteral("--settle-ms and --timeout-ms take non-negative whole numbers of milliseconds");
        return false;
    }
    bool maxReplyOk = false;
    bool inactivityOk = false;
    out.maxReplyBytes = parser.value(maxReply).toLongLong(&maxReplyOk);
    out.inactivityTimeoutMs = parser.value(inactivity).toInt(&inactivityOk);
    if (!maxReplyOk || out.maxReplyBytes < 0 || !inactivityOk || out.inactivityTimeoutMs < 0) {
        error = QStringLiteral("--max-reply-bytes and --inactivity-timeout-ms take non-negative whole numbers");
        return false;
    }
    return true;
}
