#include "TokenEndpoint.h"

#include "TokenStore.h"

#include <QHash>

#include <optional>

namespace QuorvelEmulator {

namespace {

struct Client
{
    QString id;
    QString secret;
    bool viaBasic = false;
};

// application/x-www-form-urlencoded: '+' is a blank, the rest is
// percent-encoding. Repeated parameters are a malformed request under
// OAuth, so they come back as nullopt.
std::optional<QHash<QString, QString>> parseForm(const QByteArray& body)
{
    QHash<QString, QString> form;
    const QList<QByteArray> pairs = body.split('&');
    for (const QByteArray& pair : pairs) {
        if (pair.isEmpty())
            continue;
        const qsizetype eq = pair.indexOf('=');
        auto decode = [](QByteArray text) {
            text.replace('+', ' ');
            return QString::fromUtf8(QByteArray::fromPercentEncoding(text));
        };
        const QString name = decode(eq < 0 ? pair : pair.left(eq));
        const QString value = eq < 0 ? QString() : decode(pair.mid(eq + 1));
        if (form.contains(name))
            return std::nullopt;
        form.insert(name, value);
    }
    return form;
}

// RFC 6749 has the client form-encode id and secret before joining them
// for Basic authentication, so they are decoded the same way here.
std::optional<Client> parseBasic(const QByteArray& authorization)
{
    const QByteArray trimmed = authorization.trimmed();
    const qsizetype blank = trimmed.indexOf(' ');
    if (blank < 0 || trimmed.left(blank).compare("Basic", Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const auto decoded = QByteArray::fromBase64Encoding(trimmed.mid(blank + 1).trimmed(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return Client{{}, {}, true};
    const QByteArray& pair = decoded.decoded;
    const qsizetype colon = pair.indexOf(':');
    if (colon < 0)
        return Client{{}, {}, true};
    auto decode = [](QByteArray text) {
        text.replace('+', ' ');
        return QString::fromUtf8(QByteArray::fromPercentEncoding(text));
    };
    return Client{decode(pair.left(colon)), decode(pair.mid(colon + 1)), true};
}

HttpReply oauthError(int status, const char* error)
{
    return HttpReply::json(status, QJsonObject{{QStringLiteral("error"), QLatin1String(error)}})
        .withHeader("Cache-Control", "no-store");
}

} // namespace

HttpReply issueToken(TokenStore& store, const TokenSettings& settings, const QByteArray& body,
                     const QByteArray& authorization)
{
    const auto form = parseForm(body);
    if (!form)
        return oauthError(400, "invalid_request");
    const QString grant = form->value(QStringLiteral("grant_type"));
    if (grant.isEmpty())
        return oauthError(400, "invalid_request");
    if (grant != QLatin1String("client_credentials"))
        return oauthError(400, "unsupported_grant_type");

    Client client;
    if (!authorization.isEmpty()) {
        const auto basic = parseBasic(authorization);
        if (!basic)
            return oauthError(401, "invalid_client");
        client = *basic;
    } else {
        client.id = form->value(QStringLiteral("client_id"));
        client.secret = form->value(QStringLiteral("client_secret"));
    }
    const bool known =
        (client.id == settings.clientId && client.secret == settings.clientSecret)
        || (!client.secret.isEmpty() && settings.moreClients.value(client.id) == client.secret);
    if (!known) {
        HttpReply refused = oauthError(401, "invalid_client");
        if (client.viaBasic)
            refused.withHeader("WWW-Authenticate", "Basic realm=\"quorvel-emulator\"");
        return refused;
    }

    const QByteArray token = store.issue(settings.lifetimeSeconds, client.id);
    return HttpReply::json(200,
                           QJsonObject{
                               {QStringLiteral("access_token"), QString::fromLatin1(token)},
                               {QStringLiteral("token_type"), QStringLiteral("Bearer")},
                               {QStringLiteral("expires_in"), settings.lifetimeSeconds},
                           })
        .withHeader("Cache-Control", "no-store")
        .withHeader("Pragma", "no-cache");
}

} // namespace QuorvelEmulator
