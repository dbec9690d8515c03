#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iosfwd>
#include <string>
#include <string_view>

namespace tarsion {

namespace detail {
// Room for `n` bytes and a terminator, from malloc; std::length_error past
// 4 GiB, std::bad_alloc when there is no memory.
char* allocate_text(std::size_t n);
std::ostream& print_text(std::ostream& out, std::string_view text);
} // namespace detail

// The bytes of a key or scalar: an owned, zero-terminated byte string of
// `Bytes` bytes (16 or 24), where the standard string takes 32. Up to
// Bytes - 1 bytes are kept inline; longer texts are one exact heap block.
// Nothing points into the object itself, so moving it is a plain copy: a
// child list relocates its nodes as memory, without fixing up the texts.
//
// Texts change only through the assigning members; there is no growth, so
// no spare capacity. Longer than 4 GiB is refused (std::length_error).
template <std::size_t Bytes>
class alignas(8) basic_json_text
{
    static_assert(Bytes >= 16 && Bytes % 8 == 0 && Bytes <= 128);

public:
    static constexpr std::size_t kInlineCapacity = Bytes - 1;

    basic_json_text() noexcept { set_inline_size(0); }
    basic_json_text(std::string_view text) { init(text); }
    basic_json_text(const char* text) { init(text); }
    basic_json_text(const basic_json_text& other) { init(other.view()); }
    basic_json_text(basic_json_text&& other) noexcept
    {
        std::memcpy(bytes_, other.bytes_, sizeof bytes_);
        other.set_inline_size(0);
    }
    basic_json_text& operator=(const basic_json_text& other)
    {
        assign(other.view());
        return *this;
    }
    basic_json_text& operator=(basic_json_text&& other) noexcept
    {
        if (this != &other) {
            release();
            std::memcpy(bytes_, other.bytes_, sizeof bytes_);
            other.set_inline_size(0);
        }
        return *this;
    }
    basic_json_text& operator=(std::string_view text)
    {
        assign(text);
        return *this;
    }
    basic_json_text& operator=(const char* text)
    {
        assign(text);
        return *this;
    }
    ~basic_json_text() { release(); }

    std::size_t size() const noexcept { return is_heap() ? heap_size() : kInlineCapacity - bytes_[kTag]; }
    bool empty() const noexcept { return size() == 0; }
    const char* data() const noexcept
    {
        return is_heap() ? heap_data() : reinterpret_cast<const char*>(bytes_);
    }
    const char* c_str() const noexcept { return data(); }
    const char* begin() const noexcept { return data(); }
    const char* end() const noexcept { return data() + size(); }
    char operator[](std::size_t i) const noexcept { return data()[i]; }

    std::string_view view() const noexcept { return {data(), size()}; }
    operator std::string_view() const noexcept { return view(); }
    std::string str() const { return std::string(view()); }

    // The source may view this text itself.
    void assign(std::string_view text)
    {
        assign_with(text.size(), [text](char* buffer) noexcept {
            if (!text.empty()) // an empty view may hold no pointer at all
                std::memcpy(buffer, text.data(), text.size());
            return text.size();
        });
    }
    void clear() noexcept
    {
        release();
        set_inline_size(0);
    }

    // Makes the text at most `max_size` bytes long and lets `fill` write them
    // into a buffer of that many (plus the terminator): `fill(char*)` returns
    // how many it wrote. Cheaper than assigning from a copy when the bytes
    // are produced on the way, as unescaping does. The buffer never views
    // the old content.
    template <class Fill>
    void assign_with(std::size_t max_size, Fill fill)
    {
        if (max_size <= kInlineCapacity) {
            char buffer[kInlineCapacity + 1];
            const std::size_t n = fill(buffer);
            release();
            std::memcpy(bytes_, buffer, n);
            set_inline_size(n);
            return;
        }
        char* block = detail::allocate_text(max_size);
        const std::size_t n = fill(block);
        release();
        if (n <= kInlineCapacity) {
            std::memcpy(bytes_, block, n);
            set_inline_size(n);
            std::free(block);
            return;
        }
        block[n] = 0;
        set_heap(block, n);
    }

    friend bool operator==(const basic_json_text& a, const basic_json_text& b) noexcept
    {
        return a.view() == b.view();
    }
    friend bool operator==(const basic_json_text& a, std::string_view b) noexcept { return a.view() == b; }
    friend bool operator==(const basic_json_text& a, const char* b) noexcept { return a.view() == b; }
    friend bool operator==(const basic_json_text& a, const std::string& b) noexcept { return a.view() == b; }

    // For test failures and logs; the SDK itself prints nothing.
    friend std::ostream& operator<<(std::ostream& out, const basic_json_text& text)
    {
        return detail::print_text(out, text.view());
    }

private:
    static constexpr std::size_t kTag = Bytes - 1;
    static constexpr unsigned char kHeapTag = 0x80;

    bool is_heap() const noexcept { return bytes_[kTag] == kHeapTag; }
    const char* heap_data() const noexcept
    {
        char* p;
        std::memcpy(&p, bytes_, sizeof p);
        return p;
    }
    std::size_t heap_size() const noexcept
    {
        std::uint32_t n;
        std::memcpy(&n, bytes_ + sizeof(char*), sizeof n);
        return n;
    }
    // An inline text is ended by a zero; at full length the tag is that zero.
    void set_inline_size(std::size_t n) noexcept
    {
        bytes_[n] = 0;
        bytes_[kTag] = static_cast<unsigned char>(kInlineCapacity - n);
    }
    void set_heap(char* block, std::size_t n) noexcept
    {
        const auto size = static_cast<std::uint32_t>(n);
        std::memcpy(bytes_, &block, sizeof block);
        std::memcpy(bytes_ + sizeof(char*), &size, sizeof size);
        bytes_[kTag] = kHeapTag;
    }
    void release() noexcept
    {
        if (is_heap())
            std::free(const_cast<char*>(heap_data()));
    }
    void init(std::string_view text)
    {
        set_inline_size(0);
        assign(text);
    }
    unsigned char bytes_[Bytes];
};

// Keys are nearly always short names; a 16-byte text holds up to 15 inline.
using json_text = basic_json_text<16>;
// Scalars are longer: a 24-byte text holds up to 23 inline, which takes every
// 64-bit integer, every double printed in full and most short words.
using json_value_text = basic_json_text<24>;

static_assert(sizeof(json_text) == 16 && sizeof(json_value_text) == 24);

} // namespace tarsion
