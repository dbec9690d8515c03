#include "sdk/json/json_reader.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <vector>

#include "sdk/json/detail/byte_words.h"
#include "sdk/json/detail/compiler.h"
#include "sdk/json/detail/unicode_escapes.h"

namespace tarsion {
namespace {

struct token
{
    const char* begin = nullptr;
    const char* end = nullptr;
    bool has_backslash = false; // the span holds a backslash: unescaping is needed

    char first() const noexcept { return *begin; }
};

bool is_number_byte(char c) noexcept
{
    return (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'E' || c == 'e';
}

// Compares byte by byte and stops at the first difference, so it never reads
// past the zero that ends the text.
template <std::size_t N>
bool starts_with(const char* p, const char (&word)[N]) noexcept
{
    for (std::size_t i = 0; i + 1 < N; ++i) {
        if (p[i] != word[i])
            return false;
    }
    return true;
}

const char* skip_space(const char* s) noexcept
{
    while (*s != 0 && static_cast<signed char>(*s) < 33)
        ++s;
    return s;
}

using detail::byte_words::kHighBits;
using detail::byte_words::kOnes;

constexpr std::uint64_t zero_bytes(std::uint64_t w) noexcept
{
    return (w - kOnes) & ~w & kHighBits;
}

// Where a string token's scan must stop: a double quote, a backslash or the
// zero that ends the text.
constexpr std::uint64_t string_stops(std::uint64_t w) noexcept
{
    return zero_bytes(w) | zero_bytes(w ^ (kOnes * '"')) | zero_bytes(w ^ (kOnes * '\\'));
}

// Skips the bytes of a string token that cannot end it, a word at a time
// while a whole word lies before `end` (where the text's zero terminator
// sits). Returns the first byte that may stop the scan.
QUORVEL_ALWAYS_INLINE const char* skip_string_bytes(const char* e, const char* const end) noexcept
{
    while (end - e >= 8) {
        const std::uint64_t stops = string_stops(detail::byte_words::load(e));
        if (stops != 0)
            return e + detail::byte_words::clean_prefix(stops);
        e += 8;
    }
    return e;
}

// Finds the token at or after `p`; on success `p` moves past it. The text is
// zero-terminated at `end` (and may hold an earlier zero, which ends it too).
// Inlined into the parser's loop, which calls it once per token.
QUORVEL_ALWAYS_INLINE bool next_token(const char*& p, const char* const end, token& out) noexcept
{
    const char* const s = skip_space(p);
    if (*s == 0)
        return false;

    const char* e = s + 1;
    bool has_backslash = false;
    switch (*s) {
    case '[':
    case '{':
    case '}':
    case ']':
    case ',':
    case ':': break;
    case '"':
        for (;;) {
            e = skip_string_bytes(e, end);
            const char c = *e;
            if (c == '"')
                break;
            if (c == 0)
                return false;
            if (c == '\\') {
                has_backslash = true;
                ++e;
                if (*e == 0)
                    return false;
            }
            ++e;
        }
        ++e;
        break;
    default:
        if (starts_with(s, "true") || starts_with(s, "null"))
            e = s + 4;
        else if (starts_with(s, "false"))
            e = s + 5;
        else if (is_number_byte(*s)) {
            while (is_number_byte(*e))
                ++e;
        } else {
            has_backslash = *s == '\\';
        }
        break;
    }
    out = {s, e, has_backslash};
    p = e;
    return true;
}

bool has_token_at(const char* p, const char* end) noexcept
{
    token ignored;
    return next_token(p, end, ignored);
}

// Whether the next token is a closing bracket. Only its first byte decides,
// so there is no need to find where it ends.
bool closing_token_at(const char* p) noexcept
{
    const char c = *skip_space(p);
    return c == ']' || c == '}';
}

enum class expect
{
    next = 0,
    key = 1,
    value = 2,
    colon = 3
};

// The members of every open container are collected on one scratch list and
// moved into their container, with one exact allocation, when it closes: no
// child list grows element by element or keeps unused capacity, except the
// root's, which takes the scratch list itself rather than a copy of it. The
// parser keeps its own stack of open containers instead of climbing through
// `parent`, and sets the `parent` of every member as it moves it into place.
//
// The current child is always either the root or the last node of the
// scratch list, and the current container is the top of the stack. The tree
// comes out as if every node had been appended to its container at once,
// including the placeholder slots and their removal on close; after a syntax
// error the open containers get the members read so far, as they would have.
class parser
{
public:
    // With `on_element`, each element of an array root is handed over as soon
    // as the comma or bracket after it is read, and then dropped.
    parser(json_node& root, const char* end, const element_handler* on_element = nullptr)
        : root_(root)
        , end_(end)
        , on_element_(on_element)
    {
        scratch_.reserve(64);
        frames_.push_back({kRoot, 0});
        take_existing_children(root_);
    }

    // Runs the token loop from `p`; returns where it stopped, or null on error.
    const char* run(const char* p)
    {
        const char* const stop = loop(p);
        if (stop == nullptr)
            abandon();
        return stop;
    }

private:
    static constexpr std::size_t kRoot = static_cast<std::size_t>(-1);

    struct frame
    {
        std::size_t holder; // index of the container on the scratch list, or kRoot
        std::size_t first; // index of its first member on the scratch list
    };

    enum class child_at
    {
        none,
        root,
        last
    };

    const char* loop(const char* p)
    {
        for (;;) {
            token t;
            if (!next_token(p, end_, t))
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
                if (close())
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
                    // The whole text is one scalar; setting it destroys
                    // whatever the root held.
                    frames_.clear();
                    scratch_.clear();
                    assign_scalar(root_, t);
                    return has_token_at(p, end_) ? nullptr : p;
                }
                if (!scalar(t))
                    return nullptr;
                break;
            }
        }
    }

