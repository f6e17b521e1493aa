// Loading and playing stings: trims, loops, completion, positions, events.
#include <gtest/gtest.h>

#include "audio/engine_rig.h"

namespace brellow::audio {

using test::dc;
using test::EngineRig;
using test::seconds;
using test::writeSting;

namespace {
std::optional<EngineError::Code> codeOf(const EngineFailure& failure) {
    const EngineError* error = failure.engineError();
    return error != nullptr ? std::optional(error->code) : std::nullopt;
}
}  // namespace

TEST(EngineLevels, DecibelsToGain) {
    EXPECT_EQ(dbToGain(-120), 0.0f);
    EXPECT_EQ(dbToGain(-500), 0.0f);
    EXPECT_GT(dbToGain(-119.9), 0.0f);
    EXPECT_EQ(dbToGain(0), 1.0f);
    EXPECT_NEAR(dbToGain(-6), 0.501f, 0.001f);
    EXPECT_NEAR(dbToGain(6), 1.995f, 0.001f);
}

TEST(EnginePlayback, PlaysTheTrimmedRangeFiveMillisecondsAheadAndCompletes) {
    EngineRig rig;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 48000, seconds));
    const std::uint64_t before = rig.clock.now();
    const auto started = rig.play(id, 0.25, 0.5);
    ASSERT_TRUE(started);
    EXPECT_EQ(*started, before + 5'000'000);
    rig.run(0.5);
    // 5 ms lead = 240 frames; the first sample is file second 0.25.
    EXPECT_EQ(rig.driver->left()[239], 0.0f);
    EXPECT_FLOAT_EQ(rig.driver->left()[240], 0.25f);
    EXPECT_FLOAT_EQ(rig.driver->left()[240 + 11999], seconds(12000 + 11999));
    EXPECT_EQ(rig.driver->left()[240 + 12000], 0.0f);

    ASSERT_EQ(rig.events.size(), 2u);
    const auto& start = std::get<event::PlaybackStarted>(rig.events[0]);
    EXPECT_EQ(start.stingID, id);
    EXPECT_EQ(start.hostTime, *started);
    EXPECT_EQ(std::get<event::PlaybackStopped>(rig.events[1]).reason, StopReason::completed);
    EXPECT_FALSE(rig.engine->nodeForTesting(id)->playIntent);
}

TEST(EnginePlayback, RefusesUnknownStingsAndTrimsThatLeaveNothing) {
    EngineRig rig;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 48000, dc));
    const auto unknown = rig.play(Uuid::generate());
    ASSERT_FALSE(unknown);
    EXPECT_EQ(codeOf(unknown.error()), EngineError::Code::unknownSting);
    for (const auto& [in, out] :
         std::vector<std::pair<double, double>>{{0.5, 0.5}, {0.6, 0.2}, {2, 3}}) {
        const auto refused = rig.play(id, in, out);
        ASSERT_FALSE(refused);
        EXPECT_EQ(codeOf(refused.error()), EngineError::Code::invalidTrim);
    }
    EXPECT_TRUE(rig.events.empty());
    // Trim-out past the end is clamped; none plays to the end.
    ASSERT_TRUE(rig.play(id, 0.5, 7.0));
    rig.run(0.6);
    EXPECT_EQ(rig.eventsOf<event::PlaybackStopped>().size(), 1u);
}

