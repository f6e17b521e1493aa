// Command-to-first-sample latency through the system output, as the null sink's monitor of a
// PulseAudio server hears it (run it through tests/e2e/with_pulse.sh). For each back end it
// plays a short burst twenty times (after one warm-up) and reports how long after play() the first
// sample arrived, including the recording path's own small latency.
#include <pulse/simple.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "audio/drivers/system_output.h"
#include "audio/graph/audio_engine.h"

using namespace brellow::audio;

namespace {

constexpr double kRate = 48000;
constexpr std::size_t kChunk = 64;  // frames per read of the monitor

// Reads the monitor continuously and notes when the first loud sample after `armed` arrives.
class MonitorClock {
  public:
    MonitorClock() {
        pa_sample_spec format{PA_SAMPLE_FLOAT32LE, static_cast<std::uint32_t>(kRate), 1};
        pa_buffer_attr attr{static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1),
                            static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1),
                            static_cast<std::uint32_t>(kChunk * sizeof(float))};
        stream_ =
            pa_simple_new(nullptr, "brellow-latency", PA_STREAM_RECORD, "brellow_null.monitor",
                          "monitor", &format, nullptr, &attr, nullptr);
        if (stream_ != nullptr) thread_ = std::thread([this] { run(); });
    }
    ~MonitorClock() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
        if (stream_ != nullptr) pa_simple_free(stream_);
    }
    bool ok() const { return stream_ != nullptr; }
    void arm() {
        arrival_ = 0;
        armed_ = true;
    }
    std::uint64_t arrival() const { return arrival_; }

  private:
    void run() {
        std::vector<float> chunk(kChunk);
        while (!stop_) {
            if (pa_simple_read(stream_, chunk.data(), chunk.size() * sizeof(float), nullptr) < 0)
                return;
            const std::uint64_t now = MonotonicClock::shared().now();
            if (!armed_) continue;
            for (std::size_t i = 0; i < kChunk; ++i) {
                if (std::fabs(chunk[i]) > 0.05f) {
                    arrival_ = now - static_cast<std::uint64_t>(static_cast<double>(kChunk - i) *
                                                                1e9 / kRate);
                    armed_ = false;
                    break;
                }
            }
        }
    }
    pa_simple* stream_ = nullptr;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> armed_{false};
    std::atomic<std::uint64_t> arrival_{0};
};

void measure(const char* api) {
    setenv("BRELLOW_AUDIO_API", api, 1);  // NOLINT(concurrency-mt-unsafe)
    auto output = std::make_unique<SystemOutputDriver>();
    SystemOutputDriver& system = *output;
    AudioEngine engine({std::move(output)});
    if (!engine.prepare() || system.usingFallback()) {
        std::printf("%-26s unavailable\n", api);
        return;
    }
    const double rate = engine.outputFormat().sampleRate;
    auto burst = PcmBuffer::create({rate, 1, SampleType::float32}, 4800);
    float* const* samples = burst ? burst->floatChannelData() : nullptr;
    if (samples == nullptr) return;
    std::fill_n(samples[0], 4800, 0.5f);
    burst->setFrameLength(4800);
    PlayerNode player;
    MixerNode mixer;
    engine.attach(player);
    engine.attach(mixer);
    engine.connect(player, mixer, burst->format());
    engine.connectToMain(mixer);
    if (!engine.start()) return;
    MonitorClock monitor;
    if (!monitor.ok()) {
        std::printf("%-26s cannot record the monitor\n", api);
        return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    std::vector<double> latencies;
    // The first trial is left out: a monitor that has just started delivers late.
    for (int trial = 0; trial < 21; ++trial) {
        player.stop();
        player.scheduleBuffer(burst, kPlayerOptionNone, CompletionCallbackType::dataPlayedBack, {});
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        monitor.arm();
        const std::uint64_t command = MonotonicClock::shared().now();
        player.play();
        for (int wait = 0; wait < 300 && monitor.arrival() == 0; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (trial > 0 && monitor.arrival() != 0)
            latencies.push_back(static_cast<double>(monitor.arrival() - command) / 1e6);
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
    }
    engine.stop();
    if (latencies.empty()) {
        std::printf("%-26s no sound arrived\n", api);
        return;
    }
    if (std::getenv("BRELLOW_LATENCY_TRIALS") != nullptr) {  // NOLINT
        for (const double l : latencies)
            std::printf("%.1f ", l);
        std::printf("\n");
    }
    std::sort(latencies.begin(), latencies.end());
    std::printf("%-26s period %4u  min %7.1f ms  median %7.1f ms  max %7.1f ms  (%zu trials)\n",
                (std::string(api) + " (" + system.name() + ")").c_str(), system.periodFrames(),
                latencies.front(), latencies[latencies.size() / 2], latencies.back(),
                latencies.size());
}

}  // namespace

int main() {
    std::printf("command-to-first-sample latency, heard at the null sink's monitor\n");
    measure("alsa");
    measure("pulse");
    return 0;
}
