// Envelopes, stops, solo, levels, live changes and recovery, heard in the output.
#include <gtest/gtest.h>

#include "audio/engine_rig.h"

namespace brellow::audio {

using test::dc;
using test::EngineRig;
using test::seconds;
using test::writeSting;

namespace {
constexpr double kLead = 0.005;  // a sting's first frame sounds 5 ms after play
constexpr float kStep = 0.04f;   // one 16 ms fade step plus the ramp across a period
}  // namespace

TEST(EngineFades, FadeInAndAutomaticFadeOutShapeTheLevelAndTheSmallerWins) {
    EngineRig rig;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 480000, dc));
    ASSERT_TRUE(rig.play(id, 0.0, 10.0, false, 1.0, 2.0));
    rig.run(10.1);
    EXPECT_NEAR(rig.at(kLead + 0.5), 0.5f, kStep);  // half way through the fade-in
    EXPECT_NEAR(rig.at(kLead + 5.0), 1.0f, kStep);
    EXPECT_NEAR(rig.at(kLead + 9.0), 0.5f, kStep);  // half way through the fade-out
    EXPECT_LT(rig.at(kLead + 9.95), 0.05f);

    rig.driver->clearCapture();
    ASSERT_TRUE(rig.play(id, 0.0, 1.5, false, 1.0, 1.0));  // they overlap
    rig.run(1.6);
    EXPECT_NEAR(rig.at(kLead + 0.6), 0.6f, kStep);  // fade-in 0.6 beats fade-out 0.9
    EXPECT_NEAR(rig.at(kLead + 1.0), 0.5f, kStep);  // fade-out 0.5 beats fade-in 1
}

TEST(EngineFades, StopAtOnceOrWithAFadeFallingLinearly) {
    EngineRig rig;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 480000, dc), -6);
    ASSERT_TRUE(rig.play(id));
    rig.run(0.5);
    rig.engine->stop(id, 2.0);
    rig.settle();
    const double fadeStart = static_cast<double>(rig.frame()) / 48000.0;
    ASSERT_EQ(rig.eventsOf<event::PlaybackFadeOutStarted>().size(), 1u);
    EXPECT_EQ(rig.eventsOf<event::PlaybackFadeOutStarted>()[0].durationSec, 2.0);
    rig.run(2.2);
    const float level = dbToGain(-6);
    EXPECT_NEAR(rig.at(fadeStart + 1.0), 0.5f * level, kStep);
    EXPECT_NEAR(rig.at(fadeStart + 1.5), 0.25f * level, kStep);
    EXPECT_EQ(rig.at(fadeStart + 2.1), 0.0f);
    const auto stopped = rig.eventsOf<event::PlaybackStopped>();
    ASSERT_EQ(stopped.size(), 1u);
    EXPECT_EQ(stopped[0].reason, StopReason::user);
    EXPECT_EQ(rig.engine->nodeForTesting(id)->mixer->outputVolume(), level);  // back at its level

    ASSERT_TRUE(rig.play(id));
    rig.run(0.1);
    rig.engine->stop(id, 0);
    rig.engine->stop(Uuid::generate(), 0);  // unknown: nothing
    rig.settle();
    const std::size_t stoppedAt = rig.frame();
    rig.run(0.05);
    EXPECT_EQ(rig.driver->left()[stoppedAt + 256], 0.0f);
    EXPECT_EQ(rig.eventsOf<event::PlaybackStopped>().size(), 2u);
}

TEST(EngineFades, AStingFiredAgainWhileFadingOutSounds) {
    EngineRig rig;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 480000, dc));
    ASSERT_TRUE(rig.play(id));
    rig.run(0.5);
    rig.engine->stop(id, 1.0);
    rig.settle();
    rig.run(0.5);
    ASSERT_TRUE(rig.play(id));
    const double again = static_cast<double>(rig.frame()) / 48000.0;
    rig.run(2.0);
    EXPECT_NEAR(rig.at(again + 1.5), 1.0f, 0.001f);  // the old fade-out does not reach it
    EXPECT_EQ(rig.eventsOf<event::PlaybackStopped>().size(), 0u);
}

