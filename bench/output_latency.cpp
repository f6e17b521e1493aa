// Command-to-first-sample latency through the system output, as the null sink's monitor of a
// PulseAudio server hears it (run it through tests/e2e/with_pulse.sh). Brellow's own
// PulseAudio output, normal and low latency, against RtAudio's PulseAudio back end and ALSA's
// pulse plugin measured in the same run; twenty runs each after a warm-up.
#include <cstdio>
#include <cstdlib>

#include "audio/engine/latency_probe.h"

using namespace brellow::audio;

namespace {

void report(const char* label, const char* api, bool lowLatency, const char* device = "") {
    setenv("BRELLOW_AUDIO_API", api, 1);  // NOLINT(concurrency-mt-unsafe)
    LatencyProbeOptions options;
    options.lowLatency = lowLatency;
    options.deviceID = device;
    auto measured = measureOutputLatency(options);
    if (!measured) {
        std::printf("%-34s unavailable: %s\n", label, measured.error().message.c_str());
        return;
    }
    std::printf("%-34s period %4u  median %6.2f ms  p95 %6.2f ms  underruns %llu  (%zu runs)\n",
                label, measured->periodFrames, measured->median, measured->p95,
                static_cast<unsigned long long>(measured->underruns), measured->millis.size());
}

}  // namespace

int main() {
    std::printf("command-to-first-sample latency, heard at the null sink's monitor\n");
    report("pulse (Brellow's own)", "pulse", false);
    report("pulse, low latency", "pulse", true);
    report("pulse, chosen sink", "pulse", false, "pulse:brellow_null");
    // References: the routes used before, through RtAudio. RtAudio's PulseAudio back end finds
    // no output when the first of several sinks is the default, so the second is made it.
    (void)std::system("pactl set-default-sink brellow_other");  // NOLINT(cert-env33-c)
    report("RtAudio PulseAudio back end", "rtaudio-pulse", false);
    (void)std::system("pactl set-default-sink brellow_null");  // NOLINT(cert-env33-c)
    report("RtAudio ALSA default (pulse plugin)", "alsa", false);
    return 0;
}
