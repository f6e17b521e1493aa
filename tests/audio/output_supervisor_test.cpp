// The supervisor's retry schedule, and that it keeps retrying a stand-in output until the
// wanted one answers, then stops.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "audio/engine/output_supervisor.h"

namespace brellow::audio {

using namespace std::chrono_literals;

TEST(RetryBackoff, StartsShortDoublesAndStaysAtItsCeilingUntilReset) {
    RetryBackoff backoff(200ms, 800ms);
    EXPECT_EQ(backoff.next(), 200ms);
    EXPECT_EQ(backoff.next(), 400ms);
    EXPECT_EQ(backoff.next(), 800ms);
    EXPECT_EQ(backoff.next(), 800ms);
    backoff.reset();
    EXPECT_EQ(backoff.next(), 200ms);
    // The defaults keep the first retry within a quarter second and the slowest within 2 s.
    const OutputSupervisor::Options defaults;
    EXPECT_LE(defaults.firstRetry + defaults.tick, 250ms);
    EXPECT_LE(defaults.retryCeiling + defaults.tick, 1s);
}

namespace {

class FakeOutput final : public SupervisedOutput {
  public:
    bool wantsRetry() const override { return onStandIn; }
    bool retryWanted() override {
        const int attempt = ++attempts;
        if (attempt < succeedOnAttempt) return false;
        onStandIn = false;
        return true;
    }
    bool checkStalled(std::chrono::steady_clock::time_point) override {
        ++stallChecks;
        return false;
    }
    std::uint64_t xrunCount() const override { return 0; }
    std::string describe() const override { return "fake"; }

    std::atomic<bool> onStandIn{true};
    std::atomic<int> attempts{0};
    std::atomic<int> stallChecks{0};
    int succeedOnAttempt = 3;
};

bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 400 && !condition(); ++i)
        std::this_thread::sleep_for(5ms);
    return condition();
}

}  // namespace

TEST(OutputSupervisor, RetriesUntilTheWantedOutputAnswersThenStops) {
    FakeOutput output;
    OutputSupervisor supervisor(output, {1ms, 4ms, 1ms});
    ASSERT_TRUE(eventually([&] { return !output.onStandIn.load(); }));
    std::this_thread::sleep_for(30ms);
    EXPECT_EQ(output.attempts.load(), 3);
    EXPECT_GT(output.stallChecks.load(), 0);

    // Back on a stand-in later (the server went away again): retrying starts over.
    output.succeedOnAttempt = 5;
    output.onStandIn = true;
    ASSERT_TRUE(eventually([&] { return !output.onStandIn.load(); }));
    EXPECT_EQ(output.attempts.load(), 5);
}

}  // namespace brellow::audio
