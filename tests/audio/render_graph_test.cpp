// The render graph through the offline driver: what each operation sounds like, sample by
// sample.
#include <gtest/gtest.h>

#include <cmath>

#include "audio/offline_rig.h"

namespace brellow::audio {

using test::makeBuffer;
using test::OfflineRig;
using test::Voice;

namespace {

const AudioFormat kMono48{48000, 1, SampleType::float32};
const AudioFormat kStereo48{48000, 2, SampleType::float32};

float ramp(std::uint32_t, std::uint32_t f) {
    return static_cast<float>(f + 1) / 1000.0f;
}
float one(std::uint32_t, std::uint32_t) {
    return 1.0f;
}

struct CompletionLog {
    CompletionHandler handler() {
        return [this](CompletionCallbackType type) { types.push_back(type); };
    }
    std::vector<CompletionCallbackType> types;
};

}  // namespace

class GraphPlayback : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(rig.engine->start()); }
    const std::vector<float>& left() const { return rig.driver->left(); }
    const std::vector<float>& right() const { return rig.driver->right(); }
    OfflineRig rig;
};

TEST_F(GraphPlayback, AScheduledBufferPlaysItsExactSamplesFromTheFrameOfItsHostTime) {
    Voice voice(*rig.engine, kMono48);
    voice.player.scheduleBuffer(makeBuffer(48000, 1, 1000, ramp), kPlayerOptionNone,
                                CompletionCallbackType::dataPlayedBack, {});
    voice.player.play(rig.driver->hostTimeOfFrame(1234));  // mid-period on purpose
    rig.render(4096);
    EXPECT_EQ(test::firstSound(left()), 1234);
    for (std::uint32_t f = 0; f < 1000; ++f) {
        ASSERT_EQ(left()[1234 + f], ramp(0, f)) << f;
        ASSERT_EQ(right()[1234 + f], ramp(0, f)) << f;  // mono sounds on both sides
    }
    EXPECT_EQ(left()[2234], 0.0f);
}

TEST_F(GraphPlayback, CompletionFiresOnceTheLastSampleIsRenderedAndForItemsCutShort) {
    Voice voice(*rig.engine, kMono48);
    CompletionLog log;
    voice.player.scheduleBuffer(makeBuffer(48000, 1, 1000, one), kPlayerOptionNone,
                                CompletionCallbackType::dataPlayedBack, log.handler());
    voice.player.play(rig.driver->hostTimeOfFrame(0));
    rig.render(999);
    EXPECT_TRUE(log.types.empty());
    rig.render(1);
    EXPECT_EQ(log.types, std::vector{CompletionCallbackType::dataPlayedBack});

    // Stop and reset cut items short, and their handlers still fire.
    voice.player.scheduleBuffer(makeBuffer(48000, 1, 100000, one), kPlayerOptionNone,
                                CompletionCallbackType::dataPlayedBack, log.handler());
    rig.render(512);
    voice.player.stop();
    rig.render(256);
    EXPECT_EQ(log.types.size(), 2u);
    EXPECT_FALSE(voice.player.isPlaying());
    voice.player.scheduleBuffer(makeBuffer(48000, 1, 100000, one), kPlayerOptionLoops,
                                CompletionCallbackType::dataPlayedBack, log.handler());
    voice.player.reset();
    rig.render(256);
    EXPECT_EQ(log.types.size(), 3u);
}

TEST_F(GraphPlayback, LoopsRepeatUntilInterruptedAndInterruptsReplaceTheQueue) {
    Voice voice(*rig.engine, kMono48);
    CompletionLog loopDone, tailDone, dropped;
    voice.player.scheduleBuffer(makeBuffer(48000, 1, 3, ramp), kPlayerOptionLoops,
                                CompletionCallbackType::dataPlayedBack, loopDone.handler());
    voice.player.scheduleBuffer(makeBuffer(48000, 1, 5, one), kPlayerOptionNone,
                                CompletionCallbackType::dataPlayedBack, dropped.handler());
    voice.player.play(rig.driver->hostTimeOfFrame(0));
    rig.render(3000);
    for (std::size_t f = 0; f < 3000; ++f)
        ASSERT_EQ(left()[f], ramp(0, static_cast<std::uint32_t>(f % 3))) << f;
    EXPECT_TRUE(loopDone.types.empty());

    voice.player.scheduleBuffer(
        makeBuffer(48000, 1, 10, [](std::uint32_t, std::uint32_t) { return 0.9f; }),
        kPlayerOptionInterrupts, CompletionCallbackType::dataPlayedBack, tailDone.handler());
    rig.render(512);
    EXPECT_EQ(loopDone.types.size(), 1u);
    EXPECT_EQ(dropped.types.size(), 1u);
    EXPECT_EQ(tailDone.types.size(), 1u);
    EXPECT_EQ(left()[3000], 0.9f);  // replaced at the next block
    EXPECT_EQ(left()[3009], 0.9f);
    EXPECT_EQ(left()[3010], 0.0f);
}

