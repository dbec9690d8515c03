#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "sdk/core/error.h"
#include "sdk/core/logger.h"
#include "sdk/core/standard_retry_policy.h"
#include "sdk/core/tenant.h"
#include "sdk/core/token_factory.h"

namespace tarsion::testing {

// Hands out one token and answers every renewal from a fixed answer. Calls
// may come from several threads: nothing changes after construction.
class fake_token_factory : public token_factory
{
public:
    explicit fake_token_factory(std::string token, expected<std::string> renewal = std::string())
        : token_(std::move(token))
        , renewal_(std::move(renewal))
    {
    }

    std::string get_token() override { return token_; }
    expected<std::string> refresh_token(const std::string&) override { return renewal_; }

private:
    const std::string token_;
    const expected<std::string> renewal_;
};

struct log_line
{
    std::uint32_t level = 0;
    std::string tag;
    std::string text;
};

class recording_logger : public logger
{
public:
    void write(std::uint32_t level, const std::string& tag, const std::string& text) override
    {
        std::lock_guard guard(lock_);
        lines_.push_back({level, tag, text});
    }

    std::vector<log_line> lines() const
    {
        std::lock_guard guard(lock_);
        return lines_;
    }

private:
    mutable std::mutex lock_;
    std::vector<log_line> lines_;
};

// A tenant's settings with the retry policy the plug-in gives every tenant.
inline tenant_base system_settings(std::shared_ptr<http::http_base> client,
                                   std::string base_url = "http://127.0.0.1:1/",
                                   std::string business_id = "b1")
{
    tenant_base settings;
    settings.base_url = std::move(base_url);
    settings.http_client = std::move(client);
    settings.business_id = std::move(business_id);
    use_standard_retry_policy(settings);
    return settings;
}

} // namespace tarsion::testing
