#include "json_reference.h"

#include <cstring>
#include <utility>
#include <vector>

#include "sdk/json/unicode_escapes.h"

namespace json_test::reference {

using tarsion::json_node;

char escape_of(unsigned char byte)
{
    switch (byte) {
    case 0x08: return 'b';
    case 0x09: return 't';
    case 0x0A: return 'n';
    case 0x0C: return 'f';
    case 0x0D: return 'r';
    case 0x22: return '"';
    case 0x2F: return '/';
    case 0x5C: return '\\';
    default: return 0;
    }
}

std::string escape(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        if (const char e = escape_of(static_cast<unsigned char>(c))) {
            out += '\\';
            out += e;
        } else {
            out += c;
        }
    }
    return out;
}

std::string unescape(std::string_view span)
{
    std::string out;
    for (std::size_t i = 0; i < span.size(); ++i) {
        if (span[i] != '\\') {
            out += span[i];
            continue;
        }
        if (++i == span.size())
            break;
        switch (span[i]) {
        case 'b': out += '\b'; break;
        case 'f': out += '\f'; break;
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 't': out += '\t'; break;
        default: out += span[i]; break;
        }
    }
    return out;
}

void write_node(const json_node& node, std::string& out, std::size_t indent, bool pretty)
{
    if (!node.key.empty()) {
        out += '"';
        out += escape(node.key);
        out += "\":";
        if (pretty)
            out += ' ';
    }
    if (node.children.empty()) {
        if (node.value.empty() && node.is_array)
            out += "[]";
        else if (node.value.empty() && node.is_object)
            out += "{}";
        else if (!node.quoted)
            out += node.value;
        else
            out += '"' + escape(node.value) + '"';
        return;
    }
    const bool array = node.value.empty() && node.is_array;
    out += array ? '[' : '{';
    if (pretty)
        out += '\n';
    for (std::size_t i = 0; i < node.children.size(); ++i) {
        if (pretty)
            out.append(indent + 4, ' ');
        write_node(node.children[i], out, indent + 4, pretty);
        if (i + 1 < node.children.size()) {
            out += ',';
            if (pretty)
                out += '\n';
        }
    }
    if (pretty) {
        out += '\n';
        out.append(indent, ' ');
    }
    out += array ? ']' : '}';
}

std::string write(const json_node& root, bool pretty)
{
    if (root.children.empty() && root.key.empty() && root.value.empty())
        return root.is_array ? "[]" : root.is_object ? "{}" : "\"\"";
    std::string out;
    write_node(root, out, 0, pretty);
    return out;
}

