#pragma once

#include <QNetworkReply>
#include <QString>

#include "sdk/qt/HttpBodyDevice.h"
#include "sdk/qt/PendingHttpRequest.h"

namespace QuorvelSdk::detail {

// What the network service writes about exchanges, to the host's log under
// the plug-in's category. No line names a URL's user name or password.

// A warning: what happened, then the exchange's verb and URL.
void warn(const PendingHttpRequest& pending, const QString& what);
// One debug line per finished exchange, for whoever supports a user:
// QT_LOGGING_RULES="vyx.plugin.chat.debug=true".
void trace(const PendingHttpRequest& pending, int status);
QString loggedUrl(const QUrl& url);
// Qt's name for a network error number.
QString errorName(QNetworkReply::NetworkError error);
// Why a request body was refused; empty when it was not.
QString bodyFailure(HttpBodyDevice::Failure failure);

} // namespace QuorvelSdk::detail