TEST_F(GraphPlayback, ItemsPlayBackToBackAndPlayerTimeKeepsCountingAcrossThem) {
    Voice voice(*rig.engine, kMono48);
    voice.player.scheduleBuffer(
        makeBuffer(48000, 1, 100, [](std::uint32_t, std::uint32_t) { return 0.25f; }),
        kPlayerOptionNone, CompletionCallbackType::dataPlayedBack, {});
    voice.player.scheduleBuffer(
        makeBuffer(48000, 1, 200, [](std::uint32_t, std::uint32_t) { return 0.5f; }),
        kPlayerOptionNone, CompletionCallbackType::dataPlayedBack, {});
    EXPECT_FALSE(voice.player.playerTime({0, 48000, 0}));
    voice.player.play(rig.driver->hostTimeOfFrame(64));
    rig.render(512);
    EXPECT_EQ(left()[63], 0.0f);
    EXPECT_EQ(left()[64], 0.25f);
    EXPECT_EQ(left()[163], 0.25f);
    EXPECT_EQ(left()[164], 0.5f);
    EXPECT_EQ(left()[363], 0.5f);
    EXPECT_EQ(left()[364], 0.0f);
    const auto now = voice.player.lastRenderTime();
    ASSERT_TRUE(now);
    EXPECT_EQ(now->sampleTime, 512);
    const auto time = voice.player.playerTime(*now);
    ASSERT_TRUE(time);
    EXPECT_EQ(time->sampleTime, 512 - 64);  // keeps counting while the schedule is empty
    EXPECT_EQ(time->sampleRate, 48000);
    voice.player.stop();
    EXPECT_FALSE(voice.player.playerTime(*voice.player.lastRenderTime()));
}

TEST_F(GraphPlayback, VolumeChangesRampAcrossOneBlockInsteadOfStepping) {
    Voice voice(*rig.engine, kMono48);
    voice.player.scheduleBuffer(makeBuffer(48000, 1, 48000, one), kPlayerOptionNone,
                                CompletionCallbackType::dataPlayedBack, {});
    voice.player.play(rig.driver->hostTimeOfFrame(0));
    rig.render(256);
    voice.mixer.setOutputVolume(0.5f);
    rig.render(256);
    for (std::size_t f = 257; f < 512; ++f)
        ASSERT_LT(left()[f], left()[f - 1]) << f;
    EXPECT_FLOAT_EQ(left()[511], 0.5f);
    rig.engine->mainMixer().setOutputVolume(0.5f);
    rig.render(512);
    EXPECT_FLOAT_EQ(left()[1023], 0.25f);
    voice.mixer.setOutputVolume(0.0f);
    rig.render(512);
    EXPECT_EQ(left()[1535], 0.0f);
}

TEST_F(GraphPlayback, ChannelsMapToStereo) {
    Voice stereo(*rig.engine, kStereo48);
    stereo.player.scheduleBuffer(
        makeBuffer(48000, 2, 10,
                   [](std::uint32_t c, std::uint32_t) { return c == 0 ? 0.2f : 0.4f; }),
        kPlayerOptionNone, CompletionCallbackType::dataPlayedBack, {});
    stereo.player.play();
    rig.render(256);
    EXPECT_FLOAT_EQ(left()[0], 0.2f);
    EXPECT_FLOAT_EQ(right()[0], 0.4f);
    stereo.player.stop();

    // 5.1 in L R C LFE Ls Rs order: centre and surrounds at -3 dB, LFE left out.
    Voice surround(*rig.engine, {48000, 6, SampleType::float32});
    surround.player.scheduleBuffer(
        makeBuffer(48000, 6, 10,
                   [](std::uint32_t c, std::uint32_t) { return 0.1f * static_cast<float>(c + 1); }),
        kPlayerOptionNone, CompletionCallbackType::dataPlayedBack, {});
    surround.player.play();
    rig.driver->clearCapture();
    rig.render(256);
    const float k = 0.70710678f;
    EXPECT_NEAR(left()[0], 0.1f + k * 0.3f + k * 0.5f, 1e-6);
    EXPECT_NEAR(right()[0], 0.2f + k * 0.3f + k * 0.6f, 1e-6);
}

