// A show's engine on a real JACK server (tests/e2e/with_jack.sh, dummy back end): the server
// shut down while a cue plays is noticed, and the cue plays on by itself once it is back.
#include <signal.h>
#include <sndfile.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "audio/engine/live_engine.h"
#include "base/log.h"
#include "support/test_support.h"

namespace brellow::audio {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

bool jackAvailable() {
    return std::getenv("BRELLOW_JACK_START") != nullptr;  // NOLINT(concurrency-mt-unsafe)
}

void writeSilence(const fs::path& path, double seconds) {
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    std::vector<float> samples(static_cast<std::size_t>(seconds * 48000), 0.1f);
    sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
}

struct DeviceLog {
    std::mutex mutex;
    std::condition_variable signal;
    std::vector<event::DeviceChanged> devices;

    bool waitFor(const std::string& text) {
        std::unique_lock lock(mutex);
        return signal.wait_for(lock, 10s, [&] {
            for (const auto& device : devices) {
                if (device.deviceName.find(text) != std::string::npos) return true;
            }
            return false;
        });
    }
};

// Where the cue is, asked of the engine.
double positionOf(AudioEngineService& engine) {
    std::mutex mutex;
    std::condition_variable answered;
    std::optional<double> position;
    engine.currentPositions([&](std::vector<StingPosition> positions) {
        const std::lock_guard lock(mutex);
        position = positions.empty() ? -1.0 : positions.front().positionSec;
        answered.notify_all();
    });
    std::unique_lock lock(mutex);
    answered.wait_for(lock, 5s, [&] { return position.has_value(); });
    return position.value_or(-1.0);
}

// Waits until the cue's playhead has passed `seconds`; its position then, or -1.
double waitForPosition(AudioEngineService& engine, double seconds) {
    for (int i = 0; i < 100; ++i) {
        const double position = positionOf(engine);
        if (position > seconds) return position;
        std::this_thread::sleep_for(50ms);
    }
    return -1;
}

}  // namespace

TEST(JackOutput, AServerShutdownIsNoticedAndTheCuePlaysOnOnceItIsBack) {
    if (!jackAvailable()) GTEST_SKIP() << "run through tests/e2e/with_jack.sh";
    brellow::test::TempDir dir;
    writeSilence(dir / "cue.wav", 30);
    if (std::getenv("BRELLOW_TEST_LOG") != nullptr) {  // NOLINT(concurrency-mt-unsafe)
        logging::setSinks({std::make_shared<StderrLogSink>()});
    }
    LiveEngine live = makeLiveEngine();
    DeviceLog log;
    live.engine->addObserver([&log](const Event& event) {
        if (const auto* changed = std::get_if<event::DeviceChanged>(&event)) {
            const std::lock_guard lock(log.mutex);
            log.devices.push_back(*changed);
            log.signal.notify_all();
        }
    });
    const Uuid id = Uuid::generate();
    // Loading decodes in the background: play only once the sting has joined the graph.
    std::promise<std::optional<EngineFailure>> loaded;
    live.engine->loadSting(id, dir / "cue.wav", 0, [&loaded](std::optional<EngineFailure> failure) {
        loaded.set_value(std::move(failure));
    });
    auto loadResult = loaded.get_future();
    ASSERT_EQ(loadResult.wait_for(5s), std::future_status::ready) << "the cue never loaded";
    ASSERT_FALSE(loadResult.get().has_value()) << "the cue failed to load";
    live.engine->play(id, std::nullopt, std::nullopt, false, 0, 0);
    const double before = waitForPosition(*live.engine, 0.2);
    ASSERT_GT(before, 0.2) << "the cue never played";

    // A shutdown, as the JACK server does it when told to stop.
    pid_t pid = 0;
    ASSERT_TRUE(std::ifstream(std::getenv("BRELLOW_JACK_PID_FILE")) >> pid);  // NOLINT
    ASSERT_EQ(kill(pid, SIGTERM), 0);
    ASSERT_TRUE(log.waitFor("No audio output"));
    // Until the old server has closed its socket a new one refuses to start.
    for (int i = 0; i < 200 && std::system("jack_lsp >/dev/null 2>&1") == 0; ++i)  // NOLINT
        std::this_thread::sleep_for(25ms);
    std::this_thread::sleep_for(200ms);

    ASSERT_EQ(std::system(std::getenv("BRELLOW_JACK_START")), 0);  // NOLINT
    ASSERT_TRUE(log.waitFor("Default output"));
    // Sounding again: the cue's playhead moves on from where it was last seen.
    EXPECT_GT(waitForPosition(*live.engine, before + 0.3), before + 0.3);
}

}  // namespace brellow::audio
