#include <gtest/gtest.h>

#include "sdk/core/error.h"
#include "sdk/core/http_response.h"

namespace tarsion {
namespace {

TEST(Error, KindsHaveTheirFixedNumbers)
{
    EXPECT_EQ(error_kind::missing_configuration, 2u);
    EXPECT_EQ(error_kind::transport, 4u);
    EXPECT_EQ(error_kind::http_status, 5u);
    EXPECT_EQ(error_kind::token_renewal_status, 6u);
    EXPECT_EQ(error_kind::invalid_body, 7u);
}

TEST(Error, ExpectedHoldingAnErrorNeverExposesAResponse)
{
    expected<http_response> result = make_error(error_kind::transport, 99);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, error_kind::transport);
    EXPECT_EQ(result.error().code, 99u);
    EXPECT_TRUE(result.error().message.empty());
    EXPECT_THROW((void)result.value(), std::bad_expected_access<error>);
}

TEST(Error, ExpectedHoldingAResponseWithStatusZeroIsAValue)
{
    expected<http_response> result = http_response{};
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 0u);
}

TEST(Error, MakeErrorCarriesDetails)
{
    const auto e = make_error(error_kind::http_status, 500, "boom", {{"X-Id", "7"}});
    EXPECT_EQ(e.error(), (error{5, 500, "boom", {{"X-Id", "7"}}}));
}

} // namespace
} // namespace tarsion