TEST_F(GraphPlayback, ASting441OnA48kOutputKeepsItsPitchAndLevel) {
    Voice voice(*rig.engine, {44100, 1, SampleType::float32});
    voice.player.scheduleBuffer(
        makeBuffer(44100, 1, 44100,
                   [](std::uint32_t, std::uint32_t f) {
                       return static_cast<float>(0.5 * std::sin(2 * M_PI * 1000.0 * f / 44100.0));
                   }),
        kPlayerOptionNone, CompletionCallbackType::dataPlayedBack, {});
    voice.player.play();
    rig.render(48000);
    // Fit sines at 1 kHz and at the pitch it would have without conversion (1088 Hz).
    auto amplitudeAt = [&](double freq) {
        double s = 0, c = 0;
        const std::size_t from = 4800, to = 43200;
        for (std::size_t i = from; i < to; ++i) {
            s += left()[i] * std::sin(2 * M_PI * freq * static_cast<double>(i) / 48000.0);
            c += left()[i] * std::cos(2 * M_PI * freq * static_cast<double>(i) / 48000.0);
        }
        return 2 * std::hypot(s, c) / static_cast<double>(to - from);
    };
    EXPECT_NEAR(amplitudeAt(1000), 0.5, 0.005);
    EXPECT_LT(amplitudeAt(1088.4), 0.01);
    const auto time = voice.player.playerTime(*voice.player.lastRenderTime());
    ASSERT_TRUE(time);
    EXPECT_EQ(time->sampleRate, 44100);
    EXPECT_EQ(time->sampleTime, 44100);  // one second of the player's own frames
}

TEST_F(GraphPlayback, AConvertedStingStartsOnItsFrameToo) {
    Voice voice(*rig.engine, {44100, 1, SampleType::float32});
    for (int run = 0; run < 2; ++run) {  // the second run uses the converter made at the stop
        voice.player.scheduleBuffer(
            makeBuffer(44100, 1, 4410, [](std::uint32_t, std::uint32_t) { return 0.5f; }),
            kPlayerOptionNone, CompletionCallbackType::dataPlayedBack, {});
        rig.driver->clearCapture();
        voice.player.play(rig.driver->hostTimeOfFrame(rig.driver->framesRendered() + 1000));
        rig.render(8192);
        EXPECT_NEAR(static_cast<double>(test::firstSound(left(), 0.25f)), 1000, 2) << "run " << run;
        EXPECT_NEAR(left()[3000], 0.5f, 0.001f);
        voice.player.stop();
    }
}

TEST_F(GraphPlayback, Int16BuffersPlayAsFloat) {
    Voice voice(*rig.engine, kMono48);
    auto buffer = PcmBuffer::create({48000, 1, SampleType::int16}, 4);
    std::int16_t* const* samples = buffer ? buffer->int16ChannelData() : nullptr;
    ASSERT_NE(samples, nullptr);
    std::fill_n(samples[0], 4, std::int16_t{16384});
    buffer->setFrameLength(4);
    voice.player.scheduleBuffer(buffer, kPlayerOptionNone, CompletionCallbackType::dataPlayedBack,
                                {});
    voice.player.play();
    rig.render(256);
    EXPECT_EQ(left()[3], 0.5f);
    EXPECT_EQ(left()[4], 0.0f);
}

TEST_F(GraphPlayback, DetachingAPlayingVoiceFiresItsHandlersAndSilencesIt) {
    auto voice = std::make_unique<Voice>(*rig.engine, kMono48);
    CompletionLog log;
    voice->player.scheduleBuffer(makeBuffer(48000, 1, 48000, one), kPlayerOptionLoops,
                                 CompletionCallbackType::dataPlayedBack, log.handler());
    voice->player.play();
    rig.render(512);
    voice.reset();  // detaches player and mixer
    rig.render(512);
    EXPECT_EQ(log.types.size(), 1u);
    EXPECT_EQ(left()[1023], 0.0f);
}

TEST_F(GraphPlayback, ALostOutputStopsTheEngineAndTellsTheHandler) {
    int changes = 0;
    rig.engine->setConfigurationChangeHandler([&] { ++changes; });
    Voice voice(*rig.engine, kMono48);
    CompletionLog log;
    voice.player.scheduleBuffer(makeBuffer(48000, 1, 48000, one), kPlayerOptionNone,
                                CompletionCallbackType::dataPlayedBack, log.handler());
    voice.player.play();
    rig.render(512);
    rig.driver->disrupt("device removed");
    EXPECT_EQ(changes, 1);
    EXPECT_FALSE(rig.engine->isRunning());

    rig.driver->failNextStart();
    EXPECT_FALSE(rig.engine->start());
    ASSERT_TRUE(rig.engine->start());
    rig.engine->pumpNotifications();
    EXPECT_FALSE(voice.player.isPlaying());  // players stop with the output, as cut short
    EXPECT_EQ(log.types.size(), 1u);
    voice.player.scheduleBuffer(makeBuffer(48000, 1, 10, one), kPlayerOptionNone,
                                CompletionCallbackType::dataPlayedBack, {});
    voice.player.play();
    rig.driver->clearCapture();
    rig.render(256);
    EXPECT_EQ(left()[0], 1.0f);
}

}  // namespace brellow::audio
