#pragma once

#include <string>
#include <vector>

// The documents the JSON layer is measured on, each a different shape of
// load: the service's own reply, numbers, depth, long strings, many small
// objects and empty ones. Generated, so that every machine measures the same
// bytes; every text is valid JSON that strict parsers accept, with no `\u`
// escape a pre-decoding reader would read differently from a strict one.
namespace quorvel_bench {

struct corpus_document
{
    std::string name;
    std::string text;
};

// In a fixed order; each is one to five megabytes.
std::vector<corpus_document> json_corpus();

} // namespace quorvel_bench
