#pragma once

#include <QObject>
#include <QPointer>

#include "Ambrel/Client.h"
#include "Ambrel/ClientCredentials.h"
#include "Ambrel/SignIn.h"
#include "VyxPlatformExport.h"

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
    // announces the user once it has one; renewals use the same credentials.
    void signIn(const Ambrel::ClientCredentials& credentials);
    void signOut();
    // Announces a user without fetching a token (tests, fixed tokens).
    void setSignedIn(const Ambrel::SignIn::UserInfo& user, const QByteArray& token);

Q_SIGNALS:
    void signedInUserChanged(const Ambrel::SignIn::UserInfo& info);
    void signInFailed(const QString& reason);

private:
    QPointer<Ambrel::Client> m_client;
    Ambrel::SignIn::UserInfo m_user;
    quint64 m_generation = 0;
};
