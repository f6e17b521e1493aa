// Time from a sound server coming back to a cue sounding again: a looping cue plays through a
// live engine, the private PulseAudio daemon of tests/e2e/with_pulse.sh is killed by its pid,
// left away for a second and started again, and the null sink's monitor is read until the cue
// is heard. "Back" is when the start script returns, the daemon answering and its sinks awake.
#include <signal.h>
#include <sndfile.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>
#include <vector>

#include "audio/engine/latency_probe.h"
#include "audio/engine/live_engine.h"

using namespace brellow;
using namespace brellow::audio;
using namespace std::chrono_literals;

namespace {

bool writeTone(const std::filesystem::path& path) {
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) return false;
    std::vector<float> samples(48000);
    for (std::size_t f = 0; f < samples.size(); ++f)
        samples[f] = static_cast<float>(
            0.5 * std::sin(2 * M_PI * 1000.0 * static_cast<double>(f) / 48000.0));
    sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
    return true;
}

bool killServer() {
    const char* runtime = std::getenv("PULSE_RUNTIME_PATH");  // NOLINT(concurrency-mt-unsafe)
    if (runtime == nullptr) return false;
    const std::filesystem::path pidFile = std::filesystem::path(runtime) / "pid";
    pid_t pid = 0;
    if (!(std::ifstream(pidFile) >> pid) || pid <= 0 || kill(pid, SIGKILL) != 0) return false;
    std::this_thread::sleep_for(100ms);
    std::filesystem::remove(pidFile);  // a zombie's pid file would stop the next start
    return true;
}

}  // namespace

int main() {
    const char* start = std::getenv("BRELLOW_PULSE_START");  // NOLINT(concurrency-mt-unsafe)
    if (start == nullptr) {
        std::printf("run through tests/e2e/with_pulse.sh\n");
        return 1;
    }
    const std::filesystem::path tone = std::filesystem::temp_directory_path() / "brellow-tone.wav";
    if (!writeTone(tone)) return 1;
    LiveEngine live = makeLiveEngine();
    const Uuid id = Uuid::generate();
    std::mutex mutex;
    std::condition_variable loadedSignal;
    bool loaded = false;
    live.engine->loadSting(id, tone, 0, [&](const std::optional<EngineFailure>&) {
        const std::lock_guard lock(mutex);
        loaded = true;
        loadedSignal.notify_all();
    });
    {
        std::unique_lock lock(mutex);
        loadedSignal.wait(lock, [&] { return loaded; });
    }
    live.engine->play(id, std::nullopt, std::nullopt, true, 0, 0);
    std::this_thread::sleep_for(500ms);

    std::vector<double> seconds;
    for (int trial = 0; trial < 5; ++trial) {
        if (!killServer()) return 1;
        std::this_thread::sleep_for(1s);        // long enough for the retries to back off
        if (std::system(start) != 0) return 1;  // NOLINT(cert-env33-c,concurrency-mt-unsafe)
        const std::uint64_t back = MonotonicClock::shared().now();
        MonitorClock monitor("brellow_null.monitor");
        if (!monitor.ok()) return 1;
        monitor.arm();
        for (int wait = 0; wait < 500 && monitor.arrival() == 0; ++wait)
            std::this_thread::sleep_for(10ms);
        if (monitor.arrival() == 0) {
            std::printf("trial %d: no sound within 5 s\n", trial);
            continue;
        }
        seconds.push_back(static_cast<double>(monitor.arrival() - back) / 1e9);
        std::this_thread::sleep_for(300ms);
    }
    std::filesystem::remove(tone);
    if (seconds.empty()) return 1;
    std::sort(seconds.begin(), seconds.end());
    std::printf("server back to sound: min %.3f s  median %.3f s  max %.3f s  (%zu trials)\n",
                seconds.front(), seconds[seconds.size() / 2], seconds.back(), seconds.size());
    return 0;
}
