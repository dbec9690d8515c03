// Peak heap of reading a document, as a multiple of its text: the SDK's tree,
// RapidJSON's DOM beside it, and the query API reading a reply on into
// records. Every allocation of the process is counted (malloc is replaced
// below), so the figures include the parsers' scratch space and growth.
//
//     build/bench/quorvel_json_memory

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string>

#include <rapidjson/document.h>

#include "bench/json_corpus.h"
#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

std::atomic<std::size_t> live{0};
std::atomic<std::size_t> peak{0};

void* counted(void* p)
{
    if (p != nullptr) {
        const std::size_t now =
            live.fetch_add(malloc_usable_size(p), std::memory_order_relaxed) + malloc_usable_size(p);
        std::size_t seen = peak.load(std::memory_order_relaxed);
        while (now > seen && !peak.compare_exchange_weak(seen, now, std::memory_order_relaxed)) {}
    }
    return p;
}

void uncount(void* p)
{
    if (p != nullptr)
        live.fetch_sub(malloc_usable_size(p), std::memory_order_relaxed);
}

} // namespace

extern "C" {
void* malloc(std::size_t n)
{
    return counted(__libc_malloc(n));
}
void* calloc(std::size_t count, std::size_t n)
{
    return counted(__libc_calloc(count, n));
}
void* realloc(void* p, std::size_t n)
{
    const std::size_t before = p != nullptr ? malloc_usable_size(p) : 0;
    void* const moved = __libc_realloc(p, n);
    if (moved == nullptr && n != 0)
        return nullptr; // `p` is still held, and still counted
    live.fetch_sub(before, std::memory_order_relaxed);
    return counted(moved);
}
void* memalign(std::size_t alignment, std::size_t n)
{
    return counted(__libc_memalign(alignment, n));
}
void* aligned_alloc(std::size_t alignment, std::size_t n)
{
    return counted(__libc_memalign(alignment, n));
}
int posix_memalign(void** out, std::size_t alignment, std::size_t n)
{
    void* p = counted(__libc_memalign(alignment, n));
    if (p == nullptr)
        return ENOMEM;
    *out = p;
    return 0;
}
void free(void* p)
{
    uncount(p);
    __libc_free(p);
}
}

namespace {

// Runs `work` and returns the highest number of bytes it held above what was
// live when it started.
template <class Work>
std::size_t peak_extra(Work work)
{
    const std::size_t before = live.load();
    peak.store(before);
    work();
    return peak.load() - before;
}

void row(const char* what, const std::string& document, std::size_t text_bytes, std::size_t bytes)
{
    std::printf("| %s | %s | %zu | %.1f MB | **%.2f×** |\n", document.c_str(), what, text_bytes, bytes / 1e6,
                static_cast<double>(bytes) / static_cast<double>(text_bytes));
}

} // namespace

int main()
{
    const std::vector<quorvel_bench::corpus_document> corpus = quorvel_bench::json_corpus();
    std::printf(
        "| document | reader | text bytes | peak extra heap | peak / text |\n|---|---|---:|---:|---:|\n");
    for (const auto& document : corpus) {
        const std::string& text = document.text;
        bool ok = true;
        row("tarsion::parse_json", document.name, text.size(), peak_extra([&] {
                tarsion::json_node root;
                ok = tarsion::parse_json(text, root) && ok;
            }));
        row("RapidJSON DOM", document.name, text.size(), peak_extra([&] {
                rapidjson::Document doc;
                doc.Parse(text.data(), text.size());
                ok = !doc.HasParseError() && ok;
            }));
        if (document.name == "empty_objects" || document.name == "entity_reply") {
            using tarsion::quorvel::api::BusinessEntitiesQueryApi;
            row("entities_from, every record kept", document.name, text.size(),
                peak_extra([&] { ok = BusinessEntitiesQueryApi::entities_from(text).has_value() && ok; }));
            row("entities_from, one kept (take=1)", document.name, text.size(),
                peak_extra([&] { ok = BusinessEntitiesQueryApi::entities_from(text, 1).has_value() && ok; }));
        }
        if (!ok) {
            std::fprintf(stderr, "quorvel_json_memory: %s was not read\n", document.name.c_str());
            return 1;
        }
    }
    return 0;
}
