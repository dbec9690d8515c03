#pragma once

#include <QString>

namespace QuorvelEmulator {

// Qt's HTTP server, with its debug category on, logs every request with its
// headers, bearer tokens and Basic client credentials included. The emulator
// serves tests that check that no credential is ever printed, its own log
// among them, so credentials are cut out of every message before it is
// written.

// `message` with the credential after every "Bearer" or "Basic" scheme name
// (any case) replaced by "<redacted>".
QString redactCredentials(const QString& message);

// Puts redaction in front of whatever message handler is installed now.
void installCredentialRedaction();

} // namespace QuorvelEmulator
