#include "Vyx/CVyxAccount.h"

#include <QFutureWatcher>
#include <QtConcurrent/QtConcurrentRun>

CVyxAccount::CVyxAccount(QObject* parent)
    : QObject(parent)
    , m_client(new Ambrel::Client(this))
{
    qRegisterMetaType<Ambrel::SignIn::UserInfo>();
}

CVyxAccount::~CVyxAccount() = default;

bool CVyxAccount::getIsSignedIn() const
{
    return !m_user.userId.isEmpty();
}

Ambrel::SignIn::UserInfo CVyxAccount::getUserInfo() const
{
    return m_user;
}

QPointer<Ambrel::Client> CVyxAccount::getAmbrelClient() const
{
    return m_client;
}

void CVyxAccount::signIn(const Ambrel::ClientCredentials& credentials)
{
    m_client->setTokenSource([credentials] { return credentials.fetchToken(); });
    const quint64 generation = ++m_generation;
    auto* watcher = new QFutureWatcher<std::pair<QByteArray, QString>>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, generation, credentials] {
        watcher->deleteLater();
        // A sign-out or another sign-in since then wins.
        if (generation != m_generation)
            return;
        const auto [token, error] = watcher->result();
        if (token.isEmpty()) {
            Q_EMIT signInFailed(error);
            return;
        }
        setSignedIn({credentials.clientId, credentials.clientId}, token);
    });
    watcher->setFuture(QtConcurrent::run([credentials] {
        QString error;
        QByteArray token = credentials.fetchToken(&error);
        return std::pair{token, error};
    }));
}

void CVyxAccount::signOut()
{
    ++m_generation;
    m_client->setTokenSource({});
    m_client->clearAccessToken();
    const bool wasSignedIn = getIsSignedIn();
    m_user = {};
    if (wasSignedIn)
        Q_EMIT signedInUserChanged(m_user);
}

void CVyxAccount::setSignedIn(const Ambrel::SignIn::UserInfo& user, const QByteArray& token)
{
    m_client->setAccessToken(token);
    m_user = user;
    Q_EMIT signedInUserChanged(m_user);
}
