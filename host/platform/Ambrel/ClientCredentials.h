#pragma once

#include <expected>
#include <memory>
#include <mutex>

#include <QList>

#include <QString>
#include <QUrl>

class QEventLoop;

#include "Ambrel/AccessToken.h"
#include "VyxPlatformExport.h"

namespace Ambrel {

// Ends the token requests under way, on whatever threads they wait, and
// refuses later ones at once: what a sign-out or the host's exit does to
// the requests it started, so that nothing waits for an endpoint that has
// stopped answering.
class VYX_PLATFORM_EXPORT TokenRequestAbort
{
public:
    // Any thread; calling it again does nothing more.
    void abort();
    bool isAborted() const;

    // While it lives, an abort ends `loop` (an event loop waiting on its
    // thread for a token), and so does one that came before it.
    class Watch
    {
    public:
        Watch(TokenRequestAbort* abort, QEventLoop& loop);
        ~Watch();
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;

    private:
        TokenRequestAbort* m_abort;
        QEventLoop& m_loop;
    };

private:
    mutable std::mutex m_mutex;
    bool m_aborted = false;
    QList<QEventLoop*> m_loops;
};

// OAuth 2 client credentials against a token endpoint.
struct VYX_PLATFORM_EXPORT ClientCredentials
{
    QUrl tokenUrl;
    QString clientId;
    QString clientSecret;

    // How long a sign-in or a renewal waits for the endpoint.
    static constexpr int kTimeoutMs = 15000;

    // Asks the endpoint for an access token; blocks the calling thread (any
    // thread) for at most `timeoutMs`, or until `abort` ends it. A failure
    // carries a reason that never contains the secret or a token.
    std::expected<AccessToken, QString>
    requestToken(int timeoutMs = kTimeoutMs, const std::shared_ptr<TokenRequestAbort>& abort = {}) const;
};

} // namespace Ambrel
