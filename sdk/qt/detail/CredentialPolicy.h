#pragma once

#include <QByteArray>
#include <QList>
#include <QUrl>
#include <utility>

namespace QuorvelSdk::detail {

// A bearer token sent over plain http can be read, and used, by anyone on
// the way (RFC 6750, section 5.3). It goes only over https, or to this
// machine, where nobody is on the way.
bool exposesCredentials(const QUrl& url, const QList<std::pair<QByteArray, QByteArray>>& headers);

// Whether `url` names this machine.
bool isLoopback(const QUrl& url);

} // namespace QuorvelSdk::detail
