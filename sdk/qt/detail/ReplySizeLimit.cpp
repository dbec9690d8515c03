#include "sdk/qt/detail/ReplySizeLimit.h"

#include <algorithm>
#include <string>

namespace QuorvelSdk::detail {
namespace {

// How far Qt's HTTP thread may read a reply ahead of this thread: enough
// to keep a fast connection busy, small beside any reply size limit.
constexpr qint64 kReadBufferBytes = 1024 * 1024;
// Each read of a reply under a read-ahead hands the freed space back to
// Qt's HTTP thread: one cross-thread post, and a wake-up there. A reply is
// therefore read as it comes only once half the read-ahead waits, or once
// it has passed its size limit; the rest is taken when it has finished.
constexpr qint64 kReadEagerlyFrom = kReadBufferBytes / 2;

// Appends what the reply holds straight to the response, without the
// intermediate QByteArray that readAll() would make: for a large reply that
// copy is a whole extra body alive at once. False, with nothing read, when
// the body would grow beyond `limit`.
bool readBody(QNetworkReply& reply, std::string& body, qint64 limit)
{
    for (qint64 available = reply.bytesAvailable(); available > 0; available = reply.bytesAvailable()) {
        if (available > limit - static_cast<qint64>(body.size()))
            return false;
        const std::size_t before = body.size();
        qint64 got = 0;
        body.resize_and_overwrite(before + static_cast<std::size_t>(available),
                                  [&](char* buffer, std::size_t) {
                                      got = reply.read(buffer + before, available);
                                      return before + static_cast<std::size_t>(std::max<qint64>(got, 0));
                                  });
        if (got <= 0)
            break;
    }
    return true;
}

} // namespace

void limitReadAhead(QNetworkReply* reply)
{
    // Without a read buffer limit, Qt's HTTP thread reads a reply that comes
    // faster than it can hand it over into memory for as long as it keeps
    // coming, before this thread hears of any of it. A limit set on the reply
    // only reaches that thread if the request has already started there,
    // and Qt starts it at once, or, for a body it first takes whole from
    // its device, two turns of this thread's loop later. Set at each of
    // those moments, the limit is queued to the HTTP thread right behind the
    // start of the request, and so always before the first byte of the
    // answer; before the start it costs nothing, there being nobody to tell.
    const auto limit = [reply] { reply->setReadBufferSize(kReadBufferBytes); };
    limit();
    QMetaObject::invokeMethod(
        reply,
        [reply, limit] {
            limit();
            QMetaObject::invokeMethod(reply, limit, Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

QString refusalOfAnnounced(QNetworkReply& reply, PendingHttpRequest& pending)
{
    const QVariant header = reply.header(QNetworkRequest::ContentLengthHeader);
    if (!header.isValid())
        return {};
    const qint64 announced = header.toLongLong();
    const qint64 limit = pending.limits.maxReplyBytes;
    if (announced <= limit) {
        // Grown once, instead of doubling its way up while the body arrives.
        pending.response->body.reserve(static_cast<std::size_t>(std::max<qint64>(announced, 0)));
        return {};
    }
    return QStringLiteral("reply announces %1 bytes, more than the limit of %2; exchange aborted;")
        .arg(announced)
        .arg(limit);
}

bool takeArrived(QNetworkReply& reply, PendingHttpRequest& pending)
{
    const qint64 limit = pending.limits.maxReplyBytes;
    const qint64 available = reply.bytesAvailable();
    if (available < kReadEagerlyFrom
        && available <= limit - static_cast<qint64>(pending.response->body.size()))
        return true;
    return readBody(reply, pending.response->body, limit);
}

bool takeRest(QNetworkReply& reply, PendingHttpRequest& pending)
{
    // All of the reply has come, so the read-ahead holds nothing back any
    // more. Lifted on QNetworkReply alone, it tells Qt's HTTP thread nothing
    // (that thread is done), and reading the rest hands it no freed space.
    reply.QNetworkReply::setReadBufferSize(0);
    return readBody(reply, pending.response->body, pending.limits.maxReplyBytes);
}

QString overLimit(qint64 limit)
{
    return QStringLiteral("reply body larger than the limit of %1 bytes; exchange aborted;").arg(limit);
}

} // namespace QuorvelSdk::detail