    bool first_token() const noexcept { return token_count_ == 1; }

    json_node& holder(const frame& f) noexcept { return f.holder == kRoot ? root_ : scratch_[f.holder]; }

    std::size_t member_count() const noexcept { return scratch_.size() - frames_.back().first; }

    static void make_container(json_node& node, bool object) noexcept
    {
        node.is_object = object;
        node.is_array = !object;
        node.value.clear();
    }

    void add_placeholder()
    {
        scratch_.emplace_back();
        child_ = child_at::last;
    }

    // A container that is opened again keeps its members and gets more.
    void take_existing_children(json_node& node)
    {
        if (node.children.empty())
            return;
        // Out of `node` first: growing the list may relocate `node` itself.
        json_node_list existing = std::move(node.children);
        scratch_.take_tail(existing, 0);
    }

    // Moves the members of the innermost open container into it.
    void settle_top()
    {
        const frame f = frames_.back();
        frames_.pop_back();
        json_node& container = holder(f);
        const std::size_t count = scratch_.size() - f.first;
        if (count == 0)
            return;
        json_node_list& children = container.children;
        if (f.first == 0 && children.empty()) {
            // The root's members are the whole list: hand the list over
            // instead of relocating each member.
            children = std::move(scratch_);
            for (json_node& member : children)
                member.parent = &container;
            return;
        }
        const std::size_t before = children.size();
        children.take_tail(scratch_, f.first);
        for (std::size_t i = before; i < children.size(); ++i)
            children[i].parent = &container;
    }

    void abandon()
    {
        while (!frames_.empty())
            settle_top();
    }

    bool open(bool object)
    {
        if (state_ == expect::colon)
            return false;
        if (first_token()) {
            make_container(root_, object);
            // An object's first key creates its member (see scalar()); an
            // array gets its first element slot at once.
            if (object)
                child_ = child_at::root;
            else
                add_placeholder();
        } else if (child_ == child_at::none) {
            return false;
        } else if (child_ == child_at::root) {
            // Only an object root that has no member yet is its own current
            // child, and it is already the open container.
            make_container(root_, object);
            add_placeholder();
        } else {
            const std::size_t index = scratch_.size() - 1;
            make_container(scratch_[index], object);
            frames_.push_back({index, index + 1});
            take_existing_children(scratch_[index]);
            add_placeholder();
        }
        state_ = object ? expect::key : expect::value;
        return true;
    }

    // Returns true when the root was closed.
    bool close()
    {
        const frame& f = frames_.back();
        const json_node& closing = holder(f);
        // A root whose elements have been handed over is not down to its
        // first slot, whatever is left on the list.
        const bool first_slot_only = member_count() == 1 && !(f.holder == kRoot && streamed_any_);
        if (closing.value.empty() && (closing.is_array || closing.is_object) && first_slot_only) {
            const json_node& only = scratch_.back();
            // The slot made for a first element that never came: "[]" or "{}".
            if (only.key.empty() && only.value.empty() && only.children.empty() && !only.is_array
                && !only.is_object)
                scratch_.pop_back();
        }
        const bool root_closed = f.holder == kRoot;
        settle_top();
        child_ = root_closed ? child_at::root : child_at::last;
        state_ = expect::next;
        if (root_closed && streaming()) {
            for (json_node& element : root_.children)
                (*on_element_)(element);
            root_.children.clear();
        }
        return root_closed;
    }

    bool streaming() const noexcept { return on_element_ != nullptr && root_.is_array; }

    bool comma(const char* p)
    {
        if (state_ != expect::next || member_count() == 0)
            return false;
        // After streaming, the first member on the list is the latest element
        // rather than the first; an array's members never have keys, so the
        // answer is the same.
        state_ = scratch_[frames_.back().first].key.empty() ? expect::value : expect::key;
        if (closing_token_at(p)) {
            // A trailing comma. The element before it is handed over when the
            // root closes: if it is the first and looks like an unfilled slot,
            // closing drops it, as it would without streaming.
            state_ = expect::next;
            return true;
        }
        if (streaming() && frames_.size() == 1) {
            streamed_any_ = true;
            // The only member left on the list is the element just finished.
            (*on_element_)(scratch_.back());
            scratch_.pop_back();
        }
        add_placeholder();
        return true;
    }

