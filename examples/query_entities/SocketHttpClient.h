#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "sdk/core/http_base.h"

namespace example {

// The error numbers SocketHttpClient::send returns. They are few and fixed so
// that a caller can act on them; the details (the system's reason, the host)
// go to the client's diagnostics callback instead.
namespace SocketHttpError {
// Not "http://host[:port][/path]": https, any other scheme, user information
// or bytes a request line cannot carry.
inline constexpr std::int32_t UnsupportedUrl = 1;
// A verb or header that would break the request's framing, or a request body
// that could not be read.
inline constexpr std::int32_t InvalidRequest = 2;
// The host name did not resolve.
inline constexpr std::int32_t ResolveFailed = 3;
// No address of the host accepted a connection.
inline constexpr std::int32_t ConnectFailed = 4;
inline constexpr std::int32_t SendFailed = 5;
inline constexpr std::int32_t ReceiveFailed = 6;
// The server went silent for longer than the I/O timeout, or the whole
// exchange took longer than its limit.
inline constexpr std::int32_t TimedOut = 7;
// Not HTTP/1.x, or the connection closed before the reply was complete.
inline constexpr std::int32_t MalformedReply = 8;
// The reply grew beyond the size limit.
inline constexpr std::int32_t ReplyTooLarge = 9;
} // namespace SocketHttpError

// A short English phrase for one of the numbers above.
const char* describeSocketHttpError(std::int32_t error);

struct SocketHttpLimits
{
    // The longest silence tolerated on a connect, send or receive.
    std::chrono::seconds ioTimeout{30};
    // A server trickling a byte now and then never trips the I/O timeout;
    // this bounds sending and receiving once connected.
    std::chrono::seconds exchangeTimeout{300};
    // Counts every byte received: status line, headers and body framing.
    std::size_t maxReplyBytes = std::size_t{64} << 20;
};

// The SDK's HTTP client over blocking POSIX sockets, for plain http:// only.
// Every send opens one connection, writes one HTTP/1.1 request with
// "Connection: close" and reads the whole reply. Redirects are returned as
// they are, never followed. The client writes Host, Content-Length and
// Connection itself and drops any the caller passes under those names (or
// Transfer-Encoding), as the framing is its own. Any number of threads may
// send at once.
class SocketHttpClient final : public tarsion::http::http_base
{
public:
    // Receives one line per failed send, saying why it failed.
    using Diagnostics = std::function<void(const std::string& message)>;

    explicit SocketHttpClient(Diagnostics diagnostics = {}, SocketHttpLimits limits = {});

    // `disable_redirects` and `transport_option` change nothing here.
    std::int32_t send(const std::string& verb, const std::string& url,
                      const tarsion::http::header_list& headers, body* request_body, bool disable_redirects,
                      std::int64_t transport_option, tarsion::http_response& response) override;

private:
    Diagnostics diagnostics_;
    SocketHttpLimits limits_;
};

} // namespace example
