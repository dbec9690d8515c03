#pragma once

#include "HttpReply.h"

#include <QByteArray>
#include <QHash>
#include <QString>

namespace QuorvelEmulator {

class TokenStore;

struct TokenSettings
{
    QString clientId = QStringLiteral("demo-client");
    QString clientSecret = QStringLiteral("demo-secret");
    // Further clients by id, each with its secret: more than one user.
    QHash<QString, QString> moreClients;
    qint64 lifetimeSeconds = 3600;
};

// The OAuth 2 client-credentials grant: a form-encoded body with
// grant_type, and the client's id and secret either in the body or as HTTP
// Basic credentials. Errors use the OAuth shape {"error": "..."}, not the
// query endpoint's {"message": "..."}, as a real authorisation server does.
HttpReply issueToken(TokenStore& store, const TokenSettings& settings, const QByteArray& body,
                     const QByteArray& authorization);

} // namespace QuorvelEmulator
