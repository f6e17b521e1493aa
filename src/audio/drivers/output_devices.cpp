#include "audio/drivers/output_devices.h"

#include <alsa/asoundlib.h>
#include <pulse/introspect.h>
#include <rtaudio/RtAudio.h>

#include "audio/drivers/pulse_connection.h"

namespace brellow::audio {

namespace {

struct SinkList {
    PulseConnection* connection;
    std::string defaultSink;
    std::vector<OutputDevice> devices;
};

void onServerInfo(pa_context* /*context*/, const pa_server_info* info, void* user) {
    auto* list = static_cast<SinkList*>(user);
    if (info != nullptr && info->default_sink_name != nullptr) {
        list->defaultSink = info->default_sink_name;
    }
    list->connection->signal();
}

void onSink(pa_context* /*context*/, const pa_sink_info* info, int eol, void* user) {
    auto* list = static_cast<SinkList*>(user);
    if (eol == 0 && info != nullptr && info->name != nullptr) {
        list->devices.push_back({std::string("pulse:") + info->name,
                                 info->description != nullptr ? info->description : info->name,
                                 list->defaultSink == info->name});
    }
    list->connection->signal();
}

std::vector<OutputDevice> pulseSinks() {
    PulseConnection connection;
    if (!connection.connect("Brellow device list")) return {};
    SinkList list{&connection, {}, {}};
    const PulseConnection::Lock lock(connection);
    if (!connection.waitFor(
            pa_context_get_server_info(connection.context(), &onServerInfo, &list))) {
        return {};
    }
    if (!connection.waitFor(pa_context_get_sink_info_list(connection.context(), &onSink, &list))) {
        return {};
    }
    return list.devices;
}

void quietAlsa(const char*, int, const char*, int, const char*, ...) {}

std::vector<OutputDevice> rtAudioDevices(RtAudio::Api api, const std::string& kind) {
    std::vector<OutputDevice> devices;
    try {
        snd_lib_error_set_handler(&quietAlsa);
        RtAudio audio(api);
        audio.showWarnings(false);
        const unsigned int count = audio.getDeviceCount();
        const unsigned int defaultDevice = count > 0 ? audio.getDefaultOutputDevice() : 0;
        for (unsigned int i = 0; i < count; ++i) {
            const RtAudio::DeviceInfo info = audio.getDeviceInfo(i);
            if (!info.probed || info.outputChannels < 2) continue;
            devices.push_back({kind + ":" + info.name, info.name, i == defaultDevice});
        }
    } catch (const RtAudioError&) {
        return {};  // no server or no device: nothing to list
    }
    return devices;
}

}  // namespace

std::vector<OutputDevice> listOutputDevices() {
    std::vector<OutputDevice> devices = pulseSinks();
    const bool serverAnswered = !devices.empty();
    std::vector<OutputDevice> jack = rtAudioDevices(RtAudio::UNIX_JACK, "jack");
    if (serverAnswered) {
        for (OutputDevice& device : jack)
            device.isDefault = false;  // the sound server's default comes first
    }
    devices.insert(devices.end(), jack.begin(), jack.end());
    if (devices.empty()) devices = rtAudioDevices(RtAudio::LINUX_ALSA, "alsa");
    return devices;
}

}  // namespace brellow::audio
