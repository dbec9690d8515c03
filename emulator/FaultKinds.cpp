#include "FaultKinds.h"

#include "ReplyWriter.h"
#include "TokenStore.h"

#include <algorithm>
#include <climits>

namespace QuorvelEmulator {

namespace {

constexpr qint64 kMaxBodyBytes = 256LL * 1024 * 1024;
constexpr qint64 kMaxLargeCount = 1000000;
// The reply repeats a title in every locale's display and value.
constexpr qint64 kMaxTitleBytes = 16LL * 1024 * 1024;
constexpr qint64 kMaxFillerHeaders = 100000;
constexpr qint64 kDefaultFillerHeaders = 100;

using enum FaultTargets;
using enum FaultRelation;

// The order is the one the parser lists them in; the language is in
// fault-language.txt, which `--help` prints.
constexpr FaultKind kKinds[] = {
    {.name = "status",
     .targets = Both,
     .relation = Replaces,
     .takes = {.status = true,
               .body = true,
               .contentType = true,
               .location = true,
               .bytes = FaultRange{1, kMaxBodyBytes}},
     .needs = {"status"},
     .effect = replaceWithStatus},
    {.name = "delay", .targets = Both, .relation = Amends, .needs = {"delayMs"}},
    {.name = "stall",
     .targets = Both,
     .relation = Amends,
     .takes = {.bytes = FaultRange{0, INT_MAX}},
     .needs = {"delayMs"},
     .effect = stallMidBody},
    {.name = "nonjson",
     .targets = Both,
     .relation = Replaces,
     .takes = {.status = true, .body = true, .contentType = true, .bytes = FaultRange{1, kMaxBodyBytes}},
     .effect = replaceWithPage},
    {.name = "object", .targets = Query, .relation = Reshapes, .effect = wrapInObject},
    // The caller's token expires before the request is checked, which is
    // how a test makes a token renewal happen exactly when it wants.
    {.name = "expire",
     .targets = Query,
     .relation = Precedes,
     .before = [](const FaultScene& scene) { scene.tokens.expire(scene.token); }},
    {.name = "close",
     .targets = Both,
     .relation = Amends,
     .takes = {.bytes = FaultRange{0, INT_MAX}},
     .effect = closeMidBody},
    {.name = "truncate",
     .targets = Both,
     .relation = Amends,
     .takes = {.bytes = FaultRange{0, INT_MAX}},
     .effect = truncateBody},
    {.name = "large",
     .targets = Query,
     .relation = Reshapes,
     .takes = {.bytes = FaultRange{1, kMaxBodyBytes}, .count = FaultRange{1, kMaxLargeCount}},
     .needs = {"count", "bytes"},
     .effect = enlarge},
    {.name = "nested",
     .targets = Query,
     .relation = Replaces,
     .takes = {.depth = true},
     .effect = replaceWithNesting},
    {.name = "trickle", .targets = Both, .relation = Amends, .needs = {"delayMs"}, .effect = trickleBody},
    {.name = "elements",
     .targets = Query,
     .relation = Replaces,
     .takes = {.body = true, .bytes = FaultRange{1, kMaxBodyBytes}},
     .needs = {"body"},
     .effect = replaceWithElements},
    {.name = "attributes",
     .targets = Query,
     .relation = Replaces,
     .takes = {.body = true, .bytes = FaultRange{1, kMaxBodyBytes}},
     .needs = {"body"},
     .effect = replaceWithAttributes},
    {.name = "invalidutf8", .targets = Query, .relation = Reshapes, .effect = breakUtf8},
    {.name = "title",
     .targets = Query,
     .relation = Reshapes,
     .takes = {.body = true, .bytes = FaultRange{1, kMaxTitleBytes}},
     .needs = {"body"},
     .effect = retitle},
    {.name = "flood",
     .targets = Both,
     .relation = Replaces,
     .takes = {.bytes = FaultRange{1, kMaxStreamBytes}},
     .effect = flood},
    {.name = "headers",
     .targets = Both,
     .relation = Amends,
     .takes = {.count = FaultRange{1, kMaxFillerHeaders, kDefaultFillerHeaders}},
     .effect = addFillerHeaders},
    {.name = "headerline",
     .targets = Both,
     .relation = Replaces,
     .takes = {.bytes = FaultRange{1, kMaxStreamBytes}},
     .effect = endlessHeaderLine},
};

// A kind that precedes the reply acts through `before`, and only such a
// kind has one.
static_assert(std::ranges::all_of(kKinds, [](const FaultKind& kind) {
    return (kind.relation == Precedes) == (kind.before != nullptr);
}));

} // namespace

std::span<const FaultKind> faultKinds()
{
    return kKinds;
}

const FaultKind* findFaultKind(QStringView name)
{
    const auto found = std::ranges::find_if(
        kKinds, [name](const FaultKind& kind) { return name == QLatin1String(kind.name); });
    return found == std::end(kKinds) ? nullptr : found;
}

} // namespace QuorvelEmulator