namespace {

struct token
{
    const char* begin = nullptr;
    const char* end = nullptr;
};

bool is_number_byte(char c)
{
    return (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'E' || c == 'e';
}

bool next_token(const char*& p, token& out)
{
    const char* s = p;
    while (*s != 0 && static_cast<signed char>(*s) < 33)
        ++s;
    if (*s == 0)
        return false;
    const char* e = s + 1;
    if (std::strchr("[{}],:", *s) != nullptr) {
        // one byte
    } else if (*s == '"') {
        for (;; ++e) {
            if (*e == 0)
                return false;
            if (*e == '\\') {
                if (*++e == 0)
                    return false;
                continue;
            }
            if (*e == '"')
                break;
        }
        ++e;
    } else if (std::strncmp(s, "true", 4) == 0 || std::strncmp(s, "null", 4) == 0) {
        e = s + 4;
    } else if (std::strncmp(s, "false", 5) == 0) {
        e = s + 5;
    } else if (is_number_byte(*s)) {
        while (is_number_byte(*e))
            ++e;
    }
    out = {s, e};
    p = e;
    return true;
}

bool quoted(const token& t)
{
    return t.end - t.begin >= 2 && *t.begin == '"' && *(t.end - 1) == '"';
}

std::string content(const token& t)
{
    return quoted(t) ? unescape({t.begin + 1, static_cast<std::size_t>(t.end - t.begin - 2)})
                     : unescape({t.begin, static_cast<std::size_t>(t.end - t.begin)});
}

enum class expect
{
    next,
    key,
    value,
    colon
};

// Returns where the parser stopped, or null on an error.
const char* run(const char* p, json_node& root)
{
    json_node* container = &root;
    json_node* child = nullptr;
    expect state = expect::next;
    std::size_t count = 0;
    const auto make_container = [](json_node& node, bool object) {
        node.is_object = object;
        node.is_array = !object;
        node.value.clear();
    };
    for (;;) {
        token t;
        if (!next_token(p, t))
            return nullptr;
        ++count;
        const char c = *t.begin;
        if (c == '{' || c == '[') {
            const bool object = c == '{';
            if (state == expect::colon)
                return nullptr;
            if (count == 1) {
                make_container(root, object);
                child = object ? &root : &root.add_value("", "", true);
            } else {
                if (child == nullptr)
                    return nullptr;
                make_container(*child, object);
                container = child;
                child = &container->add_value("", "", true);
            }
            state = object ? expect::key : expect::value;
        } else if (c == ']' || c == '}') {
            if (state == expect::colon)
                return nullptr;
            json_node& closed = *container;
            if (closed.value.empty() && (closed.is_array || closed.is_object)
                && closed.children.size() == 1) {
                const json_node& only = closed.children[0];
                if (only.key.empty() && only.value.empty() && only.children.empty() && !only.is_array
                    && !only.is_object)
                    closed.children.pop_back();
            }
            child = &closed;
            container = closed.parent;
            state = expect::next;
            if (container == nullptr)
                return p;
        } else if (c == ',') {
            if (state != expect::next || container->children.empty())
                return nullptr;
            state = container->children[0].key.empty() ? expect::value : expect::key;
            const char* ahead_at = p;
            token ahead;
            if (next_token(ahead_at, ahead) && (*ahead.begin == ']' || *ahead.begin == '}'))
                state = expect::next;
            else
                child = &container->add_value("", "", true);
        } else if (c == ':') {
            if (state != expect::colon)
                return nullptr;
            state = expect::value;
        } else {
            if (count == 1 && state == expect::next) {
                root.set_value(content(t), quoted(t));
                const char* rest = p;
                token more;
                return next_token(rest, more) ? nullptr : p;
            }
            if (child == nullptr)
                return nullptr;
            if (child == container)
                child = &container->add_value("", "", true);
            if (state == expect::key) {
                child->key = content(t);
                state = expect::colon;
            } else if (state == expect::value) {
                child->set_value(content(t), quoted(t));
                state = expect::next;
            } else {
                return nullptr;
            }
        }
    }
}

} // namespace

bool parse(const std::string& text, json_node& root)
{
    std::string decoded;
    const char* start = tarsion::decode_unicode_escapes(text, decoded) ? decoded.c_str() : text.c_str();
    root.parent = nullptr;
    const char* stop = run(start, root);
    token more;
    return stop != nullptr && !next_token(stop, more);
}

} // namespace json_test::reference

