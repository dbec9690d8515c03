// The SDK's JSON layer against RapidJSON's DOM on every document of the
// corpus (bench/json_corpus.h), parse and compact write side by side. Each
// library is charged the document's bytes, so MiB/s compare as inverse times.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "bench/json_corpus.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace {

using quorvel_bench::corpus_document;

[[noreturn]] void give_up(const std::string& what)
{
    std::fprintf(stderr, "quorvel_bench: %s\n", what.c_str());
    std::fflush(stderr);
    std::abort();
}

// Whether the SDK read a document as RapidJSON did, so that a parser that
// accepts a text but reads it wrongly cannot post figures for another job.
// Numbers compare by value, since the SDK keeps their text.
bool same_tree(const tarsion::json_node& ours, const rapidjson::Value& theirs)
{
    if (theirs.IsArray()) {
        if (!ours.is_array || ours.children.size() != theirs.Size())
            return false;
        for (rapidjson::SizeType i = 0; i < theirs.Size(); ++i) {
            if (!ours.children[i].key.empty() || !same_tree(ours.children[i], theirs[i]))
                return false;
        }
        return true;
    }
    if (theirs.IsObject()) {
        if (!ours.is_object || ours.children.size() != theirs.MemberCount())
            return false;
        std::size_t i = 0;
        for (const auto& member : theirs.GetObject()) {
            const tarsion::json_node& child = ours.children[i++];
            if (child.key != std::string_view(member.name.GetString(), member.name.GetStringLength())
                || !same_tree(child, member.value))
                return false;
        }
        return true;
    }
    if (!ours.children.empty())
        return false;
    if (theirs.IsString())
        return ours.quoted && ours.value == std::string_view(theirs.GetString(), theirs.GetStringLength());
    if (ours.quoted)
        return false;
    if (theirs.IsNull())
        return ours.value == "null";
    if (theirs.IsBool())
        return ours.value == (theirs.GetBool() ? "true" : "false");
    if (theirs.IsInt64())
        return ours.value == std::to_string(theirs.GetInt64());
    // RapidJSON's default parse may be a few units in the last place off for
    // seventeen-digit numbers.
    const double expected = theirs.GetDouble();
    return std::abs(std::strtod(ours.value.c_str(), nullptr) - expected) <= 1e-14 * std::abs(expected);
}

struct prepared
{
    corpus_document document;
    tarsion::json_node tarsion_tree;
    rapidjson::Document rapid_tree;
};

const std::vector<prepared>& corpus()
{
    static const std::vector<prepared> instance = [] {
        std::vector<prepared> out;
        for (corpus_document& document : quorvel_bench::json_corpus()) {
            prepared& p = out.emplace_back();
            p.document = std::move(document);
            const std::string& text = p.document.text;
            if (!tarsion::parse_json(text, p.tarsion_tree))
                give_up("tarsion::parse_json rejects " + p.document.name);
            p.rapid_tree.Parse(text.data(), text.size());
            if (p.rapid_tree.HasParseError())
                give_up("RapidJSON rejects " + p.document.name);
            if (!same_tree(p.tarsion_tree, p.rapid_tree))
                give_up("tarsion::parse_json and RapidJSON read " + p.document.name + " differently");
        }
        return out;
    }();
    return instance;
}

// Times `work` on one document, charged the document's bytes.
template <class Work>
void timed(benchmark::State& state, std::size_t index, Work work)
{
    const prepared& p = corpus()[index];
    for (auto _ : state)
        work(p);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations())
                            * static_cast<std::int64_t>(p.document.text.size()));
}

void parse_tarsion(benchmark::State& state, std::size_t index)
{
    timed(state, index, [](const prepared& p) {
        tarsion::json_node root;
        const bool ok = tarsion::parse_json(p.document.text, root);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(root);
    });
}

void parse_rapidjson(benchmark::State& state, std::size_t index)
{
    timed(state, index, [](const prepared& p) {
        rapidjson::Document doc;
        doc.Parse(p.document.text.data(), p.document.text.size());
        benchmark::DoNotOptimize(doc);
    });
}

void write_tarsion(benchmark::State& state, std::size_t index)
{
    timed(state, index, [](const prepared& p) {
        std::string out;
        tarsion::write_json(p.tarsion_tree, out, false);
        benchmark::DoNotOptimize(out);
    });
}

void write_rapidjson(benchmark::State& state, std::size_t index)
{
    timed(state, index, [](const prepared& p) {
        rapidjson::StringBuffer out;
        rapidjson::Writer<rapidjson::StringBuffer> writer(out);
        p.rapid_tree.Accept(writer);
        benchmark::DoNotOptimize(out);
    });
}

// Peers next to each other, document by document, parses before writes.
const bool registered = [] {
    using function = void (*)(benchmark::State&, std::size_t);
    struct task
    {
        const char* name;
        function peers[2]; // the SDK, then RapidJSON
    };
    const task tasks[] = {{"parse", {parse_tarsion, parse_rapidjson}},
                          {"write", {write_tarsion, write_rapidjson}}};
    const char* const libraries[] = {"tarsion", "rapidjson"};
    const auto& documents = corpus();
    for (const task& t : tasks) {
        for (std::size_t i = 0; i < documents.size(); ++i) {
            for (std::size_t l = 0; l < 2; ++l) {
                const std::string name = std::string("BM_Corpus/") + t.name + "/" + documents[i].document.name
                                         + "/" + libraries[l];
                benchmark::RegisterBenchmark(name.c_str(), t.peers[l], i)->Unit(benchmark::kMillisecond);
            }
        }
    }
    return true;
}();

} // namespace
