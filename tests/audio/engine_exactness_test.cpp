// Whole ranges at any rate, clean stops, and live loop and trim changes in the order an
// operator makes them, from memory and streamed from file alike.
#include <gtest/gtest.h>

#include <cmath>

#include "audio/engine_rig.h"

namespace brellow::audio {

using test::EngineRig;
using test::seconds;
using test::writeSting;

namespace {

constexpr std::uint64_t kInMemory = 52'428'800;
constexpr std::uint64_t kStreamed = 1000;  // every sting streams from its file

std::vector<StopReason> stopReasons(const EngineRig& rig) {
    std::vector<StopReason> reasons;
    for (const auto& stopped : rig.eventsOf<event::PlaybackStopped>())
        reasons.push_back(stopped.reason);
    return reasons;
}

// Output frames from `from` on louder than half scale.
long loudFrames(const std::vector<float>& samples, std::size_t from = 0) {
    long count = 0;
    for (std::size_t i = from; i < samples.size(); ++i)
        count += std::fabs(samples[i]) > 0.5f ? 1 : 0;
    return count;
}

// A sting whose channel c holds the constant 0.01 * (c + 1), so each channel's share of the
// output can be told apart.
std::filesystem::path writeChannels(const std::filesystem::path& path, double rate, int channels,
                                    std::int64_t frames) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(rate);
    info.channels = channels;
    info.format = SF_FORMAT_CAF | SF_FORMAT_FLOAT | SF_ENDIAN_LITTLE;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> frame(static_cast<std::size_t>(channels));
    for (int c = 0; c < channels; ++c)
        frame[static_cast<std::size_t>(c)] = 0.01f * static_cast<float>(c + 1);
    for (std::int64_t f = 0; f < frames; ++f)
        sf_writef_float(file, frame.data(), 1);
    sf_close(file);
    return path;
}

}  // namespace

TEST(EngineExactness, AnyChannelCountFoldsToStereoFromMemoryAndFromFile) {
    const double k = std::sqrt(0.5);  // -3 dB
    // Expected left and right by the BS.775 downmix: L + k C + k Ls (+ k Lb) and the mirror;
    // the LFE (0.04) is left out; channels past 7.1 reach both sides at k / sqrt(their number).
    struct Case {
        int channels;
        double left, right;
    };
    double extra = 0;
    for (int c = 8; c < 24; ++c)
        extra += 0.01 * (c + 1);
    const double l71 = 0.01 + k * 0.03 + k * 0.05 + k * 0.07;
    const double r71 = 0.02 + k * 0.03 + k * 0.06 + k * 0.08;
    const Case cases[] = {{1, 0.01, 0.01},
                          {2, 0.01, 0.02},
                          {6, 0.01 + k * 0.03 + k * 0.05, 0.02 + k * 0.03 + k * 0.06},
                          {8, l71, r71},
                          {24, l71 + k / 4 * extra, r71 + k / 4 * extra}};
    for (const std::uint64_t limit : {kInMemory, kStreamed}) {
        for (const double rate : {48000.0, 44100.0}) {
            for (const Case& expected : cases) {
                SCOPED_TRACE(testing::Message() << expected.channels << " channels at " << rate
                                                << " Hz, memory limit " << limit);
                EngineRig rig(limit);
                const Uuid id = rig.load(writeChannels(rig.dir / "c.caf", rate, expected.channels,
                                                       static_cast<std::int64_t>(rate / 5)));
                ASSERT_TRUE(rig.play(id));
                rig.run(0.3);
                EXPECT_NEAR(rig.driver->left()[4800], expected.left, 1e-4);
                EXPECT_NEAR(rig.driver->right()[4800], expected.right, 1e-4);
                EXPECT_EQ(stopReasons(rig), std::vector<StopReason>{StopReason::completed});
            }
        }
    }
}

TEST(EngineExactness, ASting441OnA48kOutputPlaysToItsLastFrameAndThenCompletes) {
    for (const std::uint64_t limit : {kInMemory, kStreamed}) {
        SCOPED_TRACE(limit);
        EngineRig rig(limit);
        // 30.7 s at 44.1 kHz: the old converter cut 0.34% of a sting plus about 20 ms.
        const std::int64_t frames = 1'353'870;
        const Uuid id = rig.load(
            writeSting(rig.dir / "long.caf", 44100, frames, [](std::int64_t) { return 0.8f; }));
        ASSERT_TRUE(rig.play(id));
        rig.run(30.0);
        EXPECT_TRUE(rig.eventsOf<event::PlaybackStopped>().empty());
        std::vector<StingPosition> positions;
        rig.engine->currentPositions([&](auto p) { positions = p; });
        rig.settle();
        ASSERT_EQ(positions.size(), 1u);
        // 30 s less the 5 ms start lead, on the file's own clock.
        EXPECT_NEAR(positions[0].positionSec, 29.995, 0.006);
        rig.run(1.0);
        const auto& left = rig.driver->left();
        const double expected = static_cast<double>(frames) * 48000.0 / 44100.0;
        EXPECT_NEAR(static_cast<double>(loudFrames(left)), expected, 2.0);
        EXPECT_EQ(stopReasons(rig), std::vector<StopReason>{StopReason::completed});
    }
}

