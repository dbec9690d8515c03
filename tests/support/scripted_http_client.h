#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "sdk/core/http_base.h"

namespace tarsion::testing {

// One send as the client saw it; the body is read through the body object the
// pipeline handed over, exactly as a transport would read it.
struct recorded_send
{
    std::string verb;
    std::string url;
    http::header_list headers;
    std::string body;
    bool disable_redirects = false;
    std::int64_t transport_option = 0;
};

// One scripted answer: a reply, or a transport failure when `transport` is
// not 0.
struct scripted_reply
{
    std::uint32_t status = 200;
    std::string body;
    http::header_list headers;
    std::int32_t transport = 0;
};

// An HTTP client that records every send and answers from a script, in
// order, or from a responder that computes each answer from the send. When
// the script runs out it answers 599 so that a test never hangs on a missing
// line. Thread-safe.
class scripted_http_client : public http::http_base
{
public:
    scripted_http_client() = default;
    explicit scripted_http_client(std::vector<scripted_reply> script) : script_(script.begin(), script.end())
    {
    }

    using responder = std::function<scripted_reply(const recorded_send&)>;
    explicit scripted_http_client(responder answer) : responder_(std::move(answer)) {}

    void push(scripted_reply reply)
    {
        std::lock_guard guard(lock_);
        script_.push_back(std::move(reply));
    }

    std::vector<recorded_send> sends() const
    {
        std::lock_guard guard(lock_);
        return sends_;
    }

    std::int32_t send(const std::string& verb, const std::string& url, const http::header_list& headers,
                      body* request_body, bool disable_redirects, std::int64_t transport_option,
                      http_response& response) override
    {
        recorded_send sent{
            verb, url, headers, {}, disable_redirects, transport_option};
        if (request_body != nullptr) {
            char buffer[7]; // small on purpose: bodies must survive many reads
            std::uint64_t count = 0;
            while (request_body->read(buffer, sizeof buffer, count) && count > 0)
                sent.body.append(buffer, count);
        }
        std::unique_lock guard(lock_);
        sends_.push_back(sent);
        scripted_reply reply{599, "script exhausted", {}, 0};
        if (responder_) {
            guard.unlock();
            reply = responder_(sent);
        } else if (!script_.empty()) {
            reply = std::move(script_.front());
            script_.pop_front();
        }
        if (reply.transport != 0)
            return reply.transport;
        response.status = reply.status;
        response.body = std::move(reply.body);
        response.headers = std::move(reply.headers);
        return 0;
    }

private:
    mutable std::mutex lock_;
    std::deque<scripted_reply> script_;
    responder responder_;
    std::vector<recorded_send> sends_;
};

// "Name: value; Name: value", in the order sent.
inline std::string joined(const http::header_list& headers)
{
    std::string out;
    for (const auto& [name, value] : headers)
        out += (out.empty() ? "" : "; ") + name + ": " + value;
    return out;
}

} // namespace tarsion::testing
