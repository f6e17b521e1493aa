// brellow-cli devices and latency: the system's outputs by the identifiers a show stores, and
// command-to-first-sample latency measured at a sink.
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "audio/drivers/output_devices.h"
#include "audio/engine/latency_probe.h"
#include "cli/cli.h"

namespace brellow::cli {

int runDevices(const Arguments& args) {
    if (!args.empty()) return complain(kExitUsage, "devices: expected no arguments");
    const std::vector<audio::OutputDevice> devices = audio::listOutputDevices();
    if (devices.empty()) {
        std::cout << "No audio outputs (no sound server, JACK server or ALSA device answers)\n";
        return kExitOk;
    }
    for (const audio::OutputDevice& device : devices) {
        std::cout << (device.isDefault ? "* " : "  ") << device.id << "\t" << device.name << "\n";
    }
    return kExitOk;
}

int runLatency(const Arguments& args) {
    audio::LatencyProbeOptions options;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--low-latency") {
            options.lowLatency = true;
        } else if (args[i] == "--device" && i + 1 < args.size()) {
            options.deviceID = args[++i];
        } else if (args[i] == "--runs" && i + 1 < args.size()) {
            char* end = nullptr;
            const long runs = std::strtol(args[++i].c_str(), &end, 10);
            if (*end != '\0' || runs < 1 || runs > 1000) {
                return complain(kExitUsage, "latency: --runs takes a count from 1 to 1000");
            }
            options.runs = static_cast<int>(runs);
        } else {
            return complain(kExitUsage,
                            "latency: expected [--device ID] [--runs N] [--low-latency]");
        }
    }
    auto measured = audio::measureOutputLatency(options);
    if (!measured) return complain(kExitFailed, "latency: " + measured.error().message);
    std::printf("latency api=%s median_ms=%.2f p95_ms=%.2f runs=%zu\n", measured->api.c_str(),
                measured->median, measured->p95, measured->millis.size());
    return kExitOk;
}

}  // namespace brellow::cli
