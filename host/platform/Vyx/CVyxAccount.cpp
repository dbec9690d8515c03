#include "Vyx/CVyxAccount.h"

#include <algorithm>
#include <chrono>
#include <limits>

#include <QFutureWatcher>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

#include "Ambrel/ClientCredentials.h"
#include "Ambrel/TokenReply.h"

CVyxAccount::CVyxAccount(QObject* parent)
    : QObject(parent)
    , m_client(new Ambrel::Client(this))
    , m_renewal(new QTimer(this))
    , m_abort(std::make_shared<Ambrel::TokenRequestAbort>())
{
    qRegisterMetaType<Ambrel::SignIn::UserInfo>();
    m_renewal->setSingleShot(true);
    connect(m_renewal, &QTimer::timeout, this, [this] {
        requestToken([this](const Ambrel::AccessToken& token) {
            m_client->setAccessToken(token.value);
            planRenewal(token.expiresInSeconds);
        });
    });
    // A renewal after a 401 happens on an SDK thread; the next one before
    // expiry is planned from what it got.
    connect(m_client, &Ambrel::Client::accessTokenRenewed, this, &CVyxAccount::planRenewal,
            Qt::QueuedConnection);
}

CVyxAccount::~CVyxAccount()
{
    m_abort->abort();
}

void CVyxAccount::abandonTokenRequests()
{
    m_renewal->stop();
    m_abort->abort();
}

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
    m_renewal->stop();
    // What the previous sign-in still asks for belongs to nobody.
    m_abort->abort();
    m_abort = std::make_shared<Ambrel::TokenRequestAbort>();
    m_credentials = std::make_unique<Ambrel::ClientCredentials>(credentials);
    m_client->setTokenSource([credentials, abort = m_abort]() -> Ambrel::AccessToken {
        return credentials.requestToken(Ambrel::ClientCredentials::kTimeoutMs, abort)
            .value_or(Ambrel::AccessToken());
    });
    ++m_generation;
    requestToken(
        [this](const Ambrel::AccessToken& token) {
            setSignedIn({m_credentials->clientId, m_credentials->clientId}, token.value);
            planRenewal(token.expiresInSeconds);
        },
        [this](const QString& error) { Q_EMIT signInFailed(error); });
}

void CVyxAccount::signOut()
{
    ++m_generation;
    m_renewal->stop();
    m_abort->abort();
    m_abort = std::make_shared<Ambrel::TokenRequestAbort>();
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

void CVyxAccount::requestToken(std::function<void(const Ambrel::AccessToken&)> onToken,
                               std::function<void(const QString&)> onError)
{
    using Reply = std::expected<Ambrel::AccessToken, QString>;
    const quint64 generation = m_generation;
    auto* watcher = new QFutureWatcher<Reply>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [=, this] {
        watcher->deleteLater();
        // A sign-out or another sign-in since then wins.
        if (generation != m_generation)
            return;
        const Reply reply = watcher->result();
        if (reply)
            onToken(*reply);
        else if (onError)
            onError(reply.error());
    });
    // Off the user-interface thread, which the endpoint may keep waiting;
    // the task touches nothing of this object.
    watcher->setFuture(QtConcurrent::run([credentials = *m_credentials, abort = m_abort] {
        return credentials.requestToken(Ambrel::ClientCredentials::kTimeoutMs, abort);
    }));
}

void CVyxAccount::planRenewal(qint64 expiresInSeconds)
{
    if (expiresInSeconds <= 0 || !getIsSignedIn())
        return;
    // A timer cannot wait longer than about 24 days; a token that lives
    // longer is renewed early, which costs one request.
    const qint64 delay =
        std::min<qint64>(Ambrel::renewalDelayMs(expiresInSeconds), std::numeric_limits<int>::max());
    m_renewal->start(std::chrono::milliseconds(delay));
}
