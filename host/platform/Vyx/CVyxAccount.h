#pragma once

#include <functional>
#include <memory>

#include <QObject>
#include <QPointer>

#include "Ambrel/Client.h"
#include "Ambrel/SignIn.h"
#include "VyxPlatformExport.h"

class QTimer;

namespace Ambrel {
struct ClientCredentials;
class TokenRequestAbort;
} // namespace Ambrel

// The host's account: who is signed in, and the sign-in client that holds
// their token.
class VYX_PLATFORM_EXPORT CVyxAccount : public QObject
{
    Q_OBJECT

public:
    explicit CVyxAccount(QObject* parent = nullptr);
    ~CVyxAccount() override;

    bool getIsSignedIn() const;
    Ambrel::SignIn::UserInfo getUserInfo() const;
    QPointer<Ambrel::Client> getAmbrelClient() const;

    // Host side. Signing in fetches a token off the user-interface thread and
    // announces the user once it has one; renewals use the same credentials,
    // shortly before the token expires and whenever the service refuses it.
    void signIn(const Ambrel::ClientCredentials& credentials);
    void signOut();
    // Announces a user without fetching a token (tests, fixed tokens).
    void setSignedIn(const Ambrel::SignIn::UserInfo& user, const QByteArray& token);
    // Ends every token request under way, a sign-in's or a renewal's, and
    // fails later ones at once: the host is going, and must not wait for a
    // token endpoint that has stopped answering.
    void abandonTokenRequests();

Q_SIGNALS:
    void signedInUserChanged(const Ambrel::SignIn::UserInfo& info);
    void signInFailed(const QString& reason);

private:
    // Asks the endpoint off the user-interface thread; the answer is dropped
    // if the account signed out or in again meanwhile. A failed renewal
    // keeps the current token: a 401 renews it later.
    void requestToken(std::function<void(const Ambrel::AccessToken&)> onToken,
                      std::function<void(const QString&)> onError = {});
    void planRenewal(qint64 expiresInSeconds);

    QPointer<Ambrel::Client> m_client;
    // Fires shortly before the token expires.
    QTimer* m_renewal;
    // The host side of signing in, which a plug-in never sees.
    std::unique_ptr<Ambrel::ClientCredentials> m_credentials;
    // Ends the token requests of the current sign-in; a new one per sign-in.
    std::shared_ptr<Ambrel::TokenRequestAbort> m_abort;
    Ambrel::SignIn::UserInfo m_user;
    quint64 m_generation = 0;
};