TEST(EnginePlayback, LoopsRepeatTheTrimmedRangeFromMemoryAndFromFile) {
    for (const std::uint64_t limit : {std::uint64_t{52'428'800}, std::uint64_t{1000}}) {
        EngineRig rig(limit);
        const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 96000, seconds));
        const char* storage = rig.engine->nodeForTesting(id)->storageName();
        ASSERT_TRUE(rig.play(id, 0.5, 0.6, true, 1.0, 1.0));  // loops have no fades
        rig.run(0.46);
        const auto& left = rig.driver->left();
        for (std::size_t i = 0; i < 19200; ++i) {  // four passes of 4800 frames
            ASSERT_FLOAT_EQ(left[240 + i], seconds(24000 + static_cast<std::int64_t>(i % 4800)))
                << storage << " frame " << i;
        }
        std::vector<StingPosition> positions;
        rig.engine->currentPositions(
            [&](std::vector<StingPosition> p) { positions = std::move(p); });
        rig.settle();
        ASSERT_EQ(positions.size(), 1u) << storage;
        EXPECT_GE(positions[0].positionSec, 0.5);
        EXPECT_LT(positions[0].positionSec, 0.6);
        EXPECT_TRUE(rig.eventsOf<event::PlaybackStopped>().empty()) << storage;
        EXPECT_EQ(rig.engine->nodeForTesting(id)->fadeInSec, 0.0);
    }
}

TEST(EnginePlayback, MemoryHoldsUpTo52428800BytesAndStreamsBeyond) {
    EngineRig rig;
    const std::int64_t frames = 52'428'800 / 4;  // mono float: 4 bytes a frame
    const Uuid inMemory = rig.load(writeSting(rig.dir / "a.caf", 48000, frames, dc));
    const Uuid streamed = rig.load(writeSting(rig.dir / "b.caf", 48000, frames + 1, dc));
    EXPECT_EQ(rig.engine->nodeForTesting(inMemory)->storage, StingNode::Storage::buffer);
    EXPECT_EQ(rig.engine->nodeForTesting(streamed)->storage, StingNode::Storage::file);
}

TEST(EnginePlayback, PlayingAgainRestartsFromTrimInAndOnlyTheNewRunCompletes) {
    EngineRig rig;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 48000, seconds));
    ASSERT_TRUE(rig.play(id, 0.2, 0.4));
    rig.run(0.1);
    const std::size_t restartFrame = rig.frame();
    ASSERT_TRUE(rig.play(id, 0.2, 0.4));
    rig.run(0.3);
    EXPECT_FLOAT_EQ(rig.driver->left()[restartFrame + 240], 0.2f);
    const auto stopped = rig.eventsOf<event::PlaybackStopped>();
    ASSERT_EQ(stopped.size(), 1u);  // the cut-short first run does not complete the second
    EXPECT_EQ(rig.eventsOf<event::PlaybackStarted>().size(), 2u);
}

TEST(EnginePlayback, UnloadAndReloadReplaceTheNodeQuietly) {
    EngineRig rig;
    const auto path = writeSting(rig.dir / "a.caf", 48000, 4800, dc);
    const Uuid id = rig.load(path);
    ASSERT_TRUE(rig.play(id));
    rig.run(0.02);
    std::optional<EngineFailure> failure;
    rig.engine->loadSting(id, rig.dir / "missing.caf", 0, [&](auto f) { failure = f; });
    rig.settle();
    ASSERT_TRUE(failure);  // the platform's error, passed through
    EXPECT_EQ(rig.engine->nodeForTesting(id), nullptr);
    rig.engine->unload(Uuid::generate());  // unknown: nothing
    rig.engine->unload(id);
    rig.settle();
    rig.run(0.1);
    EXPECT_TRUE(rig.eventsOf<event::PlaybackStopped>().empty());
}

TEST(EngineEvents, EveryObserverReceivesEveryEventOnce) {
    EngineRig rig;
    std::vector<Event> second;
    rig.engine->addObserver([&](const Event& e) { second.push_back(e); });
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 4800, dc));
    rig.engine->setVolume(id, -3);
    rig.settle();
    EXPECT_EQ(rig.events.size(), 1u);
    EXPECT_EQ(second.size(), 1u);
    EXPECT_EQ(std::get<event::VolumeChanged>(second[0]).dB, -3);
    EXPECT_EQ(stopReasonFromRawValue("completed"), StopReason::completed);
    EXPECT_FALSE(stopReasonFromRawValue("Completed"));
    EXPECT_FALSE(stopReasonFromRawValue(""));
}

}  // namespace brellow::audio
