// A show's engine on the real PulseAudio daemon of tests/e2e/with_pulse.sh: the server killed
// mid-cue and started again, an output chosen among two sinks, a chosen sink that is missing.
// What reaches the sinks is recorded from their monitors.
#include <sndfile.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include <gtest/gtest.h>

#include "audio/engine/live_engine.h"
#include "audio/pulse_rig.h"
#include "base/log.h"
#include "support/test_support.h"

namespace brellow::audio {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::analyse;
using test::MonitorRecording;

namespace {

// A stereo 48 kHz float WAV holding a sine.
void writeSine(const fs::path& path, double freq, double seconds) {
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    const auto frames = static_cast<std::size_t>(seconds * 48000);
    std::vector<float> samples(frames * 2);
    for (std::size_t f = 0; f < frames; ++f) {
        const auto value =
            static_cast<float>(0.25 * std::sin(2 * M_PI * freq * static_cast<double>(f) / 48000.0));
        samples[2 * f] = samples[2 * f + 1] = value;
    }
    sf_writef_float(file, samples.data(), static_cast<sf_count_t>(frames));
    sf_close(file);
}

// A live engine with one looping cue and the device events it reports.
struct LiveCue {
    explicit LiveCue(const fs::path& media, OutputChoice choice = {})
        : live(makeLiveEngine(choice)) {
        if (std::getenv("BRELLOW_TEST_LOG") != nullptr) {  // NOLINT(concurrency-mt-unsafe)
            logging::setSinks({std::make_shared<StderrLogSink>()});
        }
        std::mutex loadMutex;
        std::condition_variable loadedSignal;
        bool loaded = false;
        live.engine->addObserver([this](const Event& event) {
            if (const auto* changed = std::get_if<event::DeviceChanged>(&event)) {
                const std::lock_guard lock(mutex);
                devices.push_back(*changed);
                signal.notify_all();
            }
        });
        live.engine->loadSting(id, media, 0, [&](std::optional<EngineFailure> failure) {
            EXPECT_FALSE(failure.has_value());
            const std::lock_guard lock(loadMutex);
            loaded = true;
            loadedSignal.notify_all();
        });
        std::unique_lock lock(loadMutex);
        loadedSignal.wait_for(lock, 5s, [&] { return loaded; });
    }
    void play() { live.engine->play(id, std::nullopt, std::nullopt, true, 0, 0); }
    /// Waits for a device event whose name contains `text`.
    bool waitForDevice(const std::string& text, std::chrono::seconds limit = 5s) {
        std::unique_lock lock(mutex);
        return signal.wait_for(lock, limit, [&] {
            for (const auto& device : devices) {
                if (device.deviceName.find(text) != std::string::npos) return true;
            }
            return false;
        });
    }

