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
    /// the render thread does not use this player.
    void configure(const AudioFormat& format, double deviceRate);
    std::size_t inputScratchFrames() const { return scratchFrames_; }
    bool converts() const { return format.sampleRate > 0 && format.sampleRate != deviceRate; }

    // Render thread.
    /// `fresh` (may be null) replaces the converter when the item interrupts the queue.
    void schedule(const ScheduledItem& item, Resampler* fresh,
                  SpscQueue<Notification>& notifications);
    void play(std::uint64_t hostTime);
    void stop(Resampler* fresh, SpscQueue<Notification>& notifications);
    void reset(Resampler* fresh, SpscQueue<Notification>& notifications);
    /// Adds this player's next `frames` output frames into `left` and `right`.
    void render(float* left, float* right, std::uint32_t frames, const CycleTime& cycle,
                SpscQueue<Notification>& notifications);

    // Published for control threads.
    std::atomic<std::int64_t> epochSampleTime{kNotStarted};  // output frame where time 0 lies
    std::atomic<std::uint32_t> droppedItems{0};

    AudioFormat format;
    double deviceRate = 0;
    MixerState* mixer = nullptr;

  private:
    /// Adds the next `frames` frames at the player's rate, mapped to stereo, into `left` and
    /// `right`; past the end of the schedule it adds nothing (silence).
    void pull(float* left, float* right, std::uint32_t frames,
              SpscQueue<Notification>& notifications);
    /// Adds `count` frames of `channels` from frame `from` on, mapped to stereo.
    void mixChannels(const float* const* channels, std::int64_t from, std::uint32_t count,
                     float* left, float* right) const;
    /// Drops the schedule and what the converter holds, swapping in `fresh` when given.
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
    std::vector<float> channelScratch_;  // format.channelCount arrays of kScratchFrames
    std::array<float*, kMaxSourceChannels> channelPointers_{};
    std::unique_ptr<Resampler> resampler_;
    std::vector<float> fifo_;  // stereo frames at the player's rate waiting to be resampled
    std::array<float*, 2> fifoPointers_{};
    std::size_t fifoFrames_ = 0;
    std::size_t discardFrames_ = 0;  // warm-up history still to drop from the converter
    std::vector<float> resampled_;
    std::array<float*, 2> resampledPointers_{};
    std::size_t scratchFrames_ = 0;
};

}  // namespace brellow::audio
