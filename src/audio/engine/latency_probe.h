#pragma once
// Measures command to first sample through a real output: a burst is started on a player and
// the sink's monitor (PulseAudio or PipeWire) is read until the burst arrives. The time includes
// the monitor's own small delay (a 64-frame read), so it slightly overstates the output's.
#include <cstdint>
#include <string>
#include <vector>

#include "audio/graph/audio_error.h"
#include "base/result.h"

namespace brellow::audio {

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