namespace json_test {

using tarsion::json_node;

testing::AssertionResult same_tree(const json_node& expected, const json_node& actual)
{
    std::vector<std::pair<const json_node*, const json_node*>> pending{{&expected, &actual}};
    while (!pending.empty()) {
        const auto [e, a] = pending.back();
        pending.pop_back();
        if (e->key != a->key || e->value != a->value || e->quoted != a->quoted || e->is_array != a->is_array
            || e->is_object != a->is_object || e->children.size() != a->children.size())
            return testing::AssertionFailure()
                   << "node differs: expected key \"" << e->key << "\" value \"" << e->value << "\" quoted "
                   << e->quoted << " array " << e->is_array << " object " << e->is_object << " children "
                   << e->children.size() << "; got key \"" << a->key << "\" value \"" << a->value
                   << "\" quoted " << a->quoted << " array " << a->is_array << " object " << a->is_object
                   << " children " << a->children.size();
        for (std::size_t i = 0; i < e->children.size(); ++i)
            pending.emplace_back(&e->children[i], &a->children[i]);
    }
    return testing::AssertionSuccess();
}

std::string random_json::text(std::size_t max_length)
{
    static constexpr char kEscaped[] = "\b\t\n\f\r\"/\\";
    static constexpr char kPlain[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 -_.:,;{}[]@#";
    // Mostly short text, sometimes up to the maximum.
    const std::size_t length =
        one_in(4) ? below(max_length + 1) : below(std::min<std::size_t>(max_length, 24) + 1);
    std::string out;
    out.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        const std::size_t kind = below(20);
        if (kind < 13)
            out += kPlain[below(sizeof kPlain - 1)];
        else if (kind < 16)
            out += kEscaped[below(8)];
        else if (kind < 18)
            out += static_cast<char>(0x80 + below(0x80));
        else if (kind < 19)
            out += static_cast<char>(below(0x20)); // control bytes, zero included
        else
            out += '\x7f';
    }
    return out;
}

json_node random_json::tree(std::size_t max_depth, std::size_t max_width, std::size_t max_text,
                            std::size_t max_nodes)
{
    nodes_left_ = max_nodes;
    json_node root;
    switch (below(4)) {
    case 0: root.is_array = true; break;
    case 1: root.is_object = true; break;
    case 2:
        root.value = text(max_text);
        root.quoted = one_in(2);
        break;
    default: break;
    }
    if (one_in(8))
        root.key = text(8);
    fill(root, max_depth, max_width, max_text);
    return root;
}

void random_json::fill(json_node& node, std::size_t depth, std::size_t max_width, std::size_t max_text)
{
    if (depth == 0)
        return;
    const std::size_t width = below(max_width + 1);
    for (std::size_t i = 0; i < width && nodes_left_ > 0; ++i) {
        --nodes_left_;
        const std::string key = one_in(3) ? std::string() : text(12);
        switch (below(6)) {
        case 0: {
            json_node& list = node.add_array(key);
            fill(list, depth - 1, max_width, max_text);
            break;
        }
        case 1: {
            json_node& object = node.add_object(key);
            fill(object, depth - 1, max_width, max_text);
            break;
        }
        case 2: {
            // Flags that disagree with the value or the children.
            json_node& odd = node.add_value(key, one_in(2) ? text(4) : std::string(), one_in(2));
            odd.is_array = one_in(2);
            odd.is_object = one_in(2);
            if (one_in(2))
                fill(odd, depth - 1, max_width, max_text);
            break;
        }
        default: node.add_value(key, text(max_text), !one_in(4)); break;
        }
    }
}

std::string random_json::string_token()
{
    static constexpr const char* kPieces[] = {"a",        "Zz",       "0",
                                              " ",        "\\\"",     "\\\\",
                                              "\\/",      "\\n",      "\\t",
                                              "\\b",      "\\f",      "\\r",
                                              "\\q",      "\\u00e9",  "\\u0041",
                                              "\\u0022",  "\\u005c",  "\\ud83d\\ude00",
                                              "\\uFFFF",  "\xc3\xa9", "\xe2\x82\xac",
                                              "\x01",     "\x7f",     "{",
                                              "]",        ",",        ":",
                                              "abcdefgh", "/"};
    static constexpr const char* kMalformed[] = {"\\u12", "\\ud83d", "\\ud83dx", "\\u00g9"};
    std::string out = "\"";
    const std::size_t pieces = below(12);
    for (std::size_t i = 0; i < pieces; ++i)
        out += one_in(200) ? kMalformed[below(4)] : kPieces[below(std::size(kPieces))];
    out += '"';
    return out;
}

std::string random_json::stray_token()
{
    static constexpr const char* kStray[] = {"{", "}",  "[",     "]",   ",",      ":", "\"\"", "1",
                                             "x", "\\", "trueX", "nul", "\"open", "@", "\x7f", "-"};
    if (one_in(40))
        return std::string(1, '\0');
    return kStray[below(std::size(kStray))];
}

void random_json::value_text(std::string& out, std::size_t depth)
{
    static constexpr const char* kSpace[] = {"", "", "", " ", "\t", "\n ", "\x01", "\x80", "\xc3\xa9"};
    static constexpr const char* kScalars[] = {"1",     "-12.5e3", "1-2e", "0", "true",
                                               "false", "null",    "x",    "@"};
    const auto space = [&] { out += kSpace[below(std::size(kSpace))]; };
    space();
    const std::size_t kind = depth == 0 ? 2 + below(2) : below(4);
    if (kind < 2) {
        const bool object = kind == 0;
        out += object ? '{' : '[';
        const std::size_t count = below(5);
        for (std::size_t i = 0; i < count; ++i) {
            if (i > 0)
                out += ',';
            if (object) {
                space();
                out += one_in(8) ? std::string(1, "abk"[below(3)]) : string_token();
                space();
                out += ':';
                if (one_in(12)) // a missing value
                    continue;
            }
            value_text(out, depth - 1);
        }
        if (count > 0 && one_in(6))
            out += ','; // a trailing comma
        space();
        out += one_in(10) ? (object ? ']' : '}') : (object ? '}' : ']');
    } else if (kind == 2) {
        out += string_token();
    } else {
        out += kScalars[below(std::size(kScalars))];
    }
    space();
}

std::string random_json::document(std::size_t max_depth)
{
    std::string out;
    value_text(out, max_depth);
    if (one_in(3)) {
        // Damage at a random place: drop a stretch, double one, or insert a
        // stray token.
        const std::size_t at = below(out.size() + 1);
        switch (below(3)) {
        case 0: out.erase(at, below(4) + 1); break;
        case 1: out.insert(at, out.substr(at, below(4) + 1)); break;
        default: out.insert(at, stray_token()); break;
        }
    }
    return out;
}

} // namespace json_test
