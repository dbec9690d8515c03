#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "sdk/core/tenant.h"
#include "tests/support/pipeline_fakes.h"
#include "tests/support/scripted_http_client.h"

namespace tarsion {
namespace {

using testing::recorded_waits;
using testing::scripted_http_client;
using testing::scripted_reply;

struct url_case
{
    const char* name;
    const char* base_url;
    const char* business_id;
    const char* suffix;
    const char* path_template;
    const char* expected_url;
};

void PrintTo(const url_case& c, std::ostream* out)
{
    *out << c.name;
}

// The URL is observed where it matters: in what the HTTP client is asked to
// send, after the whole pipeline has run.
class TenantUrl : public ::testing::TestWithParam<url_case>
{
protected:
    std::string sent_url(const url_case& c)
    {
        auto client = std::make_shared<scripted_http_client>(std::vector<scripted_reply>{{200, "ok", {}, 0}});
        tenant_base settings = testing::system_settings(client, c.base_url, c.business_id);
        settings.business_id_suffix = c.suffix;
        tenant t(std::move(settings));
        t.sleep = waits.function();

        const expected<http_response> result =
            t.execute("GET", c.path_template, {}, nullptr, 0, false, false);
        EXPECT_TRUE(result.has_value());
        const auto sends = client->sends();
        EXPECT_EQ(sends.size(), 1u);
        EXPECT_TRUE(waits.waits().empty());
        return sends.empty() ? std::string() : sends.front().url;
    }

    recorded_waits waits;
};

TEST_P(TenantUrl, SendsTheJoinedAndSubstitutedUrl)
{
    const url_case& c = GetParam();
    EXPECT_EQ(sent_url(c), c.expected_url);
}

INSTANTIATE_TEST_SUITE_P(
    Joining, TenantUrl,
    ::testing::Values(
        url_case{"BaseWithTrailingSlash", "https://h/base/", "b1", "", "/api/x", "https://h/base/api/x"},
        url_case{"BaseWithoutTrailingSlash", "https://h/base", "b1", "", "/api/x", "https://h/base/api/x"},
        url_case{"OriginWithSlashAndRootPath", "https://h/", "b1", "", "/", "https://h/"},
        url_case{"EmptyBaseKeepsThePath", "", "b1", "", "/api/x", "/api/x"},
        // Only the base's own trailing slash is dropped against the path's.
        url_case{"DoubleSlashInPathKept", "https://h/", "b1", "", "//x", "https://h//x"},
        url_case{"PathWithoutLeadingSlashIsTheUrl", "https://h/base/", "b1", "", "api/x", "api/x"},
        url_case{"AbsoluteAddressIsTheUrl", "https://h/base/", "b1", "",
                 "https://other.example/v1/{businessId}/q", "https://other.example/v1/b1/q"}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    BusinessId, TenantUrl,
    ::testing::Values(
        url_case{"IdWithSuffix", "https://h", "b1", "eu", "/x/{businessId}/y", "https://h/x/b1.eu/y"},
        url_case{"IdWithEmptySuffix", "https://h", "b1", "", "/x/{businessId}/y", "https://h/x/b1/y"},
        url_case{"SuffixAloneIsNoId", "https://h", "", "eu", "/x/{businessId}/y", "https://h/x/y"},
        url_case{"EmptyIdDropsSegmentAndOneSlash", "http://127.0.0.1:1/", "", "",
                 "/api/business/quorvel/{businessId}/v0/entities/query/vector",
                 "http://127.0.0.1:1/api/business/quorvel/v0/entities/query/vector"},
        // Nothing follows the placeholder, so nothing more is dropped.
        url_case{"EmptyIdAtTheVeryEnd", "https://h", "", "", "/x/{businessId}", "https://h/x/"},
        // At the very start only the placeholder goes; the slash after it
        // stays and makes the rest a path again.
        url_case{"EmptyIdAtTheVeryStart", "https://h/", "", "", "{businessId}/x", "https://h/x"},
        // Nothing is left of the path, and an empty path is no URL at all.
        url_case{"EmptyIdAsTheWholePath", "https://h/", "", "", "{businessId}", ""},
        url_case{"IdAtTheVeryStartMakesAWholeUrl", "https://h/", "b1", "", "{businessId}/x", "b1/x"},
        url_case{"EmptyIdDropsTheByteAfterWhateverItIs", "https://h", "", "", "/x/{businessId}?a=1",
                 "https://h/x/a=1"},
        url_case{"OnlyTheFirstPlaceholderIsReplaced", "https://h", "b1", "", "/{businessId}/{businessId}",
                 "https://h/b1/{businessId}"},
        url_case{"PlaceholderInQueryLeftAlone", "https://h", "b1", "", "/x?b={businessId}",
                 "https://h/x?b={businessId}"},
        url_case{"EmptyIdPlaceholderInQueryLeftAlone", "https://h", "", "", "/x?b={businessId}",
                 "https://h/x?b={businessId}"},
        url_case{"PlaceholderBeforeQueryReplaced", "https://h", "b1", "eu",
                 "/x/{businessId}/y?b={businessId}", "https://h/x/b1.eu/y?b={businessId}"},
        url_case{"NoPlaceholder", "https://h", "b1", "eu", "/x/y?z=1", "https://h/x/y?z=1"},
        // The match is exact: another spelling is just text.
        url_case{"OtherSpellingIsNotAPlaceholder", "https://h", "b1", "", "/x/{businessid}/y",
                 "https://h/x/{businessid}/y"}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace tarsion
