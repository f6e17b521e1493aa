#pragma once
// The render-thread side of a player: its schedule of items, when it starts, how far it has
// played, and the conversion of its frames to the stereo output at the device rate. Only the
// render thread touches it while the engine runs; control threads read the published atomics.
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "audio/graph/audio_format.h"
#include "audio/graph/channel_map.h"
#include "audio/graph/render_scratch.h"
#include "audio/graph/render_types.h"
#include "audio/graph/resampler.h"
#include "audio/graph/spsc_queue.h"

namespace brellow::audio {

/// The output timeline of one render cycle.
struct CycleTime {
    std::int64_t sampleTime;  // output frame of the cycle's first frame
    std::uint64_t hostTime;   // host time of that frame
    double sampleRate;        // output rate
};

struct PlayerState {
    static constexpr std::size_t kMaxItems = 64;
    static constexpr std::int64_t kNotStarted = INT64_MIN;

    /// Prepares conversion from `format` to stereo at `deviceRate`. Control thread only, while
    /// the render thread does not use this player. A player that converts holds a converter
    /// only from its first scheduled item until it stops or resets: the item brings it.
    void configure(const AudioFormat& format, double deviceRate);
    bool converts() const { return format.sampleRate > 0 && format.sampleRate != deviceRate; }

    // Render thread.
    /// `fresh` (may be null) replaces the converter when the item interrupts the queue, and is
    /// taken up by a player that holds none.
    void schedule(const ScheduledItem& item, Resampler* fresh,
                  SpscQueue<Notification>& notifications);
    void play(std::uint64_t hostTime);
    /// Stops at once: the next few milliseconds of what was playing still sound, ramped down
    /// to silence, so the stop does not click.
    /// Without `ramp` (the output went away, the player is removed) it falls silent at once.
    /// Stop and reset let go of the converter (for `fresh`, usually none).
    void stop(Resampler* fresh, SpscQueue<Notification>& notifications, bool ramp = true);
    void reset(Resampler* fresh, SpscQueue<Notification>& notifications);
    /// Something to render: playing, or finishing its stop ramp.
    bool sounding() const { return playing_ || stopTailRead_ < stopTailFrames_; }
    /// Adds this player's next `frames` output frames into `left` and `right`.
    void render(float* left, float* right, std::uint32_t frames, const CycleTime& cycle,
                SpscQueue<Notification>& notifications);

    // Published for control threads.
    std::atomic<std::int64_t> epochSampleTime{kNotStarted};  // output frame where time 0 lies
    std::atomic<std::uint32_t> droppedItems{0};

    /// Longest ramp of a stop: 5 ms at the highest output rate.
    static constexpr std::uint32_t kMaxStopRampFrames = 960;

    AudioFormat format;
    double deviceRate = 0;
    MixerState* mixer = nullptr;
    RenderScratch* scratch = nullptr;  // the graph's, set when the player is connected

  private:
    /// An item whose frames have all gone into the converter, waiting until its last frame
    /// comes out before it completes.
    struct PendingCompletion {
        ScheduledItem item;
        std::int64_t heardAtOutputFrame;
    };

    /// Adds the next `count` output frames of the schedule, converted when needed.
    void produce(float* left, float* right, std::uint32_t count,
                 SpscQueue<Notification>& notifications);
    void produceConverted(float* left, float* right, std::uint32_t count,
                          SpscQueue<Notification>& notifications);
    /// Completes an item that has just been read to its end (`endInputFrame` on the
    /// converter's input): at once, or once its last frame leaves the converter.
    void finish(const ScheduledItem& item, std::int64_t endInputFrame,
                SpscQueue<Notification>& notifications);
    void completeHeard(SpscQueue<Notification>& notifications);
    /// Renders the stop ramp ahead into `stopTail_`.
    void renderStopRamp(SpscQueue<Notification>& notifications);
    /// Adds the next `frames` frames at the player's rate, mapped to stereo, into `left` and
    /// `right`; past the end of the schedule it adds nothing (silence).
    void pull(float* left, float* right, std::uint32_t frames,
              SpscQueue<Notification>& notifications);
    /// Adds `count` frames of `channels` from frame `from` on, mapped to stereo.
    void mixChannels(const float* const* channels, std::int64_t from, std::uint32_t count,
                     float* left, float* right) const;
    /// Lets the converter go (to the notifier, to be freed) and takes `fresh`.
    void adopt(Resampler* fresh, SpscQueue<Notification>& notifications);
    /// Drops the schedule and the converter, taking `fresh`.
    void flush(Resampler* fresh, SpscQueue<Notification>& notifications);
    void complete(const ScheduledItem& item, SpscQueue<Notification>& notifications);

    std::array<ScheduledItem, kMaxItems> items_{};
    std::size_t head_ = 0;
    std::size_t count_ = 0;
    std::int64_t itemPosition_ = 0;  // frames of the current item already read

    bool playing_ = false;
    bool startPending_ = false;
    std::uint64_t startHostTime_ = 0;

    ChannelMap channelMap_;

    std::unique_ptr<Resampler> resampler_;
    std::int64_t inputFed_ = 0;     // frames given to the converter since it was fresh
    std::int64_t pullBase_ = 0;     // inputFed_ when the current step began
    std::int64_t outputTaken_ = 0;  // converted frames rendered since it was fresh
    std::array<PendingCompletion, kMaxItems> pending_{};
    std::size_t pendingHead_ = 0;
    std::size_t pendingCount_ = 0;

    std::array<float, std::size_t{2} * kMaxStopRampFrames> stopTail_{};
    std::uint32_t stopTailFrames_ = 0;  // ramp frames rendered ahead
    std::uint32_t stopTailRead_ = 0;    // of which already played
};

}  // namespace brellow::audio
