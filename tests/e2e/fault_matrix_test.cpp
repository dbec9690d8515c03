// What the page shows for each way the entity service (or its token
// endpoint) can misbehave, through the whole product: emulator, host,
// plug-in, chat layer, SDK and Qt transport. One row per fault; the rows are
// listed with their outcomes in docs/RELIABILITY.md.
#include "e2e_fixture.h"

namespace QuorvelE2E {
namespace {

const QString kEmptyToken = QStringLiteral("QtTokenFactory: refresh returned empty token.");
// What the cut rows let through: the start of the shaped result.
const QString kTenBytes = QStringLiteral("[{\"attribu");

struct FaultRow
{
    const char* name;
    // Posted to /_emulator/faults before the host starts; may be empty.
    QByteArray faults = {};
    // Expected view: resolved when `kind` is null, else the status line's
    // kind and code and the message line.
    const char* kind = nullptr;
    int httpCode = 0;
    QString message = {};
    // Queries and token requests the emulator saw, sign-in included.
    int queries = 1;
    int tokens = 1;
    const char* business = "demo";
    // The page of a row that resolves, in tests/e2e/golden.
    const char* golden = "demo";
};

const FaultRow kRows[] = {
    {"ResolvesTheDutyChannel", {}},
    // A 401 renews the token once and re-sends, even a POST.
    {"ExpiredTokenIsRenewedAndTheQueryResent", R"({"kind":"expire"})", nullptr, 0, {}, 2, 2},
    {"Unauthorized401AfterRenewalIsAuth",
     R"({"kind":"status","status":401,"body":"token rejected","times":2})", "Auth", 401, "token rejected", 2,
     2},
    // The token endpoint lets the sign-in through ("after":1), not the renewal.
    {"Unauthorized401WithTokenEndpoint503",
     R"([{"kind":"expire"},{"kind":"status","status":503,"target":"token","after":1,"times":-1}])", "Network",
     0, kEmptyToken, 1, 2},
    // POST is never retried, whatever the status or Retry-After says.
    {"ServiceUnavailableIsServerErrorSentOnce",
     R"({"kind":"status","status":503,"body":"maintenance","retryAfter":"1","times":-1})", "ServerError", 503,
     "maintenance"},
    // A slow reply within the limits is shown: the host never settles while the page is busy.
    {"ReplyDelayedPastTheSettleTimeIsShown", R"({"kind":"delay","delayMs":1500})"},
    {"ConnectionClosedMidReply", R"({"kind":"close","bytes":10})", "Unknown", 0, kTenBytes},
    {"NonJsonReplyIsUnknown", R"({"kind":"nonjson","body":"<html><p>down</p></html>"})", "Unknown", 0,
     "<html><p>down</p></html>"},
    // Far past the 2 MiB the plug-in takes by default.
    {"FiftyMegabyteReplyIsRefused", R"({"kind":"large","bytes":52428800})", "Network", 299,
     QStringLiteral("The service's reply was larger than the limit.")},
    // C3 28 FF before the type key: a lead byte without its continuation,
    // then a byte that never occurs in UTF-8.
    {.name = "InvalidUtf8InTextsIsShownWithReplacementCharacters",
     .faults = R"({"kind":"invalidutf8"})",
     .golden = "invalid-utf8"},
    {.name = "NoDutyChannelIsNotFound",
     .kind = "NotFound",
     .httpCode = -1,
     .message =
         QStringLiteral("No default duty channel (IS_DEFAULT_CHANNEL=TRUE) found for current principal"),
     .business = "empty"},
};

class FaultMatrix : public HostEndToEnd, public ::testing::WithParamInterface<FaultRow>
{
};

TEST_P(FaultMatrix, ViewAndRequestCountsMatchTheRow)
{
    const FaultRow& row = GetParam();
    if (!row.faults.isEmpty())
        fault(row.faults);
    HostOptions options;
    options.businessId = QLatin1String(row.business);
    const HostRun run = runHost(options);

    if (row.kind == nullptr)
        expectDemoChatResolved(run, row.golden);
    else
        expectFailure(run, failed(row.kind, row.httpCode), row.message);
    EXPECT_EQ(stat("queries"), row.queries);
    EXPECT_EQ(stat("tokens"), row.tokens);
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, ::testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace QuorvelE2E
