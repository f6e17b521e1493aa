// Converters kept ready for the stings' rate pairs.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "audio/graph/resampler_pool.h"

namespace brellow::audio {

namespace {

bool waitFor(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace

TEST(ResamplerPool, KeepsItsStockForRegisteredPairsAndRefillsAfterATake) {
    ResamplerPool pool(3, /*background=*/true);
    EXPECT_EQ(pool.ready(44100, 48000), 0u);
    pool.registerPair(44100, 48000);
    pool.registerPair(48000, 48000);  // nothing to convert: never stocked
    ASSERT_TRUE(waitFor([&] { return pool.ready(44100, 48000) == 3; }));
    auto taken = pool.take(44100, 48000);
    ASSERT_TRUE(taken && taken->valid());
    EXPECT_EQ(taken->ratio(), 48000.0 / 44100.0);
    EXPECT_TRUE(waitFor([&] { return pool.ready(44100, 48000) == 3; }));
    EXPECT_EQ(pool.ready(48000, 48000), 0u);
    // A pair nobody registered is made on the spot.
    auto unregistered = pool.take(96000, 44100);
    ASSERT_TRUE(unregistered && unregistered->valid());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(pool.ready(96000, 44100), 0u);
}

TEST(ResamplerPool, WithoutItsThreadEveryTakeIsMadeOnTheSpot) {
    ResamplerPool pool(3, /*background=*/false);
    pool.registerPair(22050, 48000);
    auto taken = pool.take(22050, 48000);
    ASSERT_TRUE(taken && taken->valid());
    EXPECT_EQ(pool.ready(22050, 48000), 0u);
}

}  // namespace brellow::audio
