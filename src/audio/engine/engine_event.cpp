#include "audio/engine/engine_event.h"

#include <cstdio>

namespace brellow::audio {

const char* stopReasonRawValue(StopReason reason) {
    switch (reason) {
        case StopReason::user:
            return "user";
        case StopReason::completed:
            return "completed";
        case StopReason::error:
            return "error";
    }
    return "error";
}

std::optional<StopReason> stopReasonFromRawValue(std::string_view raw) {
    if (raw == "user") return StopReason::user;
    if (raw == "completed") return StopReason::completed;
    if (raw == "error") return StopReason::error;
    return std::nullopt;
}

std::string describeEvent(const Event& event) {
    char text[256];
    if (const auto* e = std::get_if<event::PlaybackStarted>(&event)) {
        std::snprintf(text, sizeof text, "playbackStarted %s hostTime=%llu",
                      e->stingID.toString().c_str(), static_cast<unsigned long long>(e->hostTime));
    } else if (const auto* f = std::get_if<event::PlaybackFadeOutStarted>(&event)) {
        std::snprintf(text, sizeof text, "playbackFadeOutStarted %s duration=%gs",
                      f->stingID.toString().c_str(), f->durationSec);
    } else if (const auto* s = std::get_if<event::PlaybackStopped>(&event)) {
        std::snprintf(text, sizeof text, "playbackStopped %s reason=%s",
                      s->stingID.toString().c_str(), stopReasonRawValue(s->reason));
    } else if (const auto* v = std::get_if<event::VolumeChanged>(&event)) {
        std::snprintf(text, sizeof text, "volumeChanged %s dB=%g", v->stingID.toString().c_str(),
                      v->dB);
    } else if (const auto* d = std::get_if<event::DeviceChanged>(&event)) {
        std::snprintf(text, sizeof text, "deviceChanged uid=\"%s\" name=\"%s\" fellBack=%s",
                      d->deviceUID.c_str(), d->deviceName.c_str(), d->fellBack ? "true" : "false");
    }
    return text;
}

}  // namespace brellow::audio