    Uuid id = Uuid::generate();
    LiveEngine live;
    std::mutex mutex;
    std::condition_variable signal;
    std::vector<event::DeviceChanged> devices;
};

}  // namespace

TEST(OutputRecovery, ACueSoundsAgainByItselfAfterTheServerIsKilledAndRestarted) {
    if (!test::pulseAvailable()) GTEST_SKIP() << "run through tests/e2e/with_pulse.sh";
    brellow::test::TempDir dir;
    writeSine(dir / "cue.wav", 1000, 3);
    LiveCue cue(dir / "cue.wav");
    cue.play();
    std::this_thread::sleep_for(700ms);

    ASSERT_TRUE(test::killPulseServer());
    // While the server is away the page hears that nothing plays, and why.
    ASSERT_TRUE(cue.waitForDevice("No audio output"));
    {
        const std::lock_guard lock(cue.mutex);
        EXPECT_TRUE(cue.devices.back().fellBack);
        EXPECT_EQ(cue.devices.back().deviceUID, "");
    }
    std::this_thread::sleep_for(1500ms);  // long enough for the retries to back off

    // How soon it comes back is measured by bench/recovery_time.
    ASSERT_TRUE(test::startPulseServer());
    ASSERT_TRUE(cue.waitForDevice("Default output"));
    MonitorRecording recording(dir / "after.wav");
    std::this_thread::sleep_for(1500ms);
    const std::vector<float> samples = recording.left();
    const test::ToneFigures after = analyse(samples);
    EXPECT_GT(after.seconds, 1.0) << "sound from frame " << test::firstSound(samples, 0.01f)
                                  << " of " << samples.size();
    EXPECT_NEAR(after.frequency, 1000, 5);
    EXPECT_NEAR(after.peak, 0.25, 0.02);
}

TEST(OutputRecovery, SoundGoesOnlyToTheChosenSinkAndFollowsALiveChange) {
    if (!test::pulseAvailable()) GTEST_SKIP() << "run through tests/e2e/with_pulse.sh";
    brellow::test::TempDir dir;
    writeSine(dir / "cue.wav", 500, 3);
    LiveCue cue(dir / "cue.wav", {"pulse:brellow_other", false});
    {
        MonitorRecording chosen(dir / "chosen.wav", "brellow_other");
        MonitorRecording other(dir / "default.wav", "brellow_null");
        cue.play();
        std::this_thread::sleep_for(1s);
        EXPECT_NEAR(analyse(chosen.left()).frequency, 500, 5);
        EXPECT_EQ(analyse(other.left()).seconds, 0);
    }
    // Moved to the default sink while it plays: the cue carries on there.
    cue.live.engine->setOutputDevice("");
    ASSERT_TRUE(cue.waitForDevice("Default output"));
    MonitorRecording chosen(dir / "chosen2.wav", "brellow_other");
    MonitorRecording other(dir / "default2.wav", "brellow_null");
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(analyse(chosen.left()).seconds, 0);
    EXPECT_NEAR(analyse(other.left()).frequency, 500, 5);
}

TEST(OutputRecovery, AMissingSinkPlaysOnTheDefaultAndSaysWhichIsMissing) {
    if (!test::pulseAvailable()) GTEST_SKIP() << "run through tests/e2e/with_pulse.sh";
    brellow::test::TempDir dir;
    writeSine(dir / "cue.wav", 700, 3);
    LiveCue cue(dir / "cue.wav", {"pulse:brellow_other", false});
    // Chosen, then unplugged: the engine falls back to the default sink and names the device.
    cue.play();
    std::this_thread::sleep_for(300ms);
    ASSERT_EQ(test::run("pactl unload-module $(pactl list short modules | "
                        "awk '/sink_name=brellow_other/ {print $1}')"),
              0);
    ASSERT_TRUE(cue.waitForDevice("pulse:brellow_other is not available"));
    {
        const std::lock_guard lock(cue.mutex);
        EXPECT_TRUE(cue.devices.back().fellBack);
    }
    MonitorRecording fallback(dir / "default.wav", "brellow_null");
    std::this_thread::sleep_for(800ms);
    EXPECT_NEAR(analyse(fallback.left()).frequency, 700, 5);
    fallback.finish();

    // Plugged in again: the cue moves back to the chosen sink by itself.
    ASSERT_EQ(test::run("pactl load-module module-null-sink sink_name=brellow_other rate=48000 "
                        ">/dev/null"),
              0);
    ASSERT_TRUE(cue.waitForDevice("brellow_other"));
    const auto deadline = std::chrono::steady_clock::now() + 3s;
    bool chosenAgain = false;
    while (!chosenAgain && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(50ms);
        const std::lock_guard lock(cue.mutex);
        chosenAgain = !cue.devices.back().fellBack;
    }
    EXPECT_TRUE(chosenAgain);
    const std::lock_guard lock(cue.mutex);
    EXPECT_EQ(cue.devices.back().deviceUID, "pulse:brellow_other");
}

}  // namespace brellow::audio
