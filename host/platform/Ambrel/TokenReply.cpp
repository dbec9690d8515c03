#include "Ambrel/TokenReply.h"

#include <algorithm>

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

namespace Ambrel {
namespace {

// Far above any real token, far below what would hurt as a header.
constexpr qsizetype kMaxTokenBytes = 8192;
// Enough of an endpoint's own words to say what went wrong.
constexpr qsizetype kMaxQuotedChars = 200;
// A year: a longer lifetime is a mistake, and would overflow a timer.
constexpr double kMaxLifetimeSeconds = 365.0 * 24 * 3600;

// b64token = 1*( ALPHA / DIGIT / "-" / "." / "_" / "~" / "+" / "/" ) *"="
bool isBearerToken(const QByteArray& token)
{
    const auto isTokenChar = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-'
               || c == '.' || c == '_' || c == '~' || c == '+' || c == '/';
    };
    const qsizetype body = std::find_if_not(token.begin(), token.end(), isTokenChar) - token.begin();
    if (body == 0)
        return false;
    return std::all_of(token.begin() + body, token.end(), [](char c) { return c == '='; });
}

// The endpoint's text, safe to print anywhere: printable ASCII only, short,
// and never the token the same reply carries (a confused endpoint may echo
// it in its error).
QString quoted(const QString& text, const QString& token)
{
    if (!token.isEmpty() && text.contains(token))
        return QStringLiteral("(withheld: it holds the token)");
    QString safe;
    for (const QChar c : text.left(kMaxQuotedChars))
        safe += (c.unicode() >= 0x20 && c.unicode() < 0x7f) ? c : QChar(u'?');
    if (text.size() > kMaxQuotedChars)
        safe += QStringLiteral("...");
    return safe;
}

// "invalid_client: Unknown client", or empty when the reply names no error.
QString oauthError(const QJsonObject& reply, const QString& token)
{
    const QString code = reply.value(QStringLiteral("error")).toString();
    if (code.isEmpty())
        return {};
    const QString description = reply.value(QStringLiteral("error_description")).toString();
    return description.isEmpty() ? quoted(code, token)
                                 : quoted(code, token) + QStringLiteral(": ") + quoted(description, token);
}

} // namespace

std::expected<AccessToken, QString> readTokenReply(int status, const QByteArray& body)
{
    const QJsonObject reply = QJsonDocument::fromJson(body).object();
    // Empty unless the reply carries a text token.
    const QString tokenText = reply.value(QStringLiteral("access_token")).toString();
    const QString error = oauthError(reply, tokenText);
    if (status != 200) {
        QString why = QStringLiteral("token endpoint refused the client (HTTP %1)").arg(status);
        if (!error.isEmpty())
            why += QStringLiteral(": ") + error;
        return std::unexpected(why);
    }
    if (!error.isEmpty())
        return std::unexpected(QStringLiteral("token endpoint answered with an error: ") + error);
    if (reply.isEmpty())
        return std::unexpected(QStringLiteral("token endpoint reply is not a JSON object"));

    if (tokenText.isEmpty())
        return std::unexpected(QStringLiteral("token endpoint sent no access token"));
    const QByteArray value = tokenText.toUtf8();
    if (value.size() > kMaxTokenBytes)
        return std::unexpected(QStringLiteral("access token longer than %1 bytes").arg(kMaxTokenBytes));
    if (!isBearerToken(value))
        return std::unexpected(QStringLiteral("access token holds characters a bearer token may not"));

    const QString type = reply.value(QStringLiteral("token_type")).toString();
    if (type.compare(QLatin1String("Bearer"), Qt::CaseInsensitive) != 0)
        return std::unexpected(
            QStringLiteral("token type is \"%1\", not Bearer").arg(quoted(type, tokenText)));

    const QJsonValue expires = reply.value(QStringLiteral("expires_in"));
    if (expires.isUndefined() || expires.isNull())
        return AccessToken(value);
    const double seconds = expires.toDouble(-1);
    if (!expires.isDouble() || seconds < 1 || seconds > kMaxLifetimeSeconds || seconds != qint64(seconds))
        return std::unexpected(
            QStringLiteral("expires_in is not a whole number of seconds from 1 to a year"));
    return AccessToken(value, qint64(seconds));
}

qint64 renewalDelayMs(qint64 expiresInSeconds)
{
    const qint64 lifetimeMs = expiresInSeconds * 1000;
    return lifetimeMs - std::min<qint64>(lifetimeMs / 5, 60 * 1000);
}

} // namespace Ambrel
