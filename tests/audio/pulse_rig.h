#pragma once
// Helpers for tests against the private PulseAudio daemon of tests/e2e/with_pulse.sh: recording
// a null sink's monitor, analysing a recorded tone, taking the server away and back.
#include <signal.h>
#include <sndfile.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "audio/offline_rig.h"

namespace brellow::audio::test {

inline bool pulseAvailable() {
    return std::getenv("BRELLOW_PULSE_START") != nullptr;  // NOLINT(concurrency-mt-unsafe)
}

inline int run(const std::string& command) {
    return std::system(command.c_str());  // NOLINT(cert-env33-c,concurrency-mt-unsafe)
}

inline pid_t spawn(const std::vector<const char*>& argv) {
    const pid_t pid = fork();
    if (pid == 0) {
        execvp(argv[0], const_cast<char* const*>(argv.data()));
        _exit(127);
    }
    return pid;
}

inline bool processGone(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string field, name, state;
    // A zombie counts as gone: without a reaper in a container it stays one.
    return !(stat >> field >> name >> state) || state == "Z";
}

/// Kills the daemon by its process id, as a crash would.
inline bool killPulseServer() {
    const char* runtime = std::getenv("PULSE_RUNTIME_PATH");  // NOLINT(concurrency-mt-unsafe)
    if (runtime == nullptr) return false;
    const std::filesystem::path pidFile = std::filesystem::path(runtime) / "pid";
    pid_t pid = 0;
    {
        std::ifstream file(pidFile);
        if (!(file >> pid) || pid <= 0) return false;
    }
    if (kill(pid, SIGKILL) != 0) return false;
    for (int i = 0; i < 100 && !processGone(pid); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    // A crashed daemon leaves its pid file behind; a zombie's would stop the next start.
    std::filesystem::remove(pidFile);
    return processGone(pid);
}

/// Starts the daemon again with the script's sinks; true once it answers.
inline bool startPulseServer() {
    const std::string start = std::getenv("BRELLOW_PULSE_START");  // NOLINT
    if (run(start + " 2>/dev/null") != 0) return false;
    return run("for i in $(seq 100); do pactl info >/dev/null 2>&1 && exit 0; sleep 0.02; done; "
               "exit 1") == 0 &&
           run("pactl set-default-sink brellow_null") == 0;
}

// Records a null sink's monitor into a WAV file while alive. A silent stream keeps the sink
// busy meanwhile: the monitor of an idle null sink starts delivering only late.
class MonitorRecording {
  public:
    explicit MonitorRecording(std::filesystem::path path, const std::string& sink = "brellow_null")
        : path_(std::move(path)) {
        const std::string device = "--device=" + sink;
        const std::string monitor = sink + ".monitor";
        keepAlive_ = spawn({"pacat", "-p", "--raw", device.c_str(), "--rate=48000", "--channels=2",
                            "--format=s16le", "/dev/zero", nullptr});
        pid_ = spawn({"parecord", "-d", monitor.c_str(), "--file-format=wav", "--rate=48000",
                      "--latency-msec=20", "--channels=2", path_.c_str(), nullptr});
        // Ready once the server lists the recording stream.
        (void)run(
            "for i in $(seq 100); do pactl list short sink-inputs | grep -q . && "
            "pactl list short source-outputs | grep -q . && exit 0; "
            "sleep 0.05; done");
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ~MonitorRecording() { finish(); }
    MonitorRecording(const MonitorRecording&) = delete;
    MonitorRecording& operator=(const MonitorRecording&) = delete;

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
    std::filesystem::path path_;
    pid_t pid_ = -1;
    pid_t keepAlive_ = -1;
};

struct ToneFigures {
    double seconds = 0;    // from the first to the last loud sample
    double frequency = 0;  // from the median period between rising zero crossings
    double peak = 0;
};

// The median period ignores the odd gap an underrun of the test's own sound server leaves.
inline ToneFigures analyse(const std::vector<float>& samples) {
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
    // Skip the edges; find rising zero crossings, placed between samples by interpolation.
    const auto from = static_cast<std::size_t>(first + 2400);
    const auto to = static_cast<std::size_t>(last - 2400);
    std::vector<double> crossings;
    for (std::size_t i = from + 1; i < to; ++i) {
        const float before = samples[i - 1], now = samples[i];
        if (before < 0 && now >= 0) {
            crossings.push_back(static_cast<double>(i - 1) + before / (before - now));
        }
        figures.peak = std::max(figures.peak, static_cast<double>(std::fabs(now)));
    }
    if (crossings.size() < 3) return figures;
    std::vector<double> periods;
    for (std::size_t i = 1; i < crossings.size(); ++i)
        periods.push_back(crossings[i] - crossings[i - 1]);
    std::nth_element(periods.begin(), periods.begin() + static_cast<long>(periods.size() / 2),
                     periods.end());
    figures.frequency = 48000.0 / periods[periods.size() / 2];
    return figures;
}

}  // namespace brellow::audio::test
