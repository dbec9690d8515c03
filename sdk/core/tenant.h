#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "sdk/core/error.h"
#include "sdk/core/header_list.h"
#include "sdk/core/http_base.h"
#include "sdk/core/logger.h"
#include "sdk/core/tenant_base.h"
#include "sdk/core/token_factory.h"

namespace tarsion {

// A connection to one business: fills in the business id, joins the URL,
// attaches the bearer token, sends with retries and renews the token once on
// a 401. Calls block the calling thread, retry waits included; any number of
// threads may call at once.
class tenant : public tenant_base
{
public:
    // Blocks the calling thread for a retry wait given in seconds.
    using sleep_function = std::function<void(std::uint32_t seconds)>;

    explicit tenant(tenant_base settings, std::unique_ptr<tarsion::token_factory> tokens = nullptr,
                    std::shared_ptr<tarsion::logger> log = nullptr);
    tenant(const tenant&) = delete;
    tenant& operator=(const tenant&) = delete;

    // A status the server returned is not an error here, whatever it is;
    // only a missing client, a transport failure or a failed token renewal
    // are. `body` may be null for a request without a body.
    expected<http_response> execute(const std::string& verb, const std::string& path_template,
                                    const http::header_list& headers,
                                    const http::http_base::body_factory* body, std::int64_t transport_option,
                                    bool disable_redirects, bool retry_any_verb);

    std::unique_ptr<tarsion::token_factory> token_factory;
    // Receives the exchange log; none by default.
    std::shared_ptr<tarsion::logger> logger;
    // Keeps the lines of one exchange together in the log.
    std::mutex log_lock;
    const std::string sdk_tag = "tqc_sdk";
    // Real thread sleep by default; tests replace it.
    sleep_function sleep;

private:
    struct request;
    std::int32_t send_with_retries(const request& r, http_response& response);
    std::int32_t send_once(const request& r, http_response& response);
    void log_exchange(const request& r, std::int32_t result, const http_response& response);
};

} // namespace tarsion
