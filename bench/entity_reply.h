#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Synthetic replies of the entity service's list query, for benchmarks, tests
// and a local stand-in for the service. Everything is a pure function of its
// arguments: the same count and seed give the same bytes on every machine, so
// figures taken on different days measure the same input.
namespace quorvel_bench {

// The size the JSON benchmarks are run at: large enough that one parse takes
// milliseconds and per-call overheads vanish, small enough for a quick run.
inline constexpr std::size_t kReplyTargetBytes = 5u * 1024u * 1024u;

// One entity object, compact, exactly as it appears as element `index` of a
// list reply made with the same seed.
std::string make_entity(std::size_t index, std::uint64_t seed = 1);

// A compact JSON array of `entity_count` entity objects, as the service sends
// it. Entities are generated independently per index, so a shorter reply is
// an element-wise prefix of a longer one.
//
// The text is valid JSON and uses the wire forms a real reply carries: every
// string member escapes "/" as "\/"; some text arrives as `\uXXXX` escapes
// (including a surrogate pair), some as raw UTF-8 (Latin, symbols, CJK); free
// text holds `\"`, `\n` and `\\`. No `\\` is ever followed by "u", and there
// is no `\u0000`, so that readers which pre-decode `\u` escapes see the same
// strings as strict ones.
std::string make_entity_list_reply(std::size_t entity_count, std::uint64_t seed = 1);

// The smallest entity count whose reply is at least `target_bytes` long.
std::size_t entity_count_for_size(std::size_t target_bytes, std::uint64_t seed = 1);

} // namespace quorvel_bench
