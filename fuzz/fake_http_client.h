#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "sdk/core/http_base.h"
#include "sdk/core/http_response.h"

namespace fuzz {

// Answers each send with the next reply of its list, and with 599 once the
// list is used up; remembers what was sent. The body is read to its end, as
// a transport would.
class fake_http_client final : public tarsion::http::http_base
{
public:
    struct sent
    {
        std::string verb;
        std::string url;
        tarsion::http::header_list headers;
        std::string body;
    };

    explicit fake_http_client(std::vector<tarsion::http_response> replies) : replies_(std::move(replies)) {}

    std::int32_t send(const std::string& verb, const std::string& url,
                      const tarsion::http::header_list& headers, body* request_body, bool, std::int64_t,
                      tarsion::http_response& response) override
    {
        sent record{verb, url, headers, {}};
        if (request_body != nullptr) {
            char buffer[64];
            std::uint64_t count = 0;
            while (request_body->read(buffer, sizeof buffer, count) && count > 0)
                record.body.append(buffer, count);
        }
        sends.push_back(std::move(record));
        if (next_ < replies_.size()) {
            response = replies_[next_++];
        } else {
            response.status = 599;
            response.body = "no reply left";
        }
        return 0;
    }

    std::vector<sent> sends;

private:
    std::vector<tarsion::http_response> replies_;
    std::size_t next_ = 0;
};

} // namespace fuzz
