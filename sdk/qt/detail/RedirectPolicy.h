#pragma once

#include <QByteArray>
#include <QUrl>

namespace QuorvelSdk::detail {

// Every request carries credentials, so a redirect is looked at before Qt
// follows it: only within the request's origin, and only where the verb
// stays what it was. Returns why a redirect from `from` to `to` is refused,
// or null when it may be followed.
const char* redirectRefusal(const QUrl& from, const QUrl& to, int status, const QByteArray& verb);

} // namespace QuorvelSdk::detail
