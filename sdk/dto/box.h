#pragma once

#include <memory>
#include <utility>

namespace tarsion {

// An owning box holding zero or one value, copied deeply. A nested record
// field is present exactly when its box is not empty.
template <class T>
class box
{
public:
    box() = default;
    box(const T& value) : value_(std::make_unique<T>(value)) {}
    box(T&& value) : value_(std::make_unique<T>(std::move(value))) {}
    box(const box& other) : value_(other.value_ ? std::make_unique<T>(*other.value_) : nullptr) {}
    box(box&&) noexcept = default;
    box& operator=(const box& other)
    {
        if (this != &other)
            value_ = other.value_ ? std::make_unique<T>(*other.value_) : nullptr;
        return *this;
    }
    box& operator=(box&&) noexcept = default;
    ~box() = default;

    bool has_value() const noexcept { return value_ != nullptr; }
    explicit operator bool() const noexcept { return has_value(); }

    // Replaces the content with a default value and returns it.
    T& emplace()
    {
        value_ = std::make_unique<T>();
        return *value_;
    }
    void reset() noexcept { value_.reset(); }

    T& operator*() noexcept { return *value_; }
    const T& operator*() const noexcept { return *value_; }
    T* operator->() noexcept { return value_.get(); }
    const T* operator->() const noexcept { return value_.get(); }

private:
    std::unique_ptr<T> value_;
};

} // namespace tarsion
