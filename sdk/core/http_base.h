#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sdk/core/header_list.h"
#include "sdk/core/http_response.h"
#include "sdk/core/logger.h"

namespace tarsion::http {

// The SDK's abstract HTTP client: one blocking exchange per send. The SDK
// itself never touches a network library; a transport implements this.
class http_base
{
public:
    // One request body for one send attempt, read from its first byte on.
    class body
    {
    public:
        virtual ~body() = default;
        // True with the total length when it is known in advance.
        virtual bool size(std::uint64_t& length) const = 0;
        // Copies up to `capacity` unread bytes and advances. A count of 0 with
        // true means the end; false means a read fault.
        virtual bool read(char* buffer, std::uint64_t capacity, std::uint64_t& count) = 0;
    };

    // Makes a fresh body for every attempt of one request, so that a retry
    // re-sends the whole content.
    class body_factory
    {
    public:
        virtual ~body_factory() = default;
        virtual std::unique_ptr<body> create_body() const = 0;
        virtual void log_body(logger& log, std::uint32_t level, const std::string& tag) const = 0;
    };

    virtual ~http_base() = default;

    // Returns 0 when an HTTP reply was obtained, whatever its status, with
    // `response` filled; otherwise the transport's error number, and
    // `response` is unspecified. `transport_option` is the transport's own.
    virtual std::int32_t send(const std::string& verb, const std::string& url, const header_list& headers,
                              body* request_body, bool disable_redirects, std::int64_t transport_option,
                              http_response& response) = 0;
};

} // namespace tarsion::http
