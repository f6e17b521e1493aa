#pragma once
// The outputs of the system, by the identifiers a show stores as its output device:
// PulseAudio/PipeWire sinks ("pulse:SINK"), JACK when a server runs ("jack:DEVICE"), ALSA devices
// when no sound server answers ("alsa:DEVICE").
#include <string>
#include <vector>

namespace brellow::audio {

struct OutputDevice {
    std::string id;
    std::string name;  // for people: the sink's description or the device's name
    bool isDefault = false;
};

/// Queries the servers and devices now; empty when none answers.
std::vector<OutputDevice> listOutputDevices();

}  // namespace brellow::audio
