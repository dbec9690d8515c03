#include "sdk/qt/QtHttpTransport.h"

#include <algorithm>
#include <cstdint>

#include "sdk/qt/ExchangeCancellation.h"
#include "sdk/qt/QtHttpNetworkService.h"

namespace QuorvelSdk {

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
    pending.cancellation = ExchangeCancellation::current(cancellation.get());
    pending.body = request_body;
    std::uint64_t announced = 0;
    if (request_body != nullptr && request_body->size(announced))
        pending.content_length = static_cast<qint64>(std::min<std::uint64_t>(announced, INT64_MAX));

    return service->execute(pending);
}

} // namespace QuorvelSdk
