#pragma once
// The plain messages that cross between control threads and the render thread.
#include <cstddef>
#include <cstdint>

namespace brellow::audio {

class PcmBuffer;
class Resampler;
class StreamRing;
struct PlayerState;
struct MixerState;

/// Options of a scheduled buffer.
enum PlayerOptions : std::uint32_t {
    kPlayerOptionNone = 0,
    kPlayerOptionLoops = 1,       // repeat the buffer until interrupted or stopped
    kPlayerOptionInterrupts = 2,  // replace whatever is playing or queued
};

/// When a completion handler fires: after the player consumed the data, after it was
/// rendered, or after it was played back to the output.
enum class CompletionCallbackType : std::uint8_t {
    dataConsumed = 0,
    dataRendered = 1,
    dataPlayedBack = 2
};

/// One item on a player's schedule: part of a buffer in memory, or a segment streamed from a
/// file. The memory it points to is kept alive by the control side until its completion.
struct ScheduledItem {
    const PcmBuffer* buffer = nullptr;  // a buffer item
    StreamRing* stream = nullptr;       // a file item
    std::int64_t startFrame = 0;        // first frame of the buffer to play
    std::int64_t frameCount = 0;
    std::uint32_t options = kPlayerOptionNone;
    std::uint64_t completionID = 0;  // 0: no handler
    CompletionCallbackType callbackType = CompletionCallbackType::dataPlayedBack;
};

struct RenderCommand {
    enum class Op : std::uint8_t {
        addMixer,
        removeMixer,
        connectPlayer,
        removePlayer,
        schedule,
        play,
        stop,
        reset,
        growMixers
    };
    Op op = Op::play;
    MixerState* mixer = nullptr;
    PlayerState* player = nullptr;
    ScheduledItem item;
    std::uint64_t hostTime = 0;  // play: 0 means at once
    bool rampStop = true;        // stop: let the last few milliseconds ramp down
    /// stop, reset, interrupting schedule: a fresh converter to replace the player's, made on
    /// the control side because making or clearing one allocates.
    Resampler* freshResampler = nullptr;
    /// growMixers: a larger list for the main mixer's inputs, made on the control side.
    MixerState** mixerList = nullptr;
    std::size_t mixerCapacity = 0;
};

struct Notification {
    enum class Kind : std::uint8_t {
        completion,
        playerReleased,
        mixerReleased,
        resamplerReleased,
        mixerListReleased
    };
    Kind kind = Kind::completion;
    std::uint64_t completionID = 0;
    CompletionCallbackType callbackType = CompletionCallbackType::dataPlayedBack;
    PlayerState* player = nullptr;
    MixerState* mixer = nullptr;
    Resampler* resampler = nullptr;
    MixerState** mixerList = nullptr;
};

/// Largest block the graph renders at once; drivers with larger periods are split.
inline constexpr std::uint32_t kMaxBlockFrames = 4096;
inline constexpr std::uint32_t kOutputChannels = 2;

}  // namespace brellow::audio
