#include "SocketHttpClient.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <expected>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include <netdb.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace example {
namespace {

using Clock = std::chrono::steady_clock;
using namespace SocketHttpError;

constexpr std::size_t kReadSize = 16 * 1024;

struct Failure
{
    std::int32_t code;
    std::string message;
};

template <class T = void>
using Result = std::expected<T, Failure>;

std::unexpected<Failure> fail(std::int32_t code, std::string message)
{
    return std::unexpected(Failure{code, std::move(message)});
}

std::string systemReason(int error)
{
    return std::strerror(error);
}

char lowerAscii(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return std::ranges::equal(a, b, [](char x, char y) { return lowerAscii(x) == lowerAscii(y); });
}

std::string_view trimSpaces(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The characters HTTP allows in a verb or a header name.
bool isToken(std::string_view text)
{
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')
               || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    });
}

// A line break would end the header early and let the rest forge another.
bool isSafeHeaderValue(std::string_view text)
{
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

bool isFramingHeader(std::string_view name)
{
    return equalsIgnoringCase(name, "Host") || equalsIgnoringCase(name, "Content-Length")
           || equalsIgnoringCase(name, "Transfer-Encoding") || equalsIgnoringCase(name, "Connection");
}

struct Target
{
    std::string host; // Without the brackets of an IPv6 literal.
    std::string port;
    std::string authority; // As written, for the Host header.
    std::string pathAndQuery;
};

Result<Target> parseUrl(const std::string& url)
{
    const std::size_t schemeEnd = url.find("://");
    if (schemeEnd == std::string::npos)
        return fail(UnsupportedUrl, "not an absolute URL");
    const std::string scheme = url.substr(0, schemeEnd);
    if (!equalsIgnoringCase(scheme, "http"))
        return fail(UnsupportedUrl,
                    "scheme \"" + scheme + "\" is not supported: this client speaks plain http:// only");
    // Spaces or control bytes would end or split the request line.
    if (std::ranges::any_of(url, [](char c) { return static_cast<unsigned char>(c) <= 0x20 || c == 0x7f; }))
        return fail(UnsupportedUrl, "the URL holds spaces or control characters");

    Target target;
    const std::string_view rest = std::string_view(url).substr(schemeEnd + 3);
    const std::size_t authorityEnd = std::min(rest.find_first_of("/?#"), rest.size());
    target.authority = rest.substr(0, authorityEnd);
    std::string_view path = rest.substr(authorityEnd);
    path = path.substr(0, path.find('#'));
    target.pathAndQuery = path.starts_with('/') ? std::string(path) : "/" + std::string(path);

    std::string_view hostPort = target.authority;
    if (hostPort.find('@') != std::string_view::npos)
        return fail(UnsupportedUrl, "user information in URLs is not supported");
    std::string_view portText;
    if (hostPort.starts_with('[')) {
        const std::size_t close = hostPort.find(']');
        if (close == std::string_view::npos)
            return fail(UnsupportedUrl, "unterminated IPv6 address");
        target.host = hostPort.substr(1, close - 1);
        const std::string_view after = hostPort.substr(close + 1);
        if (!after.empty() && !after.starts_with(':'))
            return fail(UnsupportedUrl, "unexpected text after the IPv6 address");
        portText = after.empty() ? after : after.substr(1);
    } else {
        const std::size_t colon = hostPort.find(':');
        target.host = hostPort.substr(0, colon);
        if (colon != std::string_view::npos)
            portText = hostPort.substr(colon + 1);
    }
    if (target.host.empty())
        return fail(UnsupportedUrl, "the URL has no host");

    if (portText.empty()) {
        target.port = "80";
        return target;
    }
    unsigned port = 0;
    for (const char c : portText) {
        if (c < '0' || c > '9')
            return fail(UnsupportedUrl, "invalid port");
        port = port * 10 + static_cast<unsigned>(c - '0');
        if (port > 65535)
            return fail(UnsupportedUrl, "invalid port");
    }
    if (port == 0)
        return fail(UnsupportedUrl, "invalid port");
    target.port = std::to_string(port);
    return target;
}

// Closes the descriptor however the exchange ends.
class Socket
{
public:
    Socket() = default;
    explicit Socket(int fd) : fd_(fd) {}
    Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket& operator=(Socket&& other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Socket()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }
    int fd() const { return fd_; }

private:
    int fd_ = -1;
};

Result<Socket> connectTo(const Target& target, std::chrono::seconds timeout)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (const int status = ::getaddrinfo(target.host.c_str(), target.port.c_str(), &hints, &found))
        return fail(ResolveFailed, "cannot resolve " + target.host + ": " + ::gai_strerror(status));
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(found, ::freeaddrinfo);

    // Linux applies the send timeout to connect() too, so a host that drops
    // the packets fails after the same interval as a silent server.
    timeval interval{};
    interval.tv_sec = static_cast<time_t>(timeout.count());
    int lastError = 0;
    for (const addrinfo* a = addresses.get(); a != nullptr; a = a->ai_next) {
        Socket socket(::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC, a->ai_protocol));
        if (socket.fd() < 0) {
            lastError = errno;
            continue;
        }
        if (::setsockopt(socket.fd(), SOL_SOCKET, SO_RCVTIMEO, &interval, sizeof interval) != 0
            || ::setsockopt(socket.fd(), SOL_SOCKET, SO_SNDTIMEO, &interval, sizeof interval) != 0) {
            lastError = errno;
            continue;
        }
        int result;
        do {
            result = ::connect(socket.fd(), a->ai_addr, a->ai_addrlen);
        } while (result != 0 && errno == EINTR);
        if (result == 0)
            return socket;
        // A connect cut short by the timeout reports "in progress".
        lastError = errno == EINPROGRESS ? ETIMEDOUT : errno;
    }
    return fail(lastError == ETIMEDOUT ? TimedOut : ConnectFailed,
                "cannot connect to " + target.host + " port " + target.port + ": " + systemReason(lastError));
}

