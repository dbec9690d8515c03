#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sdk/core/http_base.h"

namespace tarsion::http {

// A body over text already in memory, shared by every body its factory makes.
class string_body final : public http_base::body
{
public:
    class factory final : public http_base::body_factory
    {
    public:
        explicit factory(std::string text);
        explicit factory(std::shared_ptr<const std::string> text);

        std::unique_ptr<http_base::body> create_body() const override;
        void log_body(logger& log, std::uint32_t level, const std::string& tag) const override;

    private:
        std::shared_ptr<const std::string> text_;
    };

    explicit string_body(std::shared_ptr<const std::string> text);

    bool size(std::uint64_t& length) const override;
    bool read(char* buffer, std::uint64_t capacity, std::uint64_t& count) override;

private:
    std::shared_ptr<const std::string> text_;
    std::uint64_t position_ = 0;
};

} // namespace tarsion::http
