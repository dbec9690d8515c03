#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarsion::http {

using header = std::pair<std::string, std::string>;

// Request or reply headers in order. Names are compared byte for byte; a name
// may occur any number of times.
class header_list
{
public:
    using const_iterator = std::vector<header>::const_iterator;

    header_list() = default;
    header_list(std::initializer_list<header> headers) : headers_(headers) {}

    void reserve(std::size_t count) { headers_.reserve(count); }
    // Always at the end, even when the name is already there.
    void append(std::string name, std::string value);
    // Removes every pair with exactly this name, keeping the others in order.
    void remove_all(std::string_view name);
    // The first pair with exactly this name, or null.
    const header* find(std::string_view name) const noexcept;

    std::size_t size() const noexcept { return headers_.size(); }
    bool empty() const noexcept { return headers_.empty(); }
    const header& operator[](std::size_t i) const noexcept { return headers_[i]; }
    const_iterator begin() const noexcept { return headers_.begin(); }
    const_iterator end() const noexcept { return headers_.end(); }

    friend bool operator==(const header_list&, const header_list&) = default;

private:
    std::vector<header> headers_;
};

} // namespace tarsion::http
