#pragma once
// Measures command to first sample through a real output: a burst is started on a player and
// the sink's monitor (PulseAudio or PipeWire) is read until the burst arrives. The time includes
// the monitor's own small delay (a 64-frame read), so it slightly overstates the output's.
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "audio/graph/audio_error.h"
#include "base/result.h"

struct pa_simple;

namespace brellow::audio {

/// Reads a PulseAudio monitor source in 64-frame chunks and notes when the first loud sample
/// after arm() arrived, in host-clock ticks.
class MonitorClock {
  public:
    explicit MonitorClock(const std::string& source);
    ~MonitorClock();
    MonitorClock(const MonitorClock&) = delete;
    MonitorClock& operator=(const MonitorClock&) = delete;

    bool ok() const { return stream_ != nullptr; }
    void arm();
    /// 0 until sound arrived.
    std::uint64_t arrival() const { return arrival_; }

  private:
    void run();

    pa_simple* stream_ = nullptr;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> armed_{false};
    std::atomic<std::uint64_t> arrival_{0};
};

struct LatencyProbeOptions {
    std::string deviceID;  // as SystemOutputDriver takes it; empty: the default output
    bool lowLatency = false;
    int runs = 20;
};

struct LatencyFigures {
    std::string api;
    std::vector<double> millis;  // one per run, in the order measured
    double median = 0;
    double p95 = 0;
    std::uint32_t periodFrames = 0;
    std::uint64_t underruns = 0;
};

/// The median and 95th percentile (nearest rank) of `millis`.
void summarise(LatencyFigures& figures);

Result<LatencyFigures, AudioError> measureOutputLatency(const LatencyProbeOptions& options);

}  // namespace brellow::audio
