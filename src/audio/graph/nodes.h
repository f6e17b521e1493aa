#pragma once
// Player and mixer nodes as the engine logic uses them, on control threads. Each forwards
// its changes to its render-thread state through the engine's command queue.
#include <functional>
#include <memory>
#include <optional>

#include "audio/graph/audio_file.h"
#include "audio/graph/audio_format.h"
#include "audio/graph/mixer_state.h"
#include "audio/graph/pcm_buffer.h"
#include "audio/graph/player_state.h"
#include "audio/graph/render_types.h"

namespace brellow::audio {

class AudioEngine;

/// Called on the notifier thread with the callback type when a scheduled item is done,
/// played back or cut short by stop, reset or an interrupting item.
using CompletionHandler = std::function<void(CompletionCallbackType)>;

class PlayerNode {
  public:
    PlayerNode();
    ~PlayerNode();
    PlayerNode(const PlayerNode&) = delete;
    PlayerNode& operator=(const PlayerNode&) = delete;

    /// Plays `buffer` (its frame length) after what is already scheduled.
    void scheduleBuffer(std::shared_ptr<const PcmBuffer> buffer, std::uint32_t options,
                        CompletionCallbackType callbackType, CompletionHandler handler);
    /// Plays frames [startFrame, startFrame + frameCount) of `buffer`, without copying them.
    void scheduleBuffer(std::shared_ptr<const PcmBuffer> buffer, std::int64_t startFrame,
                        std::uint32_t frameCount, std::uint32_t options,
                        CompletionCallbackType callbackType, CompletionHandler handler);
    /// Streams frames [startFrame, startFrame + frameCount) of `file` from disk. Frames that
    /// `head` (the file's first frames, in memory) holds are there from the start, so the
    /// segment sounds on time however slow the disk.
    void scheduleSegment(const AudioFile& file, std::int64_t startFrame, std::uint32_t frameCount,
                         CompletionCallbackType callbackType, CompletionHandler handler,
                         std::uint32_t options = kPlayerOptionNone,
                         const PcmBuffer* head = nullptr);

    void play();                        // as soon as possible
    void play(std::uint64_t hostTime);  // on the output frame heard at that host time
    void stop();                        // drops the schedule; time returns to zero
    void reset();                       // drops the schedule; time restarts at zero
    bool isPlaying() const { return playing_; }

    /// The engine's last render time, or nothing when the engine never rendered.
    std::optional<AudioTime> lastRenderTime() const;
    /// The player's own time (frames at its rate since it started) at `nodeTime`, or nothing
    /// when it is not playing or has not started yet.
    std::optional<AudioTime> playerTime(const AudioTime& nodeTime) const;

  private:
    friend class AudioEngine;
    /// Stops without the ramp, for an output that stopped: nothing of the old run may sound
    /// when it starts again.
    void stopSilently();
    void submit(RenderCommand command);
    void scheduleItem(ScheduledItem item, std::shared_ptr<const void> keepAlive,
                      CompletionHandler handler);

    AudioEngine* engine_ = nullptr;
    std::unique_ptr<PlayerState> state_;
    bool playing_ = false;
    bool connected_ = false;
    bool converterHeld_ = false;  // the render side holds a converter this player gave it
};

class MixerNode {
  public:
    MixerNode();
    ~MixerNode();
    MixerNode(const MixerNode&) = delete;
    MixerNode& operator=(const MixerNode&) = delete;

    float outputVolume() const { return state_->targetGain.load(std::memory_order_relaxed); }
    void setOutputVolume(float gain) { state_->targetGain.store(gain, std::memory_order_relaxed); }

  private:
    friend class AudioEngine;
    explicit MixerNode(MixerState* mainState);

    AudioEngine* engine_ = nullptr;
    std::unique_ptr<MixerState> owned_;
    MixerState* state_;
    bool connected_ = false;
};

}  // namespace brellow::audio