// One connection's traffic, within the exchange's deadline and size limit.
class Connection
{
public:
    Connection(Socket socket, const SocketHttpLimits& limits)
        : socket_(std::move(socket))
        , deadline_(Clock::now() + limits.exchangeTimeout)
        , silence_(" for " + std::to_string(limits.ioTimeout.count()) + " s")
        , maxReplyBytes_(limits.maxReplyBytes)
    {
    }

    Result<> sendAll(std::string_view data)
    {
        while (!data.empty()) {
            if (Clock::now() > deadline_)
                return fail(TimedOut, "the exchange took too long");
            // MSG_NOSIGNAL: a server that hangs up must not kill the process
            // with SIGPIPE.
            const ssize_t sent = ::send(socket_.fd(), data.data(), data.size(), MSG_NOSIGNAL);
            if (sent < 0 && errno == EINTR)
                continue;
            if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
                return fail(TimedOut, "the server accepted no data" + silence_);
            if (sent < 0)
                return fail(SendFailed, "cannot send the request: " + systemReason(errno));
            data.remove_prefix(static_cast<std::size_t>(sent));
        }
        return {};
    }

    // The next line without its ending; a bare LF is accepted like CRLF.
    Result<std::string> readLine()
    {
        // Counted from start_, which fill() may move; only the new bytes are
        // searched, so an endless line costs linear time until the size
        // limit stops it.
        std::size_t searched = 0;
        for (;;) {
            const std::size_t end = buffer_.find('\n', start_ + searched);
            if (end != std::string::npos) {
                std::string line = buffer_.substr(start_, end - start_);
                start_ = end + 1;
                if (line.ends_with('\r'))
                    line.pop_back();
                return line;
            }
            searched = buffer_.size() - start_;
            const Result<bool> more = fill();
            if (!more)
                return std::unexpected(more.error());
            if (!*more)
                return fail(MalformedReply, "the connection closed before the reply was complete");
        }
    }

    Result<> readExact(std::uint64_t count, std::string& out)
    {
        while (count > 0) {
            if (start_ == buffer_.size()) {
                const Result<bool> more = fill();
                if (!more)
                    return std::unexpected(more.error());
                if (!*more)
                    return fail(MalformedReply, "the connection closed before the end of the reply's body");
            }
            const std::size_t taken =
                static_cast<std::size_t>(std::min<std::uint64_t>(count, buffer_.size() - start_));
            out.append(buffer_, start_, taken);
            start_ += taken;
            count -= taken;
        }
        return {};
    }

