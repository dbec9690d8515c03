#include "sdk/qt/QtHttpTransport.h"

#include <algorithm>

#include <QNetworkReply>

#include <qtHelpers/Logger.h>

#include "sdk/qt/ExchangeCancellation.h"
#include "sdk/qt/QtHttpNetworkService.h"

namespace QuorvelSdk {
namespace {

// A body that fails to read, or that ends elsewhere than where it said it
// would, is the sender's fault, not the network's: the number Qt gives
// content at fault.
constexpr std::int32_t kUnreadableBody = QNetworkReply::UnknownContentError;
constexpr std::uint64_t kLengthTrusted = 64 * 1024 * 1024;

// Reads `body` to its end into `out`, on the sending thread. Qt would buffer
// a body it cannot seek in all the same (to send it again on a fresh
// connection), an event-loop turn later and through a ring buffer, on the
// network thread; bytes it is given, it sends as they are.
bool readWhole(tarsion::http::http_base::body& body, QByteArray& out)
{
    std::uint64_t announced = 0;
    const bool known = body.size(announced);
    // Room for what the body says it holds, up to a bound: a length that is
    // only claimed is not worth an allocation of any size.
    out.resize(known ? static_cast<qsizetype>(std::min(announced, kLengthTrusted)) : 0);
    qsizetype filled = 0;
    for (;;) {
        std::uint64_t count = 0;
        if (filled < out.size()) {
            const auto room = static_cast<std::uint64_t>(out.size() - filled);
            if (!body.read(out.data() + filled, room, count) || count > room)
                return false;
            filled += static_cast<qsizetype>(count);
        } else {
            // Past the announced length, or nothing announced: a small probe,
            // so that a body ending where it said costs nothing more.
            char probe[4096];
            if (!body.read(probe, sizeof probe, count) || count > sizeof probe)
                return false;
            out.append(probe, static_cast<qsizetype>(count));
            filled = out.size();
        }
        if (count == 0)
            break;
    }
    out.truncate(filled);
    return !known || static_cast<std::uint64_t>(filled) == announced;
}

} // namespace

QtHttpTransport::QtHttpTransport(QtHttpNetworkService* networkService, QObject* parent)
    : QObject(parent)
    , service(networkService)
{
}

void QtHttpTransport::setCancellation(std::shared_ptr<const ExchangeCancellation> chainCancellation)
{
    cancellation = std::move(chainCancellation);
}

std::int32_t QtHttpTransport::send(const std::string& verb, const std::string& url,
                                   const tarsion::http::header_list& headers, body* request_body,
                                   bool disable_redirects, std::int64_t /*transport_option*/,
                                   tarsion::http_response& response)
{
    response = tarsion::http_response();

    PendingHttpRequest pending;
    pending.verb = QByteArray::fromStdString(verb);
    pending.url = QUrl(QString::fromStdString(url), QUrl::TolerantMode);
    pending.headers.reserve(static_cast<qsizetype>(headers.size()));
    for (const auto& [name, value] : headers)
        pending.headers.append({QByteArray::fromStdString(name), QByteArray::fromStdString(value)});
    pending.disable_redirects = disable_redirects;
    pending.response = &response;
    if (cancellation)
        pending.cancelled = &cancellation->flag();
    if (request_body != nullptr && !readWhole(*request_body, pending.body.emplace())) {
        qtHelpers::logger(QtWarningMsg, qtHelpers::chat()).noquote()
            << "QtHttpTransport: the request body could not be read whole; the request was not sent;"
            << "verb" << pending.verb << "url" << pending.url.toString(QUrl::RemoveUserInfo);
        return kUnreadableBody;
    }

    return service->execute(pending);
}

} // namespace QuorvelSdk