    bool scalar(const token& t)
    {
        if (child_ == child_at::none)
            return false;
        if (child_ == child_at::root)
            add_placeholder();
        json_node& child = scratch_.back();
        switch (state_) {
        case expect::key:
            assign_text(child.key, content(t), t.has_backslash);
            state_ = expect::colon;
            return true;
        case expect::value:
            assign_scalar(child, t);
            state_ = expect::next;
            return true;
        default: return false;
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

    template <class Text>
    static void assign_text(Text& out, std::string_view span, bool has_backslash)
    {
        if (has_backslash) {
            unescape_into(out, span);
            return;
        }
        out.assign(span);
    }

    static void assign_scalar(json_node& node, const token& t)
    {
        const bool quoted = is_quoted(t);
        if (node.children.empty()) {
            // What set_value does, minus destroying children there are none of.
            node.quoted = quoted;
            node.is_array = false;
            node.is_object = false;
        } else {
            node.set_value({}, quoted);
        }
        assign_text(node.value, content(t), t.has_backslash);
    }

    json_node& root_;
    const char* const end_;
    const element_handler* const on_element_;
    bool streamed_any_ = false;
    json_node_list scratch_;
    std::vector<frame> frames_;
    child_at child_ = child_at::none;
    expect state_ = expect::next;
    std::size_t token_count_ = 0;
};

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

// Writes the unescaped span to `buffer`, which has room for the span's
// size (unescaping never lengthens it); returns the bytes written.
std::size_t unescape_to(char* buffer, std::string_view span) noexcept
{
    const char* run = span.data();
    const char* const end = run + span.size();
    char* out_end = buffer;
    while (run != end) {
        const void* hit = std::memchr(run, '\\', static_cast<std::size_t>(end - run));
        const char* const slash = hit != nullptr ? static_cast<const char*>(hit) : end;
        std::memcpy(out_end, run, static_cast<std::size_t>(slash - run));
        out_end += slash - run;
        if (slash == end || slash + 1 == end)
            break; // a backslash at the very end is dropped
        *out_end++ = unescaped(slash[1]);
        run = slash + 2;
    }
    return static_cast<std::size_t>(out_end - buffer);
}

} // namespace

namespace {

bool parse(const std::string& text, json_node& root, const element_handler* on_element)
{
    std::string decoded;
    const std::string& source = detail::decode_unicode_escapes(text, decoded) ? decoded : text;
    const char* const end = source.data() + source.size();
    root.parent = nullptr;
    parser p(root, end, on_element);
    const char* stop = p.run(source.c_str());
    return stop != nullptr && !has_token_at(stop, end);
}

} // namespace

bool parse_json(const std::string& text, json_node& root)
{
    return parse(text, root, nullptr);
}

bool parse_json_elements(const std::string& text, json_node& root, const element_handler& on_element)
{
    return parse(text, root, &on_element);
}

void unescape_into(std::string& out, std::string_view span)
{
    // Unescaping never lengthens the text, so its size is a bound. The span
    // may view `out` itself, so the result is built apart when it might.
    const auto unescape = [span](char* buffer, std::size_t) noexcept { return unescape_to(buffer, span); };
    const std::less<const char*> before;
    if (!before(span.data(), out.data()) && !before(out.data() + out.size(), span.data())) {
        std::string result;
        result.resize_and_overwrite(span.size(), unescape);
        out = std::move(result);
        return;
    }
    out.resize_and_overwrite(span.size(), unescape);
}

template <std::size_t Bytes>
void unescape_into(basic_json_text<Bytes>& out, std::string_view span)
{
    // assign_with never hands out a buffer that holds the old text.
    out.assign_with(span.size(), [span](char* buffer) noexcept { return unescape_to(buffer, span); });
}

template void unescape_into(json_text& out, std::string_view span);
template void unescape_into(json_value_text& out, std::string_view span);

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

void find_children(const json_node& node, std::span<const std::string_view> keys,
                   std::span<const json_node*> found) noexcept
{
    std::fill(found.begin(), found.end(), nullptr);
    std::size_t missing = keys.size();
    std::size_t next = 0; // the key after the one matched last
    for (const json_node& child : node.children) {
        if (missing == 0)
            break;
        std::size_t match = keys.size();
        if (next < keys.size() && found[next] == nullptr
            && equals_ignoring_ascii_case(child.key, keys[next])) {
            match = next;
        } else {
            for (std::size_t k = 0; k < keys.size(); ++k) {
                if (found[k] == nullptr && equals_ignoring_ascii_case(child.key, keys[k])) {
                    match = k;
                    break;
                }
            }
        }
        if (match == keys.size())
            continue;
        found[match] = &child;
        next = match + 1;
        --missing;
    }
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
        if (detail::compiler::mul_overflow<std::int64_t>(value, 10, value))
            return false;
        if (negative ? detail::compiler::sub_overflow<std::int64_t>(value, digit, value)
                     : detail::compiler::add_overflow<std::int64_t>(value, digit, value))
            return false;
    }
    out = value;
    return true;
}

} // namespace tarsion