    Result<> readToClose(std::string& out)
    {
        for (;;) {
            out.append(buffer_, start_);
            start_ = buffer_.size();
            const Result<bool> more = fill();
            if (!more)
                return std::unexpected(more.error());
            if (!*more)
                return {};
        }
    }

private:
    // Appends what the socket has; false when the server closed.
    Result<bool> fill()
    {
        // Consumed bytes are dropped only once they are the larger part, so
        // that the move stays cheap compared with the reading.
        if (start_ > 0 && start_ >= buffer_.size() - start_) {
            buffer_.erase(0, start_);
            start_ = 0;
        }
        char chunk[kReadSize];
        for (;;) {
            if (Clock::now() > deadline_)
                return fail(TimedOut, "the exchange took too long");
            const ssize_t got = ::recv(socket_.fd(), chunk, sizeof chunk, 0);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
                return fail(TimedOut, "the server sent nothing" + silence_);
            if (got < 0)
                return fail(ReceiveFailed, "cannot receive the reply: " + systemReason(errno));
            if (got == 0)
                return false;
            received_ += static_cast<std::size_t>(got);
            if (received_ > maxReplyBytes_)
                return fail(ReplyTooLarge,
                            "the reply exceeds the limit of " + std::to_string(maxReplyBytes_) + " bytes");
            buffer_.append(chunk, static_cast<std::size_t>(got));
            return true;
        }
    }

    Socket socket_;
    Clock::time_point deadline_;
    std::string silence_;
    std::size_t maxReplyBytes_;
    std::size_t received_ = 0;
    std::string buffer_;
    std::size_t start_ = 0;
};

Result<std::string> requestHead(const std::string& verb, const Target& target,
                                const tarsion::http::header_list& headers,
                                std::optional<std::uint64_t> contentLength)
{
    if (!isToken(verb))
        return fail(InvalidRequest, "invalid verb");
    std::string head = verb + " " + target.pathAndQuery + " HTTP/1.1\r\nHost: " + target.authority + "\r\n";
    for (const auto& [name, value] : headers) {
        if (!isToken(name) || !isSafeHeaderValue(value))
            return fail(InvalidRequest, "a header name or value would break the request's framing");
        if (!isFramingHeader(name))
            head += name + ": " + value + "\r\n";
    }
    if (contentLength)
        head += "Content-Length: " + std::to_string(*contentLength) + "\r\n";
    head += "Connection: close\r\n\r\n";
    return head;
}

Result<> readAll(tarsion::http::http_base::body& body, std::string& out)
{
    char chunk[kReadSize];
    for (;;) {
        std::uint64_t count = 0;
        if (!body.read(chunk, sizeof chunk, count) || count > sizeof chunk)
            return fail(InvalidRequest, "the request body could not be read");
        if (count == 0)
            return {};
        out.append(chunk, static_cast<std::size_t>(count));
    }
}

// Streams a body whose size was announced, and insists on that size: a
// shorter body would leave the server waiting, a longer one would be read as
// the start of another request.
Result<> sendSized(Connection& connection, tarsion::http::http_base::body& body, std::uint64_t length)
{
    char chunk[kReadSize];
    while (length > 0) {
        std::uint64_t count = 0;
        if (!body.read(chunk, std::min<std::uint64_t>(length, sizeof chunk), count) || count > length
            || count > sizeof chunk)
            return fail(InvalidRequest, "the request body could not be read");
        if (count == 0)
            return fail(InvalidRequest, "the request body is shorter than its announced size");
        if (Result<> sent = connection.sendAll({chunk, static_cast<std::size_t>(count)}); !sent)
            return sent;
        length -= count;
    }
    return {};
}

// "HTTP/1.1 200 OK": the version and a three-digit status; the reason is
// optional and ignored.
Result<std::uint32_t> parseStatusLine(std::string_view line)
{
    if (!line.starts_with("HTTP/1.") || line.size() < 12 || line[8] != ' '
        || (line.size() > 12 && line[12] != ' '))
        return fail(MalformedReply, "the reply does not start with an HTTP/1.x status line");
    std::uint32_t status = 0;
    for (const char c : line.substr(9, 3)) {
        if (c < '0' || c > '9')
            return fail(MalformedReply, "the reply's status is not a number");
        status = status * 10 + static_cast<std::uint32_t>(c - '0');
    }
    if (status < 100)
        return fail(MalformedReply, "the reply's status is out of range");
    return status;
}