TEST(EngineExactness, AnImmediateStopRampsToSilenceWithinFiveMilliseconds) {
    for (const double rate : {48000.0, 44100.0}) {
        SCOPED_TRACE(rate);
        EngineRig rig;
        const Uuid id = rig.load(
            writeSting(rig.dir / "dc.caf", rate, 480000, [](std::int64_t) { return 1.0f; }));
        ASSERT_TRUE(rig.play(id));
        rig.run(0.3);
        rig.engine->stop(id, 0);
        rig.settle();
        const std::size_t stoppedAt = rig.frame();
        rig.run(0.05);
        const auto& left = rig.driver->left();
        // It falls from full level without a step and is silent 5 ms (240 frames) later.
        EXPECT_GT(left[stoppedAt], 0.9f);
        for (std::size_t i = stoppedAt + 1; i < stoppedAt + 300; ++i)
            ASSERT_LT(std::fabs(left[i] - left[i - 1]), 0.02f) << i - stoppedAt;
        EXPECT_LT(std::fabs(left[stoppedAt + 240]), 1e-3f);
        EXPECT_EQ(left[stoppedAt + 400], 0.0f);
        EXPECT_EQ(stopReasons(rig), std::vector<StopReason>{StopReason::user});
    }
}

TEST(EngineLiveChanges, LoopOnThenOffWithinOnePassCompletesAtTrimOut) {
    for (const std::uint64_t limit : {kInMemory, kStreamed}) {
        SCOPED_TRACE(limit);
        EngineRig rig(limit);
        const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 48000, seconds));
        ASSERT_TRUE(rig.play(id, 0.0, 0.5));
        rig.run(0.2);
        rig.engine->setLoop(id, true, 0);
        rig.settle();
        rig.run(0.1);
        rig.engine->setLoop(id, false, 0);
        rig.settle();
        const std::size_t switched = rig.frame();
        const float before = rig.driver->left()[switched - 1];
        rig.run(0.4);
        const auto& left = rig.driver->left();
        EXPECT_FLOAT_EQ(left[switched], before + 1.0f / 48000.0f);  // goes straight on
        // The last frame of the range sounds once, then the run completes.
        const auto last = std::find(left.begin(), left.end(), seconds(23999));
        ASSERT_NE(last, left.end());
        EXPECT_EQ(*(last + 1), 0.0f);
        EXPECT_EQ(stopReasons(rig), std::vector<StopReason>{StopReason::completed});
        EXPECT_FALSE(rig.engine->nodeForTesting(id)->player->isPlaying());
    }
}

TEST(EngineLiveChanges, LoopOffAfterALiveTrimContinuesToTheNewTrimOut) {
    EngineRig rig;  // a streamed sting takes a trim at its next pass, so only in memory
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 48000, seconds));
    ASSERT_TRUE(rig.play(id, 0.0, 1.0, /*loop=*/true));
    rig.run(0.3);
    rig.engine->setTrim(id, 0.2, 0.8);  // the playhead (near 0.3 s) stays inside
    rig.settle();
    rig.run(0.1);
    rig.engine->setLoop(id, false, 0);
    rig.settle();
    const std::size_t switched = rig.frame();
    const float before = rig.driver->left()[switched - 1];
    rig.run(0.5);
    const auto& left = rig.driver->left();
    EXPECT_FLOAT_EQ(left[switched], before + 1.0f / 48000.0f);
    const auto last = std::find(left.begin() + static_cast<long>(switched), left.end(),
                                seconds(38399));  // the frame before 0.8 s
    ASSERT_NE(last, left.end());
    EXPECT_EQ(*(last + 1), 0.0f);
    EXPECT_EQ(stopReasons(rig), std::vector<StopReason>{StopReason::completed});
}

TEST(EngineLiveChanges, TrimsOutsideTheFileAreClampedNeverSilent) {
    for (const std::uint64_t limit : {kInMemory, kStreamed}) {
        SCOPED_TRACE(limit);
        EngineRig rig(limit);
        const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 24000, seconds));
        ASSERT_TRUE(rig.play(id, -0.3, 9.0));
        rig.run(0.6);
        const auto& left = rig.driver->left();
        // From the first frame of the file (0.0, then 1/48000) to its last.
        EXPECT_EQ(left[240], 0.0f);
        EXPECT_FLOAT_EQ(left[241], seconds(1));
        EXPECT_FLOAT_EQ(left[240 + 23999], seconds(23999));
        EXPECT_EQ(stopReasons(rig), std::vector<StopReason>{StopReason::completed});
    }
}

}  // namespace brellow::audio
