#include "sdk/json/json_reader.h"

#include <array>
#include <cstring>

#include "sdk/json/unicode_escapes.h"

namespace tarsion {
namespace {

struct token
{
    const char* begin = nullptr;
    const char* end = nullptr;

    char first() const noexcept { return *begin; }
    bool closes() const noexcept { return *begin == ']' || *begin == '}'; }
};

bool is_number_byte(char c) noexcept
{
    return (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'E' || c == 'e';
}

bool starts_with(const char* p, const char* word, std::size_t length) noexcept
{
    // strncmp stops at the text's terminating zero, so it never reads past it.
    return std::strncmp(p, word, length) == 0;
}

// Finds the token at or after `p`; on success `p` moves past it. The text is
// zero-terminated.
bool next_token(const char*& p, token& out) noexcept
{
    const char* s = p;
    while (*s != 0 && static_cast<signed char>(*s) < 33)
        ++s;
    if (*s == 0)
        return false;

    const char* e = s + 1;
    switch (*s) {
    case '[': case '{': case '}': case ']': case ',': case ':':
        break;
    case '"':
        for (;; ++e) {
            if (*e == 0)
                return false;
            if (*e == '\\') {
                ++e;
                if (*e == 0)
                    return false;
                continue;
            }
            if (*e == '"')
                break;
        }
        ++e;
        break;
    default:
        if (starts_with(s, "true", 4) || starts_with(s, "null", 4))
            e = s + 4;
        else if (starts_with(s, "false", 5))
            e = s + 5;
        else if (is_number_byte(*s)) {
            while (is_number_byte(*e))
                ++e;
        }
        break;
    }
    out = {s, e};
    p = e;
    return true;
}

bool has_token_at(const char* p) noexcept
{
    token ignored;
    return next_token(p, ignored);
}

enum class expect { next = 0, key = 1, value = 2, colon = 3 };

class parser
{
public:
    explicit parser(json_node& root) : root_(root), container_(&root) {}

    // Runs the token loop from `p`; returns where it stopped, or null on error.
    const char* run(const char* p)
    {
        for (;;) {
            token t;
            if (!next_token(p, t))
                return nullptr;
            ++token_count_;
            switch (t.first()) {
            case '{':
                if (!open(true))
                    return nullptr;
                break;
            case '[':
                if (!open(false))
                    return nullptr;
                break;
            case ']':
            case '}':
                if (state_ == expect::colon)
                    return nullptr;
                close();
                if (container_ == nullptr)
                    return p;
                break;
            case ',':
                if (!comma(p))
                    return nullptr;
                break;
            case ':':
                if (state_ != expect::colon)
                    return nullptr;
                state_ = expect::value;
                break;
            default:
                if (first_token() && state_ == expect::next) {
                    // The whole text is one scalar.
                    assign_scalar(root_, t);
                    return has_token_at(p) ? nullptr : p;
                }
                if (!scalar(t))
                    return nullptr;
                break;
            }
        }
    }

private:
    bool first_token() const noexcept { return token_count_ == 1; }

    static void make_container(json_node& node, bool object) noexcept
    {
        node.is_object = object;
        node.is_array = !object;
        node.value.clear();
    }

    json_node& add_placeholder() { return container_->add_value({}, {}, true); }

    bool open(bool object)
    {
        if (state_ == expect::colon)
            return false;
        if (first_token()) {
            make_container(root_, object);
            // An object's first key creates its member (see scalar()); an
            // array gets its first element slot at once.
            child_ = object ? &root_ : &add_placeholder();
        } else {
            if (child_ == nullptr)
                return false;
            make_container(*child_, object);
            container_ = child_;
            child_ = &add_placeholder();
        }
        state_ = object ? expect::key : expect::value;
        return true;
    }

    void close() noexcept
    {
        json_node& closed = *container_;
        if (closed.value.empty() && (closed.is_array || closed.is_object)
            && closed.children.size() == 1) {
            const json_node& only = closed.children.front();
            // The slot made for a first element that never came: "[]" or "{}".
            if (only.key.empty() && only.value.empty() && only.children.empty()
                && !only.is_array && !only.is_object)
                closed.remove_last_child();
        }
        child_ = &closed;
        container_ = closed.parent;
        state_ = expect::next;
    }

    bool comma(const char* p)
    {
        if (state_ != expect::next || container_->children.empty())
            return false;
        state_ = container_->children.front().key.empty() ? expect::value : expect::key;
        token ahead;
        if (next_token(p, ahead) && ahead.closes()) {
            state_ = expect::next; // a trailing comma
            return true;
        }
        child_ = &add_placeholder();
        return true;
    }

    bool scalar(const token& t)
    {
        if (child_ == nullptr)
            return false;
        if (child_ == container_)
            child_ = &add_placeholder();
        switch (state_) {
        case expect::key:
            unescape_into(child_->key, content(t));
            state_ = expect::colon;
            return true;
        case expect::value:
            assign_scalar(*child_, t);
            state_ = expect::next;
            return true;
        default:
            return false;
        }
    }

    static bool is_quoted(const token& t) noexcept
    {
        return t.end - t.begin >= 2 && *t.begin == '"' && *(t.end - 1) == '"';
    }

    static std::string_view content(const token& t) noexcept
    {
        if (is_quoted(t))
            return {t.begin + 1, static_cast<std::size_t>(t.end - t.begin - 2)};
        return {t.begin, static_cast<std::size_t>(t.end - t.begin)};
    }

    static void assign_scalar(json_node& node, const token& t)
    {
        node.set_value({}, is_quoted(t));
        unescape_into(node.value, content(t));
    }

    json_node& root_;
    json_node* container_;
    json_node* child_ = nullptr;
    expect state_ = expect::next;
    std::size_t token_count_ = 0;
};

constexpr std::array<unsigned char, 256> make_lower_table()
{
    std::array<unsigned char, 256> table{};
    for (unsigned i = 0; i < 256; ++i)
        table[i] = static_cast<unsigned char>(i >= 'A' && i <= 'Z' ? i - 'A' + 'a' : i);
    return table;
}
constexpr std::array<unsigned char, 256> kLower = make_lower_table();

bool equals_ignoring_ascii_case(std::string_view a, std::string_view b) noexcept
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (kLower[static_cast<unsigned char>(a[i])] != kLower[static_cast<unsigned char>(b[i])])
            return false;
    }
    return true;
}

char unescaped(char c) noexcept
{
    switch (c) {
    case 'b': return '\b';
    case 'f': return '\f';
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    default: return c;
    }
}

} // namespace

