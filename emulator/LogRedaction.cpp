#include "LogRedaction.h"

#include <QRegularExpression>

namespace QuorvelEmulator {

namespace {

QtMessageHandler g_next = nullptr;

void redactingHandler(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QString redacted = redactCredentials(message);
    if (g_next)
        g_next(type, context, redacted);
}

} // namespace

QString redactCredentials(const QString& message)
{
    // The credential is a token68 (RFC 7235): what base64, base64url and the
    // emulator's tokens are made of.
    static const QRegularExpression credential(
        QStringLiteral("\\b(Bearer|Basic)(\\s+)[A-Za-z0-9\\-._~+/]+=*"),
        QRegularExpression::CaseInsensitiveOption);
    QString text = message;
    text.replace(credential, QStringLiteral("\\1\\2<redacted>"));
    return text;
}

void installCredentialRedaction()
{
    // With no handler installed before, Qt returns its default one, so the
    // messages keep their usual format and destination.
    g_next = qInstallMessageHandler(redactingHandler);
}

} // namespace QuorvelEmulator
