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

void charge(benchmark::State& state, const prepared& p)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations())
                            * static_cast<std::int64_t>(p.document.text.size()));
}

void parse_tarsion(benchmark::State& state, std::size_t index)
{
    const prepared& p = corpus()[index];
    for (auto _ : state) {
        tarsion::json_node root;
        const bool ok = tarsion::parse_json(p.document.text, root);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(root);
    }
    charge(state, p);
}

void parse_rapidjson(benchmark::State& state, std::size_t index)
{
    const prepared& p = corpus()[index];
    for (auto _ : state) {
        rapidjson::Document doc;
        doc.Parse(p.document.text.data(), p.document.text.size());
        benchmark::DoNotOptimize(doc);
    }
    charge(state, p);
}

void write_tarsion(benchmark::State& state, std::size_t index)
{
    const prepared& p = corpus()[index];
    for (auto _ : state) {
        std::string out;
        tarsion::write_json(p.tarsion_tree, out, false);
        benchmark::DoNotOptimize(out);
    }
    charge(state, p);
}

void write_rapidjson(benchmark::State& state, std::size_t index)
{
    const prepared& p = corpus()[index];
    for (auto _ : state) {
        rapidjson::StringBuffer out;
        rapidjson::Writer<rapidjson::StringBuffer> writer(out);
        p.rapid_tree.Accept(writer);
        benchmark::DoNotOptimize(out);
    }
    charge(state, p);
}

// Peers next to each other, document by document.
const bool registered = [] {
    const auto& documents = corpus();
    for (std::size_t i = 0; i < documents.size(); ++i) {
        const std::string& name = documents[i].document.name;
        benchmark::RegisterBenchmark(("BM_Corpus/parse/" + name + "/tarsion").c_str(), parse_tarsion, i)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("BM_Corpus/parse/" + name + "/rapidjson").c_str(), parse_rapidjson, i)
            ->Unit(benchmark::kMillisecond);
    }
    for (std::size_t i = 0; i < documents.size(); ++i) {
        const std::string& name = documents[i].document.name;
        benchmark::RegisterBenchmark(("BM_Corpus/write/" + name + "/tarsion").c_str(), write_tarsion, i)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("BM_Corpus/write/" + name + "/rapidjson").c_str(), write_rapidjson, i)
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

} // namespace