bool parse_json(const std::string& text, json_node& root)
{
    std::string decoded;
    const char* start = decode_unicode_escapes(text, decoded) ? decoded.c_str() : text.c_str();
    root.parent = nullptr;
    parser p(root);
    const char* stop = p.run(start);
    return stop != nullptr && !has_token_at(stop);
}

void unescape_into(std::string& out, std::string_view span)
{
    const char* run = span.data();
    const char* const end = run + span.size();
    const void* first = std::memchr(run, '\\', span.size());
    if (first == nullptr) {
        out.assign(run, end);
        return;
    }
    out.clear();
    out.reserve(span.size());
    for (const char* p = static_cast<const char*>(first); p != end; ++p) {
        if (*p != '\\')
            continue;
        out.append(run, p);
        if (++p == end) {
            run = end;
            break;
        }
        out.push_back(unescaped(*p));
        run = p + 1;
    }
    out.append(run, end);
}

std::string unescape_text(std::string_view span)
{
    std::string out;
    unescape_into(out, span);
    return out;
}

const json_node* find_child(const json_node& node, std::string_view key, bool case_sensitive) noexcept
{
    for (const json_node& child : node.children) {
        if (case_sensitive ? child.key == key : equals_ignoring_ascii_case(child.key, key))
            return &child;
    }
    return nullptr;
}

bool parse_int64(std::string_view text, std::int64_t& out) noexcept
{
    if (text.empty())
        return false;
    const bool negative = text.front() == '-';
    if (negative)
        text.remove_prefix(1);
    if (text.empty())
        return false;
    // Accumulate towards the sign so that the most negative value is exact.
    std::int64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return false;
        const int digit = c - '0';
        if (__builtin_mul_overflow(value, 10, &value))
            return false;
        if (negative ? __builtin_sub_overflow(value, digit, &value)
                     : __builtin_add_overflow(value, digit, &value))
            return false;
    }
    out = value;
    return true;
}

} // namespace tarsion
