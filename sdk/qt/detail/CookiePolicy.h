#pragma once

#include <QNetworkRequest>

namespace QuorvelSdk::detail {

// A cookie one exchange received is never sent with the next: sessions are
// the token's business, and the network thread outlives every sign-in.
inline void keepCookiesOut(QNetworkRequest& request)
{
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
}

} // namespace QuorvelSdk::detail
