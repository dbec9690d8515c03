#include "sdk/core/string_body.h"

#include <algorithm>
#include <cstring>

namespace tarsion::http {

string_body::string_body(std::shared_ptr<const std::string> text) : text_(std::move(text)) {}

bool string_body::size(std::uint64_t& length) const
{
    length = text_ ? text_->size() : 0;
    return true;
}

bool string_body::read(char* buffer, std::uint64_t capacity, std::uint64_t& count)
{
    count = 0;
    if (capacity == 0 || !text_ || position_ >= text_->size())
        return true;
    if (buffer == nullptr)
        return false;
    const std::uint64_t n = std::min<std::uint64_t>(text_->size() - position_, capacity);
    std::memcpy(buffer, text_->data() + position_, n);
    position_ += n;
    count = n;
    return true;
}

string_body::factory::factory(std::string text) : text_(std::make_shared<const std::string>(std::move(text)))
{
}

string_body::factory::factory(std::shared_ptr<const std::string> text) : text_(std::move(text)) {}

std::unique_ptr<http_base::body> string_body::factory::create_body() const
{
    return std::make_unique<string_body>(text_);
}

void string_body::factory::log_body(logger& log, std::uint32_t level, const std::string& tag) const
{
    log.write(level, tag, text_ ? *text_ : std::string());
}

} // namespace tarsion::http
