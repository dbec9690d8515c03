#include "sdk/core/tenant.h"

#include <chrono>
#include <thread>

#include "sdk/core/detail/pipeline.h"
#include "sdk/core/detail/retry_after.h"

namespace tarsion {
namespace {

constexpr std::uint32_t kTooManyRequests = 429;
constexpr std::uint32_t kUnauthorized = 401;
// The longest server-requested wait that is honoured.
constexpr std::uint32_t kMaxRetryAfterSeconds = 60;

void sleep_seconds(std::uint32_t seconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(std::uint64_t{seconds} * 1000));
}

std::unexpected<error> transport_failure(std::int32_t result)
{
    return make_error(error_kind::transport, static_cast<std::uint32_t>(result));
}

// Never names the value: it may be the token.
std::unexpected<error> unsafe_header_failure(const http::header& header)
{
    return make_error(error_kind::transport, 0,
                      (detail::breaks_framing(header.first) ? std::string("A header name")
                                                            : "Header \"" + header.first + "\"")
                          + " holds a line break or NUL; the request was not sent.");
}

} // namespace

struct tenant::request
{
    const std::string& verb;
    std::string url;
    http::header_list headers;
    const http::http_base::body_factory* body;
    std::int64_t transport_option;
    bool disable_redirects;
    bool retry_any_verb;
};

tenant::tenant(tenant_base settings, std::unique_ptr<tarsion::token_factory> tokens,
               std::shared_ptr<tarsion::logger> log)
    : tenant_base(std::move(settings))
    , token_factory(std::move(tokens))
    , logger(std::move(log))
    , sleep(sleep_seconds)
{
}

expected<http_response> tenant::execute(const std::string& verb, const std::string& path_template,
                                        const http::header_list& headers,
                                        const http::http_base::body_factory* body,
                                        std::int64_t transport_option, bool disable_redirects,
                                        bool retry_any_verb)
{
    if (!http_client)
        return make_error(error_kind::missing_configuration, 0, "No http client to send request.");

    const std::string token = token_factory ? token_factory->get_token() : std::string();
    request r{verb,
              detail::request_url(base_url, path_template, business_id, business_id_suffix),
              detail::with_authorization(headers, token),
              body,
              transport_option,
              disable_redirects,
              retry_any_verb};

    // A line break in a header (a hostile token, say) would end the request
    // early and let its rest be read as another one.
    if (const http::header* unsafe = detail::unsafe_header(r.headers))
        return unsafe_header_failure(*unsafe);

    http_response response;
    if (const std::int32_t result = send_with_retries(r, response))
        return transport_failure(result);
    if (response.status != kUnauthorized || !token_factory)
        return response;

    // One renewal per call. It re-sends whatever the verb: the request never
    // reached the service as an authorised one.
    expected<std::string> renewed = token_factory->refresh_token(token);
    if (!renewed) {
        error e = std::move(renewed.error());
        if (e.kind == error_kind::http_status)
            e.kind = error_kind::token_renewal_status;
        return std::unexpected(std::move(e));
    }
    if (*renewed == token)
        return response;
    r.headers = detail::with_authorization(headers, *renewed);
    if (const http::header* unsafe = detail::unsafe_header(r.headers))
        return unsafe_header_failure(*unsafe);
    if (const std::int32_t result = send_with_retries(r, response))
        return transport_failure(result);
    return response;
}

std::int32_t tenant::send_with_retries(const request& r, http_response& response)
{
    if (const std::int32_t result = send_once(r, response))
        return result;
    for (const std::uint32_t delay : retry_delays) {
        // The status first: it ends nearly every call here, and is the
        // cheaper look-up.
        if (!retry_statuses.contains(response.status))
            break;
        if (!r.retry_any_verb && !retry_verbs.contains(r.verb))
            break;
        std::uint32_t wait = delay;
        if (response.status == kTooManyRequests) {
            const http::header* header = response.headers.find("Retry-After");
            if (header != nullptr && !header->second.empty()) {
                const std::optional<std::int32_t> seconds = detail::parse_retry_after(header->second);
                // Negative values compare as huge ones and end the retries too.
                if (!seconds || static_cast<std::uint32_t>(*seconds) > kMaxRetryAfterSeconds)
                    break;
                wait = static_cast<std::uint32_t>(*seconds);
            }
        }
        sleep(wait);
        if (const std::int32_t result = send_once(r, response))
            return result;
    }
    return 0;
}

std::int32_t tenant::send_once(const request& r, http_response& response)
{
    std::unique_ptr<http::http_base::body> body = r.body ? r.body->create_body() : nullptr;
    response = http_response();
    const std::int32_t result = http_client->send(r.verb, r.url, r.headers, body.get(), r.disable_redirects,
                                                  r.transport_option, response);
    log_exchange(r, result, response);
    return result;
}

void tenant::log_exchange(const request& r, std::int32_t result, const http_response& response)
{
    if (!logger)
        return;
    std::lock_guard guard(log_lock);
    logger->write(0, sdk_tag, r.verb + " " + r.url);
    if (r.body)
        r.body->log_body(*logger, 1, sdk_tag);
    if (result != 0)
        logger->write(0, sdk_tag, "Failure: " + std::to_string(result));
    else
        logger->write(0, sdk_tag, "Response: " + std::to_string(response.status) + " " + response.body);
}

} // namespace tarsion
