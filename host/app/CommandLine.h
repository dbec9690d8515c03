#pragma once

#include <QString>
#include <QStringList>

// The host's command line. Automated checks rely on it; keep it stable.
struct CommandLine
{
    QString pluginsDir;
    QString baseUrl;
    QString businessId;
    QString tokenUrl;
    QString clientId;
    QString clientSecret;
    QString page;
    bool printView = false;
    int settleMs = 1000;
    QString screenshot;
    bool stay = false;
    bool printPeakMemory = false;
    int timeoutMs = 20000;
    // Network limits handed to plug-ins; 0 leaves a plug-in's own default.
    qint64 maxReplyBytes = 0;
    int inactivityTimeoutMs = 0;

    // False with `error` set when the arguments are unusable.
    static bool parse(const QStringList& arguments, CommandLine& out, QString& error);
};