TEST(EngineFades, StopAllAndSoloStopOthers) {
    EngineRig rig;
    const Uuid a = rig.load(writeSting(rig.dir / "a.caf", 48000, 480000, dc));
    const Uuid b = rig.load(writeSting(rig.dir / "b.caf", 48000, 480000, dc));
    const Uuid idle = rig.load(writeSting(rig.dir / "c.caf", 48000, 4800, dc));
    ASSERT_TRUE(rig.play(a, std::nullopt, std::nullopt, true));  // looped: no fade-out of its own
    ASSERT_TRUE(rig.play(b, std::nullopt, std::nullopt, false, 0, 0.8));
    rig.run(0.2);
    rig.engine->stopOthers(b, 0.4);  // solo: b is about to play again
    rig.settle();
    EXPECT_TRUE(rig.events.size() >= 3);
    rig.run(0.6);
    auto stopped = rig.eventsOf<event::PlaybackStopped>();
    ASSERT_EQ(stopped.size(), 1u);  // a faded over 0.4 s and stopped; b untouched
    EXPECT_EQ(stopped[0].stingID, a);
    EXPECT_TRUE(rig.engine->nodeForTesting(b)->player->isPlaying());

    ASSERT_TRUE(rig.play(a));
    rig.run(0.1);
    rig.events.clear();
    rig.engine->stopAll(false);
    rig.settle();
    stopped = rig.eventsOf<event::PlaybackStopped>();
    EXPECT_EQ(stopped.size(), 2u);  // a and b; the idle sting emits nothing
    for (const auto& s : stopped)
        EXPECT_NE(s.stingID, idle);
}

TEST(EngineLevels, VolumeChangesKeepTheFadePositionAndMasterScalesAll) {
    EngineRig rig;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 480000, dc));
    ASSERT_TRUE(rig.play(id, std::nullopt, std::nullopt, false, 1.0, 0));
    rig.run(kLead + 0.5);
    rig.engine->setVolume(id, -6);  // half way through the fade-in
    rig.settle();
    EXPECT_NEAR(rig.engine->nodeForTesting(id)->mixer->outputVolume(), 0.25f, kStep);
    rig.run(1.0);
    EXPECT_NEAR(rig.driver->left().back(), dbToGain(-6), 0.001f);
    rig.engine->setMasterVolume(-6);
    rig.settle();
    rig.run(0.05);
    EXPECT_NEAR(rig.driver->left().back(), dbToGain(-6) * dbToGain(-6), 0.001f);
    rig.engine->setMasterVolume(-120);
    rig.settle();
    rig.run(0.05);
    EXPECT_EQ(rig.driver->left().back(), 0.0f);
    EXPECT_TRUE(rig.engine->nodeForTesting(id)->player->isPlaying());
    rig.engine->setVolume(Uuid::generate(), 0);
    rig.settle();
    EXPECT_EQ(rig.eventsOf<event::VolumeChanged>().size(), 1u);
}

TEST(EngineLiveChanges, TrimsMoveWithoutARestartAndPositionsStayContinuous) {
    EngineRig rig;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 480000, seconds));
    ASSERT_TRUE(rig.play(id, 1.0, 9.0));
    rig.run(0.5);
    rig.engine->setTrim(id, 0.5, 8.0);  // the playhead (about 1.5 s) stays inside
    rig.settle();
    const std::size_t changed = rig.frame();
    rig.run(0.1);
    const auto& left = rig.driver->left();
    EXPECT_FLOAT_EQ(left[changed], left[changed - 1] + 1.0f / 48000.0f);
    std::vector<StingPosition> positions;
    rig.engine->currentPositions([&](auto p) { positions = p; });
    rig.settle();
    ASSERT_EQ(positions.size(), 1u);
    EXPECT_NEAR(positions[0].positionSec, left.back(), 0.01);

    rig.engine->setTrim(id, 4.0, 6.0);  // the playhead falls outside: jump to the new trim-in
    rig.settle();
    const std::size_t jumped = rig.frame();
    rig.run(0.1);
    EXPECT_FLOAT_EQ(left[jumped], 4.0f);
    rig.engine->setTrim(id, 7.0, 2.0);  // trim-out before trim-in: nothing rescheduled
    rig.settle();
    rig.run(0.05);
    EXPECT_TRUE(rig.eventsOf<event::PlaybackStopped>().empty());
}