Result<> readHead(Connection& connection, tarsion::http_response& response)
{
    // Interim 1xx replies, which a server may send unasked, come before the
    // real one and are skipped.
    do {
        Result<std::string> line = connection.readLine();
        if (!line)
            return std::unexpected(line.error());
        const Result<std::uint32_t> status = parseStatusLine(*line);
        if (!status)
            return std::unexpected(status.error());
        response.status = *status;
        response.headers = {};
        for (;;) {
            line = connection.readLine();
            if (!line)
                return std::unexpected(line.error());
            if (line->empty())
                break;
            const std::size_t colon = line->find(':');
            const std::string_view name = std::string_view(*line).substr(0, colon);
            if (colon == std::string::npos || !isToken(name))
                return fail(MalformedReply, "the reply has a malformed header line");
            response.headers.append(std::string(name),
                                    std::string(trimSpaces(std::string_view(*line).substr(colon + 1))));
        }
    } while (response.status < 200);
    return {};
}

const tarsion::http::header* lastHeader(const tarsion::http::header_list& headers, std::string_view name)
{
    const tarsion::http::header* found = nullptr;
    for (const tarsion::http::header& header : headers) {
        if (equalsIgnoringCase(header.first, name))
            found = &header;
    }
    return found;
}

// No Content-Length gives nullopt; several must agree.
Result<std::optional<std::uint64_t>> contentLength(const tarsion::http::header_list& headers)
{
    std::optional<std::uint64_t> length;
    for (const auto& [name, value] : headers) {
        if (!equalsIgnoringCase(name, "Content-Length"))
            continue;
        const std::string_view digits = trimSpaces(value);
        std::uint64_t parsed = 0;
        for (const char c : digits) {
            if (c < '0' || c > '9' || parsed > (UINT64_MAX - 9) / 10)
                return fail(MalformedReply, "the reply has an invalid Content-Length");
            parsed = parsed * 10 + static_cast<std::uint64_t>(c - '0');
        }
        if (digits.empty() || (length && *length != parsed))
            return fail(MalformedReply, "the reply has an invalid Content-Length");
        length = parsed;
    }
    return length;
}

Result<> readChunked(Connection& connection, std::string& body, std::size_t maxReplyBytes)
{
    for (;;) {
        const Result<std::string> line = connection.readLine();
        if (!line)
            return std::unexpected(line.error());
        // The size in hexadecimal, possibly followed by ";extension".
        const std::string_view sizeText = trimSpaces(std::string_view(*line).substr(0, line->find(';')));
        std::uint64_t size = 0;
        for (const char c : sizeText) {
            const char lower = lowerAscii(c);
            const int digit = c >= '0' && c <= '9'           ? c - '0'
                              : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10
                                                             : -1;
            if (digit < 0)
                return fail(MalformedReply, "the reply has an invalid chunk size");
            size = size * 16 + static_cast<std::uint64_t>(digit);
            if (size > maxReplyBytes)
                return fail(ReplyTooLarge,
                            "the reply exceeds the limit of " + std::to_string(maxReplyBytes) + " bytes");
        }
        if (sizeText.empty())
            return fail(MalformedReply, "the reply has an invalid chunk size");
        // The trailers after the last chunk are not needed: the connection
        // closes anyway.
        if (size == 0)
            return {};
        if (Result<> data = connection.readExact(size, body); !data)
            return data;
        const Result<std::string> end = connection.readLine();
        if (!end)
            return std::unexpected(end.error());
        if (!end->empty())
            return fail(MalformedReply, "a chunk of the reply is longer than its size");
    }
}

