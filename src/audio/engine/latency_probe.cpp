#include "audio/engine/latency_probe.h"

#include <pulse/simple.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

#include "audio/drivers/system_output.h"
#include "audio/graph/audio_engine.h"

namespace brellow::audio {

namespace {

constexpr double kMonitorRate = 48000;
constexpr std::size_t kChunk = 64;  // frames per read of the monitor
constexpr std::uint32_t kBurstFrames = 4800;

std::string monitorOf(const std::string& deviceID) {
    if (deviceID.rfind("pulse:", 0) == 0) return deviceID.substr(6) + ".monitor";
    return "@DEFAULT_MONITOR@";
}

}  // namespace

MonitorClock::MonitorClock(const std::string& source) {
    const pa_sample_spec format{PA_SAMPLE_FLOAT32LE, static_cast<std::uint32_t>(kMonitorRate), 1};
    const auto none = static_cast<std::uint32_t>(-1);
    const pa_buffer_attr attr{none, none, none, none,
                              static_cast<std::uint32_t>(kChunk * sizeof(float))};
    stream_ = pa_simple_new(nullptr, "Brellow latency", PA_STREAM_RECORD, source.c_str(), "monitor",
                            &format, nullptr, &attr, nullptr);
    if (stream_ != nullptr) thread_ = std::thread([this] { run(); });
}

MonitorClock::~MonitorClock() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    if (stream_ != nullptr) pa_simple_free(stream_);
}

void MonitorClock::arm() {
    arrival_ = 0;
    armed_ = true;
}

void MonitorClock::run() {
    std::vector<float> chunk(kChunk);
    while (!stop_) {
        if (pa_simple_read(stream_, chunk.data(), chunk.size() * sizeof(float), nullptr) < 0)
            return;
        const std::uint64_t now = MonotonicClock::shared().now();
        if (!armed_) continue;
        for (std::size_t i = 0; i < kChunk; ++i) {
            if (std::fabs(chunk[i]) > 0.05f) {
                // The chunk's last frame arrived now; this one that much earlier.
                arrival_ = now - static_cast<std::uint64_t>(static_cast<double>(kChunk - i) * 1e9 /
                                                            kMonitorRate);
                armed_ = false;
                break;
            }
        }
    }
}

void summarise(LatencyFigures& figures) {
    if (figures.millis.empty()) return;
    std::vector<double> sorted = figures.millis;
    std::sort(sorted.begin(), sorted.end());
    const std::size_t n = sorted.size();
    figures.median = n % 2 == 1 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
    const auto rank = static_cast<std::size_t>(std::ceil(0.95 * static_cast<double>(n)));
    figures.p95 = sorted[std::max<std::size_t>(rank, 1) - 1];
}

Result<LatencyFigures, AudioError> measureOutputLatency(const LatencyProbeOptions& options) {
    using namespace std::chrono_literals;
    SystemOutputDriver::Options outputOptions;
    outputOptions.deviceID = options.deviceID;
    outputOptions.lowLatency = options.lowLatency;
    auto output = std::make_unique<SystemOutputDriver>(std::move(outputOptions));
    SystemOutputDriver& system = *output;
    AudioEngine engine({std::move(output)});
    if (auto prepared = engine.prepare(); !prepared) return fail(prepared.error());
    const OutputInUse inUse = system.outputInUse();
    if (system.usingFallback() || (!options.deviceID.empty() && inUse.fellBack)) {
        return fail(AudioError{AudioError::Code::deviceUnavailable, inUse.deviceName});
    }
    const std::string api = system.name();

    const double rate = engine.outputFormat().sampleRate;
    auto burst = PcmBuffer::create({rate, 1, SampleType::float32}, kBurstFrames);
    float* const* samples = burst ? burst->floatChannelData() : nullptr;
    if (samples == nullptr) {
        return fail(AudioError{AudioError::Code::engineStartFailed, "out of memory"});
    }
    std::fill_n(samples[0], kBurstFrames, 0.5f);
    burst->setFrameLength(kBurstFrames);
    PlayerNode player;
    MixerNode mixer;
    engine.attach(player);
    engine.attach(mixer);
    engine.connect(player, mixer, burst->format());
    engine.connectToMain(mixer);
    if (auto started = engine.start(); !started) return fail(started.error());
    MonitorClock monitor(monitorOf(options.deviceID));
    if (!monitor.ok()) {
        engine.stop();
        return fail(AudioError{AudioError::Code::deviceUnavailable,
                               "cannot record " + monitorOf(options.deviceID)});
    }
    std::this_thread::sleep_for(500ms);

    LatencyFigures figures;
    figures.api = api;
    // One warm-up run first: a monitor that has just started delivers late.
    for (int run = 0; run <= options.runs; ++run) {
        player.stop();
        player.scheduleBuffer(burst, kPlayerOptionNone, CompletionCallbackType::dataPlayedBack, {});
        std::this_thread::sleep_for(150ms);
        monitor.arm();
        const std::uint64_t command = MonotonicClock::shared().now();
        player.play();
        for (int wait = 0; wait < 300 && monitor.arrival() == 0; ++wait)
            std::this_thread::sleep_for(2ms);
        const std::uint64_t arrival = monitor.arrival();
        if (run > 0 && arrival > command) {
            figures.millis.push_back(static_cast<double>(arrival - command) / 1e6);
        }
        std::this_thread::sleep_for(120ms);
    }
    figures.periodFrames = system.periodFrames();
    figures.underruns = system.xrunCount();
    engine.stop();
    if (figures.millis.empty()) {
        return fail(AudioError{AudioError::Code::deviceUnavailable,
                               "no sound arrived at " + monitorOf(options.deviceID)});
    }
    summarise(figures);
    return figures;
}

}  // namespace brellow::audio
