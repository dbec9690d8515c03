// The SDK's JSON layer against the parsers a Qt/C++ client could have used
// instead, on one realistic entity-list reply.
//
// Every library is charged the same way:
// - parse: a fresh tree is built from the text and destroyed inside the timed
//   loop, since a reply's tree never outlives the request that read it;
// - write: a tree parsed once in set-up is written to a fresh output buffer,
//   which is also released inside the loop;
// - bytes processed is the reply's size for both, so MB/s figures of one
//   column compare as inverse times even where the libraries' output texts
//   differ in length (escaped "/", `\u` kept or decoded).
//
// QJsonDocument reads from and writes to QByteArray. A Qt client gets the
// body as a QByteArray from QNetworkReply::readAll() and posts the QByteArray
// that toJson() returns, so the main Qt rows include no conversion; the
// "qjsondocument_from_std_string" row adds the copy a caller holding a
// std::string (as the SDK does) would pay.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

#include <nlohmann/json.hpp>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "bench/entity_reply.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace {

[[noreturn]] void give_up(const std::string& what)
{
    std::fprintf(stderr, "quorvel_bench: %s\n", what.c_str());
    std::fflush(stderr);
    std::abort();
}

// Compares the SDK's tree with nlohmann's, member by member, so that a parser
// that accepts the text but reads it wrongly does not go unnoticed: its
// figures would be for a different job. Reports the first difference.
bool same_tree(const tarsion::json_node& ours, const nlohmann::ordered_json& theirs, std::string& where)
{
    const auto fail = [&](std::string_view why) {
        where = std::string(why) + " at key \"" + ours.key.str() + "\"";
        return false;
    };
    if (theirs.is_object() || theirs.is_array()) {
        if (theirs.is_array() != (ours.is_array && ours.value.empty()))
            return fail("container kind differs");
        if (ours.children.size() != theirs.size())
            return fail("member count differs");
        std::size_t i = 0;
        if (theirs.is_object()) {
            for (const auto& [key, value] : theirs.items()) {
                const tarsion::json_node& child = ours.children[i++];
                if (child.key != key)
                    return fail("member key differs");
                if (!same_tree(child, value, where))
                    return false;
            }
        } else {
            for (const auto& value : theirs) {
                if (!same_tree(ours.children[i++], value, where))
                    return false;
            }
        }
        return true;
    }
    if (!ours.children.empty())
        return fail("scalar read as container");
    if (theirs.is_string())
        return ours.quoted && ours.value == theirs.get_ref<const std::string&>() ? true
                                                                                 : fail("string differs");
    return !ours.quoted && ours.value == theirs.dump() ? true : fail("literal differs");
}

// The reply and one parsed tree per library, built on first use, outside any
// timed region. Every parser must accept the reply; a rejection ends the run,
// since the figures would otherwise compare unequal work.
struct reply_fixture
{
    std::size_t entity_count = 0;
    std::string text;
    QByteArray qt_text;

    tarsion::json_node tarsion_tree;
    nlohmann::ordered_json nlohmann_tree;
    QJsonDocument qt_tree;
    rapidjson::Document rapid_tree;

    reply_fixture()
    {
        entity_count = quorvel_bench::entity_count_for_size(quorvel_bench::kReplyTargetBytes);
        text = quorvel_bench::make_entity_list_reply(entity_count);
        qt_text = QByteArray(text.data(), static_cast<qsizetype>(text.size()));

        if (!tarsion::parse_json(text, tarsion_tree))
            give_up("tarsion::parse_json rejects the reply");
        if (!tarsion_tree.is_array || tarsion_tree.children.size() != entity_count)
            give_up("tarsion::parse_json reads the wrong number of entities");

        nlohmann_tree = nlohmann::ordered_json::parse(text, nullptr, /*allow_exceptions=*/false);
        if (nlohmann_tree.is_discarded())
            give_up("nlohmann::ordered_json rejects the reply");
        if (!nlohmann_tree.is_array() || nlohmann_tree.size() != entity_count)
            give_up("nlohmann::ordered_json reads the wrong number of entities");

        QJsonParseError qt_error;
        qt_tree = QJsonDocument::fromJson(qt_text, &qt_error);
        if (qt_error.error != QJsonParseError::NoError)
            give_up("QJsonDocument rejects the reply: " + qt_error.errorString().toStdString() + " at offset "
                    + std::to_string(qt_error.offset));
        if (!qt_tree.isArray() || static_cast<std::size_t>(qt_tree.array().size()) != entity_count)
            give_up("QJsonDocument reads the wrong number of entities");

        rapid_tree.Parse(text.data(), text.size());
        if (rapid_tree.HasParseError())
            give_up(std::string("RapidJSON rejects the reply: ")
                    + rapidjson::GetParseError_En(rapid_tree.GetParseError()) + " at offset "
                    + std::to_string(rapid_tree.GetErrorOffset()));
        if (!rapid_tree.IsArray() || rapid_tree.Size() != entity_count)
            give_up("RapidJSON reads the wrong number of entities");

        std::string where;
        if (!same_tree(tarsion_tree, nlohmann_tree, where))
            give_up("tarsion::parse_json and nlohmann disagree on the reply: " + where);
    }
};

