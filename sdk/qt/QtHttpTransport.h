#pragma once

#include <memory>

#include <QObject>

#include "sdk/core/http_base.h"

namespace QuorvelSdk {

class ExchangeCancellation;
class QtHttpNetworkService;

// The SDK's HTTP client over Qt's network stack: each send is handed to the
// network service thread and blocks until it is over.
class QtHttpTransport : public QObject, public tarsion::http::http_base
{
public:
    // `service` is not owned and must outlive every send.
    explicit QtHttpTransport(QtHttpNetworkService* service, QObject* parent = nullptr);

    // Exchanges from now on are ended once `cancellation` is set. A send
    // made inside an ExchangeCancellation::Scope on its thread answers to
    // that scope's cancellation instead, which ends it too when that is a
    // child of this one (as each resolution's is).
    void setCancellation(std::shared_ptr<const ExchangeCancellation> cancellation);

    std::int32_t send(const std::string& verb, const std::string& url,
                      const tarsion::http::header_list& headers, body* request_body, bool disable_redirects,
                      std::int64_t transport_option, tarsion::http_response& response) override;

private:
    QtHttpNetworkService* service;
    std::shared_ptr<const ExchangeCancellation> cancellation;
};

} // namespace QuorvelSdk
