#pragma once
// What the engine tells its observers.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "base/uuid.h"

namespace brellow::audio {

enum class StopReason { user, completed, error };

const char* stopReasonRawValue(StopReason reason);
std::optional<StopReason> stopReasonFromRawValue(std::string_view raw);

namespace event {
struct PlaybackStarted {
    Uuid stingID;
    std::uint64_t hostTime;  // when the first frame sounds, host-clock ticks
};
struct PlaybackFadeOutStarted {
    Uuid stingID;
    double durationSec;
};
struct PlaybackStopped {
    Uuid stingID;
    StopReason reason;
};
struct VolumeChanged {
    Uuid stingID;
    double dB;
};
struct DeviceChanged {
    std::string deviceUID;
    std::string deviceName;
    bool fellBack;
};
}  // namespace event

using Event = std::variant<event::PlaybackStarted, event::PlaybackFadeOutStarted,
                           event::PlaybackStopped, event::VolumeChanged, event::DeviceChanged>;

/// One line describing an event, for the command-line tools.
std::string describeEvent(const Event& event);

}  // namespace brellow::audio