TEST(EngineLiveChanges, SwitchingLoopOnKeepsPlayingAndOffCompletesAtTrimOut) {
    for (const std::uint64_t limit :
         {std::uint64_t{52'428'800}, std::uint64_t{1000}}) {  // memory, file
        EngineRig rig(limit);
        const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 48000, seconds));
        ASSERT_TRUE(rig.play(id, 0.0, 0.5));
        rig.run(0.2);
        rig.engine->setLoop(id, true, 0);
        rig.settle();
        rig.run(1.0);  // two more passes
        EXPECT_TRUE(rig.eventsOf<event::PlaybackStopped>().empty()) << limit;
        EXPECT_TRUE(rig.engine->nodeForTesting(id)->player->isPlaying());
        const auto& left = rig.driver->left();
        EXPECT_FLOAT_EQ(left[240 + 24000], 0.0f) << limit;  // the second pass joins the first
        EXPECT_FLOAT_EQ(left[240 + 24001], seconds(1)) << limit;
        rig.engine->setLoop(id, false, 0);
        rig.settle();
        const float before = left.back();
        const std::size_t switched = rig.frame();
        rig.run(0.02);
        EXPECT_FLOAT_EQ(left[switched], before + 1.0f / 48000.0f) << limit;  // no jump, no repeat
        rig.run(0.6);
        const auto stopped = rig.eventsOf<event::PlaybackStopped>();
        ASSERT_EQ(stopped.size(), 1u) << limit;
        EXPECT_EQ(stopped[0].reason, StopReason::completed);
        EXPECT_EQ(left.back(), 0.0f);
    }
}

TEST(EngineRecovery, AConfigurationChangeRestartsAndResumesCuesWhereTheyWere) {
    EngineRig rig;
    test::CapturedLogForEngine log;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 480000, seconds));
    ASSERT_TRUE(rig.play(id, 1.0, 9.0));
    rig.run(3.2);
    rig.engine->currentPositions([](auto) {});  // the playhead timer's query
    rig.settle();
    const double lastKnown = rig.engine->nodeForTesting(id)->lastKnownPositionSec;
    rig.driver->disrupt("device removed");
    rig.settle();
    rig.run(0.1);
    EXPECT_NEAR(rig.driver->left().back(), lastKnown + 0.1, 0.01);
    const auto devices = rig.eventsOf<event::DeviceChanged>();
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(devices[0].deviceName, "Default output");
    EXPECT_TRUE(devices[0].fellBack);
    EXPECT_TRUE(log.sink().contains(LogLevel::notice, "AudioEngine",
                                    "Engine restarted after config change"));
    EXPECT_TRUE(rig.eventsOf<event::PlaybackStopped>().empty());
    rig.run(6.0);
    EXPECT_EQ(rig.eventsOf<event::PlaybackStopped>().size(), 1u);  // completes once, at trim-out
}

TEST(EngineRecovery, AWakeWithEverythingSoundingDoesNothing) {
    EngineRig rig;
    test::CapturedLogForEngine log;
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 480000, dc));
    ASSERT_TRUE(rig.play(id));
    rig.run(0.1);
    rig.engine->recoverAfterWake();
    rig.settle();
    EXPECT_EQ(log.sink().count("Recovering audio after wake"), 0u);
}

}  // namespace brellow::audio
