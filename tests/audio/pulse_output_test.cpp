// Brellow's system output against a real sound server: a PulseAudio daemon with a null sink,
// started by tests/e2e/with_pulse.sh. What reaches the sink is recorded from its monitor.
#include <signal.h>
#include <sndfile.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "audio/drivers/system_output.h"
#include "audio/graph/audio_engine.h"
#include "audio/offline_rig.h"
#include "support/test_support.h"

namespace brellow::audio {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

bool pulseAvailable() {
    return std::getenv("BRELLOW_PULSE_START") != nullptr;
}  // NOLINT

pid_t spawn(const std::vector<const char*>& argv) {
    const pid_t pid = fork();
    if (pid == 0) {
        execvp(argv[0], const_cast<char* const*>(argv.data()));
        _exit(127);
    }
    return pid;
}

// Records the null sink's monitor into a WAV file while alive. A silent stream keeps the sink
// busy meanwhile: the monitor of an idle null sink starts delivering only late.
class MonitorRecording {
  public:
    explicit MonitorRecording(fs::path path) : path_(std::move(path)) {
        keepAlive_ = spawn({"pacat", "-p", "--raw", "--rate=48000", "--channels=2",
                            "--format=s16le", "/dev/zero", nullptr});
        pid_ = fork();
        if (pid_ == 0) {
            execlp("parecord", "parecord", "-d", "brellow_null.monitor", "--file-format=wav",
                   "--rate=48000", "--channels=2", path_.c_str(), nullptr);
            _exit(127);
        }
        // Ready once the server lists the recording stream.
        (void)std::system(  // NOLINT
            "for i in $(seq 100); do pactl list short sink-inputs | grep -q . && "
            "pactl list short source-outputs | grep -q . && exit 0; "
            "sleep 0.05; done");
        std::this_thread::sleep_for(100ms);
    }
    ~MonitorRecording() { finish(); }
    void finish() {
        for (pid_t* pid : {&pid_, &keepAlive_}) {
            if (*pid <= 0) continue;
            kill(*pid, SIGTERM);
            waitpid(*pid, nullptr, 0);
            *pid = -1;
        }
    }
    /// The left channel of what was recorded.
    std::vector<float> left() {
        finish();
        SF_INFO info{};
        SNDFILE* file = sf_open(path_.c_str(), SFM_READ, &info);
        if (file == nullptr) return {};
        std::vector<float> frames(static_cast<std::size_t>(info.frames * info.channels));
        sf_readf_float(file, frames.data(), info.frames);
        sf_close(file);
        std::vector<float> leftChannel;
        for (std::size_t i = 0; i < frames.size(); i += static_cast<std::size_t>(info.channels)) {
            leftChannel.push_back(frames[i]);
        }
        return leftChannel;
    }

  private:
    fs::path path_;
    pid_t pid_ = -1;
    pid_t keepAlive_ = -1;
};

struct ToneFigures {
    double seconds = 0;    // how long it sounded
    double frequency = 0;  // from zero crossings
    double peak = 0;
};

ToneFigures analyse(const std::vector<float>& samples) {
    ToneFigures figures;
    const long first = test::firstSound(samples, 0.01f);
    long last = -1;
    for (long i = static_cast<long>(samples.size()) - 1; i >= 0; --i) {
        if (std::fabs(samples[static_cast<std::size_t>(i)]) > 0.01f) {
            last = i;
            break;
        }
    }
    if (first < 0 || last <= first + 4800) return figures;
    figures.seconds = static_cast<double>(last - first) / 48000.0;
    // Skip the edges; count rising zero crossings in between.
    const auto from = static_cast<std::size_t>(first + 2400);
    const auto to = static_cast<std::size_t>(last - 2400);
    int crossings = 0;
    for (std::size_t i = from + 1; i < to; ++i) {
        if (samples[i - 1] < 0 && samples[i] >= 0) ++crossings;
        figures.peak = std::max(figures.peak, static_cast<double>(std::fabs(samples[i])));
    }
    figures.frequency = crossings / (static_cast<double>(to - from) / 48000.0);
    return figures;
}

int run(const std::string& command) {
    return std::system(command.c_str());
}  // NOLINT

}  // namespace

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

}  // namespace brellow::audio
