#pragma once

#include <QNetworkReply>
#include <QString>

#include "sdk/qt/PendingHttpRequest.h"

namespace QuorvelSdk::detail {

// What one reply may cost in memory: at most its exchange's reply size
// limit, read into the response as it comes, and never more than a bounded
// read-ahead held by Qt's HTTP thread.

// Holds Qt's HTTP thread to the read-ahead from the start of the request.
void limitReadAhead(QNetworkReply* reply);
// When the reply announces its length: why it is refused, or empty when it
// is within the limit (room for it is then reserved at once).
QString refusalOfAnnounced(QNetworkReply& reply, PendingHttpRequest& pending);
// Takes in what has arrived, once enough waits; false when it would pass
// the limit.
bool takeArrived(QNetworkReply& reply, PendingHttpRequest& pending);
// Takes in the rest of a finished reply; false when it would pass the limit.
bool takeRest(QNetworkReply& reply, PendingHttpRequest& pending);
QString overLimit(qint64 limit);

} // namespace QuorvelSdk::detail
