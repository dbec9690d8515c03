#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sdk/core/c_random.h"
#include "sdk/core/string_body.h"
#include "sdk/core/tenant.h"
#include "tests/support/pipeline_fakes.h"
#include "tests/support/scripted_http_client.h"

namespace tarsion {
namespace {

using testing::fake_token_factory;
using testing::recorded_send;
using testing::recorded_waits;
using testing::recording_logger;
using testing::scripted_http_client;
using testing::scripted_reply;

constexpr int kThreads = 8;
constexpr int kCallsPerThread = 40;

std::string call_path(int thread, int call)
{
    return "/c/{businessId}/" + std::to_string(thread) + "/" + std::to_string(call);
}

std::string call_url(int thread, int call)
{
    return "http://127.0.0.1:1/c/b1/" + std::to_string(thread) + "/" + std::to_string(call);
}

std::string call_body(int thread, int call)
{
    return "body-" + std::to_string(thread) + "-" + std::to_string(call);
}

// Gives other threads every chance to write between two lines of one
// attempt, so that lines which are not kept together do get mixed.
class yielding_logger : public recording_logger
{
public:
    void write(std::uint32_t level, const std::string& tag, const std::string& text) override
    {
        recording_logger::write(level, tag, text);
        for (int i = 0; i < 20; ++i)
            std::this_thread::yield();
    }
};

// Every call is refused once with 503 and then answered with an echo of what
// the request carried, so that each call makes two attempts and a mixed-up
// answer shows.
class TenantConcurrency : public ::testing::Test
{
protected:
    TenantConcurrency()
    {
        client = std::make_shared<scripted_http_client>([this](const recorded_send& s) { return answer(s); });
        t = std::make_shared<tenant>(testing::system_settings(client),
                                     std::make_unique<fake_token_factory>("tok"), logger);
        t->sleep = waits.function();
    }

    scripted_reply answer(const recorded_send& s)
    {
        int attempt = 0;
        {
            std::lock_guard guard(attempts_lock);
            attempt = ++attempts[s.url];
        }
        if (attempt == 1)
            return {503, "busy " + s.url, {}, 0};
        const http::header* caller = s.headers.find("X-Caller");
        return {200,
                "echo " + s.url + " " + (caller ? caller->second : "?") + " " + s.body,
                {{"X-Url", s.url}},
                0};
    }

    std::shared_ptr<recording_logger> logger = std::make_shared<yielding_logger>();
    std::shared_ptr<scripted_http_client> client;
    std::shared_ptr<tenant> t;
    recorded_waits waits;
    std::mutex attempts_lock;
    std::map<std::string, int> attempts;
};

// One run serves both checks: each caller gets its own answer, and each
// attempt's log lines stay together.
TEST_F(TenantConcurrency, EachCallerGetsItsOwnAnswerAndItsOwnLogLines)
{
    std::vector<std::vector<std::string>> failures(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([this, i, &failures] {
            for (int call = 0; call < kCallsPerThread; ++call) {
                const http::string_body::factory body(call_body(i, call));
                const expected<http_response> result = t->execute(
                    "GET", call_path(i, call), {{"X-Caller", std::to_string(i)}}, &body, 0, false, false);
                const std::string expected_body =
                    "echo " + call_url(i, call) + " " + std::to_string(i) + " " + call_body(i, call);
                if (!result)
                    failures[i].push_back("error kind " + std::to_string(result.error().kind));
                else if (result->status != 200 || result->body != expected_body)
                    failures[i].push_back(std::to_string(result->status) + " " + result->body);
            }
        });
    }
    for (auto& th : threads)
        th.join();

    for (int i = 0; i < kThreads; ++i)
        EXPECT_THAT(failures[i], ::testing::IsEmpty()) << "thread " << i;
    EXPECT_EQ(client->sends().size(), static_cast<std::size_t>(2 * kThreads * kCallsPerThread));
    EXPECT_EQ(waits.waits().size(), static_cast<std::size_t>(kThreads * kCallsPerThread));

    const auto lines = logger->lines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(3 * 2 * kThreads * kCallsPerThread));
    std::map<std::string, int> outcomes_per_url;
    for (std::size_t k = 0; k < lines.size(); k += 3) {
        const auto& request = lines[k];
        const auto& body = lines[k + 1];
        const auto& outcome = lines[k + 2];
        ASSERT_EQ(request.level, 0u) << k;
        ASSERT_EQ(body.level, 1u) << k;
        ASSERT_EQ(outcome.level, 0u) << k;
        ASSERT_EQ(request.text.rfind("GET ", 0), 0u) << request.text;
        const std::string url = request.text.substr(4);
        // The url names its thread and call; the body and outcome must be
        // the ones of that very request.
        const std::string tail = url.substr(std::string("http://127.0.0.1:1/c/b1/").size());
        const std::size_t slash = tail.find('/');
        const std::string expected_body = "body-" + tail.substr(0, slash) + "-" + tail.substr(slash + 1);
        ASSERT_EQ(body.text, expected_body) << k;
        const int n = ++outcomes_per_url[url];
        if (n == 1)
            ASSERT_EQ(outcome.text, "Response: 503 busy " + url) << k;
        else
            ASSERT_EQ(outcome.text,
                      "Response: 200 echo " + url + " " + tail.substr(0, slash) + " " + expected_body)
                << k;
    }
    EXPECT_EQ(outcomes_per_url.size(), static_cast<std::size_t>(kThreads * kCallsPerThread));
}

TEST(CRandomConcurrency, DrawsFromManyThreadsStayInRange)
{
    std::vector<std::vector<std::string>> bad(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([i, &bad] {
            random::c_random source;
            for (int n = 0; n < 2000; ++n) {
                const std::int32_t v = source.next(i, -i);
                if (v < -i || v > i)
                    bad[i].push_back(std::to_string(v));
            }
        });
    }
    for (auto& th : threads)
        th.join();
    for (int i = 0; i < kThreads; ++i)
        EXPECT_THAT(bad[i], ::testing::IsEmpty()) << "thread " << i;
}

} // namespace
} // namespace tarsion