Result<> readBody(Connection& connection, const std::string& verb, tarsion::http_response& response,
                  std::size_t maxReplyBytes)
{
    if (verb == "HEAD" || response.status == 204 || response.status == 304)
        return {};
    if (const tarsion::http::header* encoding = lastHeader(response.headers, "Transfer-Encoding")) {
        // Only a final "chunked" frames the body; after any other coding it
        // runs until the connection closes.
        const std::string_view codings = encoding->second;
        const std::size_t comma = codings.rfind(',');
        const std::string_view last = comma == std::string_view::npos ? codings : codings.substr(comma + 1);
        if (equalsIgnoringCase(trimSpaces(last), "chunked"))
            return readChunked(connection, response.body, maxReplyBytes);
        return connection.readToClose(response.body);
    }
    const Result<std::optional<std::uint64_t>> length = contentLength(response.headers);
    if (!length)
        return std::unexpected(length.error());
    if (!*length)
        return connection.readToClose(response.body);
    // Refused up front rather than after receiving most of it.
    if (**length > maxReplyBytes)
        return fail(ReplyTooLarge,
                    "the reply exceeds the limit of " + std::to_string(maxReplyBytes) + " bytes");
    return connection.readExact(**length, response.body);
}

Result<> exchange(const std::string& verb, const std::string& url, const tarsion::http::header_list& headers,
                  tarsion::http::http_base::body* requestBody, const SocketHttpLimits& limits,
                  tarsion::http_response& response)
{
    const Result<Target> target = parseUrl(url);
    if (!target)
        return std::unexpected(target.error());

    std::optional<std::uint64_t> length;
    std::string wholeBody;
    bool streamBody = false;
    if (requestBody != nullptr) {
        std::uint64_t known = 0;
        streamBody = requestBody->size(known);
        if (!streamBody) {
            if (Result<> read = readAll(*requestBody, wholeBody); !read)
                return read;
            known = wholeBody.size();
        }
        length = known;
    }
    const Result<std::string> head = requestHead(verb, *target, headers, length);
    if (!head)
        return std::unexpected(head.error());

    Result<Socket> socket = connectTo(*target, limits.ioTimeout);
    if (!socket)
        return std::unexpected(socket.error());
    Connection connection(std::move(*socket), limits);
    if (Result<> sent = connection.sendAll(*head); !sent)
        return sent;
    if (Result<> sent =
            streamBody ? sendSized(connection, *requestBody, *length) : connection.sendAll(wholeBody);
        !sent)
        return sent;

    if (Result<> read = readHead(connection, response); !read)
        return read;
    return readBody(connection, verb, response, limits.maxReplyBytes);
}

// The URL for a message, without any user information: it may hold a
// password.
std::string withoutUserInfo(const std::string& url)
{
    const std::size_t schemeEnd = url.find("://");
    if (schemeEnd == std::string::npos)
        return url;
    const std::size_t hostStart = schemeEnd + 3;
    const std::size_t at = url.find('@', hostStart);
    if (at == std::string::npos || at > url.find_first_of("/?#", hostStart))
        return url;
    return url.substr(0, hostStart) + "...@" + url.substr(at + 1);
}

} // namespace

const char* describeSocketHttpError(std::int32_t error)
{
    switch (error) {
    case UnsupportedUrl: return "unsupported or malformed URL (only plain http:// is supported)";
    case InvalidRequest: return "invalid request";
    case ResolveFailed: return "host name not resolved";
    case ConnectFailed: return "connection failed";
    case SendFailed: return "sending the request failed";
    case ReceiveFailed: return "receiving the reply failed";
    case TimedOut: return "timed out";
    case MalformedReply: return "malformed or incomplete reply";
    case ReplyTooLarge: return "reply too large";
    default: return "unknown transport error";
    }
}

SocketHttpClient::SocketHttpClient(Diagnostics diagnostics, SocketHttpLimits limits)
    : diagnostics_(std::move(diagnostics))
    , limits_(limits)
{
}

std::int32_t SocketHttpClient::send(const std::string& verb, const std::string& url,
                                    const tarsion::http::header_list& headers, body* request_body, bool,
                                    std::int64_t, tarsion::http_response& response)
{
    response = tarsion::http_response();
    const Result<> done = exchange(verb, url, headers, request_body, limits_, response);
    if (done)
        return 0;
    if (diagnostics_)
        diagnostics_(verb + " " + withoutUserInfo(url) + ": " + done.error().message);
    return done.error().code;
}

} // namespace example
