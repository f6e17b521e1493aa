// Brellow's system output against a real sound server: a PulseAudio daemon with a null sink,
// started by tests/e2e/with_pulse.sh. What reaches the sink is recorded from its monitor.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "audio/drivers/system_output.h"
#include "audio/graph/audio_engine.h"
#include "audio/offline_rig.h"
#include "audio/pulse_rig.h"
#include "support/test_support.h"

namespace brellow::audio {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

using test::analyse;
using test::MonitorRecording;
using test::pulseAvailable;
using test::run;
using test::ToneFigures;

TEST(PulseOutput, ATonePlaysThroughTheServerAtItsFrequencyAndLevel) {
    if (!pulseAvailable()) GTEST_SKIP() << "run through tests/e2e/with_pulse.sh";
    brellow::test::TempDir dir;
    MonitorRecording recording(dir / "tone.wav");
    ASSERT_EQ(
        run(std::string(BRELLOW_CLI) + " tone --freq 1000 --seconds 1.5 --level -6 >/dev/null"), 0);
    std::this_thread::sleep_for(200ms);
    const ToneFigures tone = analyse(recording.left());
    EXPECT_NEAR(tone.seconds, 1.5, 0.05);
    EXPECT_NEAR(tone.frequency, 1000, 5);
    EXPECT_NEAR(20 * std::log10(tone.peak), -6.0, 0.3);
}

TEST(PulseOutput, ALostServerIsReportedAndARestartPlaysAgainOnceItIsBack) {
    if (!pulseAvailable()) GTEST_SKIP() << "run through tests/e2e/with_pulse.sh";
    auto output = std::make_unique<SystemOutputDriver>();
    SystemOutputDriver& system = *output;
    AudioEngine engine({std::move(output)});
    std::mutex mutex;
    std::condition_variable changed;
    int changes = 0;
    engine.setConfigurationChangeHandler([&] {
        const std::lock_guard lock(mutex);
        ++changes;
        changed.notify_all();
    });
    ASSERT_TRUE(engine.prepare());
    ASSERT_FALSE(system.usingFallback());
    const double rate = engine.outputFormat().sampleRate;
    auto tone = test::makeBuffer(
        rate, 1, static_cast<std::uint32_t>(rate), [](std::uint32_t, std::uint32_t f) {
            return static_cast<float>(0.25 * std::sin(2 * M_PI * 500.0 * f / 48000.0));
        });
    test::Voice voice(engine, tone->format());
    voice.player.scheduleBuffer(tone, kPlayerOptionLoops, CompletionCallbackType::dataPlayedBack,
                                {});
    ASSERT_TRUE(engine.start());
    voice.player.play();
    std::this_thread::sleep_for(500ms);

    ASSERT_EQ(run(std::getenv("BRELLOW_PULSE_STOP")), 0);  // NOLINT
    {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, 5s, [&] { return changes > 0; }));
    }
    EXPECT_FALSE(engine.isRunning());

    ASSERT_EQ(run(std::string(std::getenv("BRELLOW_PULSE_START")) + " 2>/dev/null"), 0);  // NOLINT
    ASSERT_EQ(
        run("for i in $(seq 50); do pactl info >/dev/null 2>&1 && exit 0; sleep 0.1; done; exit 1"),
        0);
    run("pactl set-default-sink brellow_null");
    brellow::test::TempDir dir;
    MonitorRecording recording(dir / "after.wav");
    ASSERT_TRUE(engine.start());
    EXPECT_FALSE(system.usingFallback());
    EXPECT_FALSE(voice.player.isPlaying());  // stopped with the lost output
    voice.player.scheduleBuffer(tone, kPlayerOptionLoops, CompletionCallbackType::dataPlayedBack,
                                {});
    voice.player.play();
    std::this_thread::sleep_for(3s);
    engine.stop();
    const ToneFigures after = analyse(recording.left());
    EXPECT_GT(after.seconds, 0.5);
    EXPECT_NEAR(after.frequency, 500, 5);
}

namespace {

std::string outputOf(const std::string& command) {
    std::string text;
    FILE* pipe = popen(command.c_str(), "r");  // NOLINT(cert-env33-c)
    if (pipe == nullptr) return text;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr)
        text += buffer;
    pclose(pipe);
    return text;
}

}  // namespace

TEST(PulseOutput, DevicesListsEverySinkByItsIdentifierWithTheDefaultMarked) {
    if (!pulseAvailable()) GTEST_SKIP() << "run through tests/e2e/with_pulse.sh";
    const std::string listed = outputOf(std::string(BRELLOW_CLI) + " devices");
    EXPECT_NE(listed.find("* pulse:brellow_null\t"), std::string::npos) << listed;
    EXPECT_NE(listed.find("  pulse:brellow_other\t"), std::string::npos) << listed;
}

TEST(PulseOutput, LatencyPrintsOneLineOfFigures) {
    if (!pulseAvailable()) GTEST_SKIP() << "run through tests/e2e/with_pulse.sh";
    const std::string line =
        outputOf(std::string(BRELLOW_CLI) + " latency --runs 3 --device pulse:brellow_other");
    double median = 0, p95 = 0;
    int runs = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "latency api=pulse median_ms=%lf p95_ms=%lf runs=%d\n",
                          &median, &p95, &runs),
              3)
        << line;
    EXPECT_EQ(runs, 3);
    EXPECT_GT(median, 0);
    EXPECT_GE(p95, median);
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
    // A device that is not there is refused rather than measured on another.
    EXPECT_NE(run(std::string(BRELLOW_CLI) + " latency --runs 1 --device pulse:nope 2>/dev/null"),
              0);
}

}  // namespace brellow::audio
