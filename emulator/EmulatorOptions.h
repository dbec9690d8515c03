#pragma once

#include "Faults.h"
#include "TokenEndpoint.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <expected>

namespace QuorvelEmulator {

struct EmulatorOptions
{
    quint16 port = 0;
    QString dataDirectory;
    TokenSettings token;
    // Queued before the first request, so that a run can be set up without
    // the admin endpoint.
    QList<Fault> faults;
    // PEM files; with both, the emulator speaks https only.
    QString tlsCertificate;
    QString tlsKey;
    // What the admin endpoints ask for; a fresh random one when empty.
    QByteArray adminKey;
    bool showHelp = false;
    QString helpText;
};

// `arguments` as main() gets them, program name first. The error text is
// meant for stderr.
std::expected<EmulatorOptions, QString> parseEmulatorOptions(const QStringList& arguments);

} // namespace QuorvelEmulator
