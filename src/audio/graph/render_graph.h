#pragma once
// The graph as the render thread sees it: mixers fed by players, summed by the main mixer.
// Control threads change it only through the command queue; the render thread reports
// completions and releases through the notification queue and wakes the notifier.
#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

#include "audio/graph/audio_format.h"
#include "audio/graph/mixer_state.h"
#include "audio/graph/render_scratch.h"
#include "audio/graph/render_types.h"
#include "audio/graph/spsc_queue.h"

namespace brellow::audio {

class RenderGraph {
  public:
    /// Mixers the graph has room for at first; the control side sends a larger list before
    /// it adds one more than there is room for (`growMixers`).
    static constexpr std::size_t kInitialMixerCapacity = 1024;

    RenderGraph();
    ~RenderGraph();
    RenderGraph(const RenderGraph&) = delete;
    RenderGraph& operator=(const RenderGraph&) = delete;

    /// Render thread: applies queued commands, then renders `frames` stereo frames whose first
    /// frame sounds at `hostTime`.
    void render(float* left, float* right, std::uint32_t frames, std::uint64_t hostTime);

    /// Queues a command; false when the queue is full.
    bool submit(const RenderCommand& command) { return commands_.push(command); }
    /// Applies queued commands on the calling thread; only while nothing renders.
    void applyCommandsNow() { applyCommands(); }

    SpscQueue<Notification>& notifications() { return notifications_; }
    /// A descriptor that becomes readable when notifications were queued.
    int wakeDescriptor() const { return wakeFd_; }
    void clearWake();

    MixerState& mainMixer() { return main_; }
    RenderScratch& scratch() { return scratch_; }
    void setSampleRate(double rate) { sampleRate_ = rate; }
    double sampleRate() const { return sampleRate_; }

    /// The output frame and host time just after the last rendered frame; sample time 0 and
    /// host time 0 before anything was rendered.
    AudioTime lastRenderTime() const;

  private:
    void applyCommands();
    void apply(const RenderCommand& command);
    void renderBlock(float* left, float* right, std::uint32_t frames, std::uint64_t hostTime);
    void publishTime(std::int64_t sampleTime, std::uint64_t hostTime);

    SpscQueue<RenderCommand> commands_;
    SpscQueue<Notification> notifications_;
    MixerState** mixers_;  // the main mixer's inputs, owned
    std::size_t mixerCapacity_ = kInitialMixerCapacity;
    std::size_t mixerCount_ = 0;
    MixerState main_;
    RenderScratch scratch_;
    std::vector<float> mixLeft_;
    std::vector<float> mixRight_;
    double sampleRate_ = 48000;
    std::int64_t sampleTime_ = 0;
    int wakeFd_ = -1;

    // Published render time, read without locks (a sequence counter guards the pair).
    std::atomic<std::uint32_t> timeSequence_{0};
    std::atomic<std::int64_t> publishedSampleTime_{0};
    std::atomic<std::uint64_t> publishedHostTime_{0};
};

}  // namespace brellow::audio