const reply_fixture& fixture()
{
    static const reply_fixture instance;
    return instance;
}

void charge(benchmark::State& state)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations())
                            * static_cast<std::int64_t>(fixture().text.size()));
}

void label_output(benchmark::State& state, std::size_t output_bytes)
{
    state.SetLabel("out " + std::to_string(output_bytes) + " B");
}

// ---------------------------------------------------------------------------
// Parse

void parse_tarsion(benchmark::State& state)
{
    const std::string& text = fixture().text;
    for (auto _ : state) {
        tarsion::json_node root;
        const bool ok = tarsion::parse_json(text, root);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(root);
    }
    charge(state);
}

void parse_qjsondocument(benchmark::State& state)
{
    const QByteArray& text = fixture().qt_text;
    for (auto _ : state) {
        QJsonDocument doc = QJsonDocument::fromJson(text);
        benchmark::DoNotOptimize(doc);
    }
    charge(state);
}

void parse_qjsondocument_from_std_string(benchmark::State& state)
{
    const std::string& text = fixture().text;
    for (auto _ : state) {
        QJsonDocument doc =
            QJsonDocument::fromJson(QByteArray(text.data(), static_cast<qsizetype>(text.size())));
        benchmark::DoNotOptimize(doc);
    }
    charge(state);
}

void parse_nlohmann_ordered(benchmark::State& state)
{
    const std::string& text = fixture().text;
    for (auto _ : state) {
        nlohmann::ordered_json doc = nlohmann::ordered_json::parse(text, nullptr, false);
        benchmark::DoNotOptimize(doc);
    }
    charge(state);
}

void parse_rapidjson(benchmark::State& state)
{
    const std::string& text = fixture().text;
    for (auto _ : state) {
        rapidjson::Document doc;
        doc.Parse(text.data(), text.size());
        benchmark::DoNotOptimize(doc);
    }
    charge(state);
}

// ---------------------------------------------------------------------------
// Compact write

void write_tarsion(benchmark::State& state)
{
    const tarsion::json_node& tree = fixture().tarsion_tree;
    std::size_t size = 0;
    for (auto _ : state) {
        std::string out;
        tarsion::write_json(tree, out, false);
        size = out.size();
        benchmark::DoNotOptimize(out);
    }
    charge(state);
    label_output(state, size);
}

void write_qjsondocument(benchmark::State& state)
{
    const QJsonDocument& tree = fixture().qt_tree;
    std::size_t size = 0;
    for (auto _ : state) {
        QByteArray out = tree.toJson(QJsonDocument::Compact);
        size = static_cast<std::size_t>(out.size());
        benchmark::DoNotOptimize(out);
    }
    charge(state);
    label_output(state, size);
}

void write_nlohmann_ordered(benchmark::State& state)
{
    const nlohmann::ordered_json& tree = fixture().nlohmann_tree;
    std::size_t size = 0;
    for (auto _ : state) {
        std::string out = tree.dump();
        size = out.size();
        benchmark::DoNotOptimize(out);
    }
    charge(state);
    label_output(state, size);
}

void write_rapidjson(benchmark::State& state)
{
    const rapidjson::Document& tree = fixture().rapid_tree;
    std::size_t size = 0;
    for (auto _ : state) {
        rapidjson::StringBuffer out;
        rapidjson::Writer<rapidjson::StringBuffer> writer(out);
        tree.Accept(writer);
        size = out.GetSize();
        benchmark::DoNotOptimize(out);
    }
    charge(state);
    label_output(state, size);
}

// Registered task by task, so that peers print next to each other.
BENCHMARK(parse_tarsion)->Name("BM_Parse/tarsion")->Unit(benchmark::kMillisecond);
BENCHMARK(parse_qjsondocument)->Name("BM_Parse/qjsondocument")->Unit(benchmark::kMillisecond);
BENCHMARK(parse_qjsondocument_from_std_string)
    ->Name("BM_Parse/qjsondocument_from_std_string")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(parse_nlohmann_ordered)->Name("BM_Parse/nlohmann_ordered")->Unit(benchmark::kMillisecond);
BENCHMARK(parse_rapidjson)->Name("BM_Parse/rapidjson")->Unit(benchmark::kMillisecond);

BENCHMARK(write_tarsion)->Name("BM_Write/tarsion")->Unit(benchmark::kMillisecond);
BENCHMARK(write_qjsondocument)->Name("BM_Write/qjsondocument")->Unit(benchmark::kMillisecond);
BENCHMARK(write_nlohmann_ordered)->Name("BM_Write/nlohmann_ordered")->Unit(benchmark::kMillisecond);
BENCHMARK(write_rapidjson)->Name("BM_Write/rapidjson")->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
