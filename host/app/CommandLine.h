#pragma once

#include <utility>

#include <QList>
#include <QString>
#include <QStringList>

class QCommandLineParser;

// The host's command line. Automated checks rely on it; keep it stable.
struct CommandLine
{
    QString pluginsDir;
    QString baseUrl;
    QString businessId;
    QString tokenUrl;
    QString clientId;
    QString clientSecret;
    // PEM certificate authorities trusted besides the system's.
    QString caFile;
    QString page;
    bool printView = false;
    int settleMs = 1000;
    QString screenshot;
    bool stay = false;
    bool printPeakMemory = false;
    int timeoutMs = 20000;
    // Quit this long after the start, and say how long quitting took.
    int quitAfterMs = 0;
    // Network limits handed to plug-ins by the names they know them by; 0
    // leaves a plug-in's own default.
    QList<std::pair<const char*, qint64>> networkLimits;
    // Run by the probe one after another, each once the page has settled:
    // "refresh", "sign-out", "sign-in" or "sign-in=CLIENT_ID".
    QStringList steps;

    // Adds every option, with its default, to `parser`; help and version
    // included.
    static void describe(QCommandLineParser& parser);
    // True when the arguments ask only for help or the version, which need
    // no display and are answered before the application starts.
    static bool asksForHelp(const QStringList& arguments);
    enum class Parsed
    {
        Ok,
        Invalid,
        UnknownOption
    };
    // Anything but Ok sets `error`. Invalid: numbers that are not, an
    // address that is not http(s) without a query, a business id with
    // characters an address cannot carry, an unreadable secret file.
    // UnknownOption may be one of Qt's own, which only the application
    // object knows and takes away.
    static Parsed parse(const QStringList& arguments, CommandLine& out, QString& error);
};
