#include "bench/json_corpus.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include "bench/entity_reply.h"

namespace quorvel_bench {
namespace {

constexpr std::size_t kTargetBytes = 2u * 1024u * 1024u;

// A small fixed generator, so that the documents do not depend on the
// standard library's distributions.
class sequence
{
public:
    explicit sequence(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next()
    {
        state_ = state_ * 6364136223846793005ull + 1442695040888963407ull;
        return state_ >> 11;
    }
    std::uint64_t below(std::uint64_t bound) { return next() % bound; }

private:
    std::uint64_t state_;
};

void append_double(std::string& out, double value)
{
    char buffer[40];
    const int n = std::snprintf(buffer, sizeof buffer, "%.17g", value);
    out.append(buffer, static_cast<std::size_t>(n));
}

void append_int(std::string& out, std::int64_t value)
{
    char buffer[24];
    const int n = std::snprintf(buffer, sizeof buffer, "%" PRId64, value);
    out.append(buffer, static_cast<std::size_t>(n));
}

// Polygons of longitude/latitude pairs printed to 17 significant digits (the
// round-trip precision of a double), as map data often comes: nearly every
// byte belongs to a number.
std::string coordinates()
{
    sequence random(7);
    std::string out = R"({"type":"FeatureCollection","features":[)";
    for (int feature = 0; out.size() < kTargetBytes; ++feature) {
        if (feature > 0)
            out += ',';
        out += R"({"type":"Feature","properties":{"name":"Region )";
        append_int(out, feature);
        out += R"("},"geometry":{"type":"Polygon","coordinates":[[)";
        const std::uint64_t points = 200 + random.below(2000);
        for (std::uint64_t i = 0; i < points; ++i) {
            out += i == 0 ? "[" : ",[";
            append_double(out, -180.0 + static_cast<double>(random.below(360'000'000'000)) / 1e9);
            out += ',';
            append_double(out, -90.0 + static_cast<double>(random.below(180'000'000'000)) / 1e9);
            out += ']';
        }
        out += "]]}}";
    }
    out += "]}";
    return out;
}

// A flat array of integers from one to nineteen digits, most of them short.
std::string integers()
{
    sequence random(11);
    std::string out = "[";
    while (out.size() < kTargetBytes) {
        if (out.size() > 1)
            out += ',';
        const auto digits = random.below(64) < 48 ? 1 + random.below(6) : 1 + random.below(18);
        std::int64_t value = 1;
        for (std::uint64_t d = 1; d < digits; ++d)
            value = value * 10 + static_cast<std::int64_t>(random.below(10));
        append_int(out, random.below(4) == 0 ? -value : value);
    }
    out += ']';
    return out;
}

// Chains of objects a thousand levels deep, each level a number, a string and
// the next level.
std::string deep_nesting()
{
    constexpr int kDepth = 1000;
    std::string out = "[";
    for (int chain = 0; out.size() < kTargetBytes; ++chain) {
        if (chain > 0)
            out += ',';
        for (int level = 0; level < kDepth; ++level) {
            out += R"({"level":)";
            append_int(out, level);
            out += R"(,"tag":"n)";
            append_int(out, chain);
            out += R"(","next":)";
        }
        out += "null";
        out.append(kDepth, '}');
    }
    out += ']';
    return out;
}

// Free text of one to eight kilobytes a string, with the escapes such text
// carries and raw UTF-8.
std::string long_strings()
{
    static const char* const kWords[] = {"ticket",
                                         "support",
                                         "reply",
                                         "customer",
                                         "the",
                                         "a",
                                         "queue",
                                         "\\n",
                                         "\\\"quoted\\\"",
                                         "path\\/to",
                                         "\\t",
                                         "caf\xC3\xA9",
                                         "\xE2\x82\xAC",
                                         "\xE6\x97\xA5\xE6\x9C\xAC"};
    sequence random(13);
    std::string out = "[";
    while (out.size() < kTargetBytes) {
        if (out.size() > 1)
            out += ',';
        out += '"';
        const std::size_t length = 1024 + random.below(7 * 1024);
        const std::size_t start = out.size();
        while (out.size() - start < length) {
            out += kWords[random.below(std::size(kWords))];
            out += ' ';
        }
        out += '"';
    }
    out += ']';
    return out;
}

// Many small records of a handful of short members each.
std::string small_objects()
{
    static const char* const kNames[] = {"alpha", "beta", "gamma", "delta", "epsilon"};
    sequence random(17);
    std::string out = "[";
    for (std::int64_t id = 0; out.size() < kTargetBytes; ++id) {
        if (id > 0)
            out += ',';
        out += R"({"id":)";
        append_int(out, id);
        out += R"(,"name":")";
        out += kNames[random.below(std::size(kNames))];
        out += R"(","ok":)";
        out += random.below(2) != 0 ? "true" : "false";
        out += R"(,"price":)";
        append_int(out, static_cast<std::int64_t>(random.below(100000)));
        out += R"(,"tags":["a","b"],"seat":null})";
    }
    out += ']';
    return out;
}

std::string empty_objects()
{
    std::string out = "[";
    while (out.size() < kTargetBytes) {
        if (out.size() > 1)
            out += ',';
        out += "{}";
    }
    out += ']';
    return out;
}

} // namespace

std::vector<corpus_document> json_corpus()
{
    std::vector<corpus_document> corpus;
    corpus.push_back({"entity_reply", make_entity_list_reply(entity_count_for_size(kReplyTargetBytes))});
    corpus.push_back({"coordinates", coordinates()});
    corpus.push_back({"integers", integers()});
    corpus.push_back({"deep_nesting", deep_nesting()});
    corpus.push_back({"long_strings", long_strings()});
    corpus.push_back({"small_objects", small_objects()});
    corpus.push_back({"empty_objects", empty_objects()});
    return corpus;
}

} // namespace quorvel_bench
