#pragma once

#include "FaultEffects.h"
#include "Faults.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>
#include <span>

namespace QuorvelEmulator {

class TokenStore;

// How a kind's reply stands to the one the request would have had.
enum class FaultRelation
{
    // Owes nothing to it: the token endpoint does not even issue the token
    // that would have been hidden behind the fault's reply.
    Replaces,
    // Bends a successful reply; an error reply goes out untouched.
    Reshapes,
    // Sends it, whatever its status, late, cut short or with more in it.
    Amends,
    // Changes the server before the request is answered, and the normal
    // reply shows the change.
    Precedes,
};

// Which endpoints a kind's faults may be queued for.
enum class FaultTargets
{
    Query,
    Token,
    Both,
};

// Bounds of a whole-number member, and its value when a fault leaves it out.
struct FaultRange
{
    qint64 min = 0;
    qint64 max = 0;
    std::optional<qint64> fallback = {};
};

// The members a kind takes beyond those every fault does (target, times,
// after, delayMs, retryAfter); any other is refused.
struct FaultMembers
{
    bool status = false;
    bool body = false;
    bool contentType = false;
    bool location = false;
    bool depth = false;
    std::optional<FaultRange> bytes = {};
    std::optional<FaultRange> count = {};
};

// What a fault that precedes the reply may change.
struct FaultScene
{
    TokenStore& tokens;
    // The caller's bearer token, empty when it sent none.
    QByteArray token;
};

// Everything about one fault kind; the parser, the server and the listing of
// pending faults all work from these.
struct FaultKind
{
    const char* name; // the JSON "kind"
    FaultTargets targets;
    FaultRelation relation;
    FaultMembers takes = {};
    // A fault of the kind needs at least one of these members.
    std::array<const char*, 2> needs = {};
    PlannedReply (*effect)(const Fault& fault, PlannedReply normal) = keepReply;
    // Only for FaultRelation::Precedes: what it changes first.
    void (*before)(const FaultScene& scene) = nullptr;

    bool appliesTo(FaultTarget target) const
    {
        return targets == FaultTargets::Both
               || (targets == FaultTargets::Token) == (target == FaultTarget::Token);
    }
};

// In the order the parser lists them when it refuses a kind.
std::span<const FaultKind> faultKinds();
const FaultKind* findFaultKind(QStringView name);

} // namespace QuorvelEmulator
