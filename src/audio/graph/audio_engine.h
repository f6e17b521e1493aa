#pragma once
// A graph of players and mixers feeding a main mixer and an output driver. Control threads
// attach, connect and schedule; the driver's render thread pulls the graph; a notifier thread
// delivers completions and frees memory the render thread gave up.
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "audio/drivers/audio_driver.h"
#include "audio/graph/disk_streamer.h"
#include "audio/graph/host_clock.h"
#include "audio/graph/nodes.h"
#include "audio/graph/render_graph.h"
#include "audio/graph/resampler_pool.h"

namespace brellow::audio {

class AudioEngine final : private OutputRenderer {
  public:
    struct Options {
        std::unique_ptr<AudioDriver> driver;
        const HostClock* clock = &MonotonicClock::shared();
        /// False for offline use: the caller delivers completions with pumpNotifications().
        bool notifierThread = true;
    };

    explicit AudioEngine(Options options);
    ~AudioEngine() override;
    AudioEngine(const AudioEngine&) = delete;
    AudioEngine& operator=(const AudioEngine&) = delete;

    MixerNode& mainMixer() { return mainMixer_; }
    const HostClock& clock() const { return *clock_; }
    AudioDriver& driver() { return *driver_; }

    void attach(PlayerNode& player);
    void attach(MixerNode& mixer);
    /// Detaching stops the player and fires the handlers of what it had scheduled.
    void detach(PlayerNode& player);
    void detach(MixerNode& mixer);
    /// Feeds `player`, whose frames are in `format`, into `mixer`.
    void connect(PlayerNode& player, MixerNode& mixer, const AudioFormat& format);
    /// Feeds `mixer` into the main mixer.
    void connectToMain(MixerNode& mixer);

    /// Opens the output if it is not open; the output format is known from then on.
    Result<void, AudioError> prepare();
    Result<void, AudioError> start();
    /// Stops the output and every player.
    void stop();
    bool isRunning() const { return running_.load(std::memory_order_acquire); }
    /// The output's format (stereo float at the device rate); 48 kHz until first prepared.
    AudioFormat outputFormat() const;

    /// Called on a driver thread when the output was lost or changed and the engine stopped.
    void setConfigurationChangeHandler(std::function<void()> handler);

    /// Delivers pending completions on the calling thread (offline engines).
    void pumpNotifications();
    /// Fills streamed segments on the calling thread (offline engines, before rendering).
    void fillStreamsNow() { streamer_.fillNow(); }

  private:
    friend class PlayerNode;

    struct Completion {
        CompletionHandler handler;
        std::shared_ptr<const void> keepAlive;
    };

    void submit(const RenderCommand& command);
    std::uint64_t registerCompletion(CompletionHandler handler,
                                     std::shared_ptr<const void> keepAlive);
    void addStream(std::shared_ptr<StreamRing> ring) { streamer_.add(std::move(ring)); }
    RenderGraph& graph() { return graph_; }
    void stopPlayersAfterOutputStopped();
    void runNotifier();
    ResamplerPool& resamplers() { return resamplers_; }

    void renderOutput(float* left, float* right, std::uint32_t frames,
                      std::uint64_t hostTime) override;
    void outputDisrupted(const std::string& reason) override;

    std::unique_ptr<AudioDriver> driver_;
    const HostClock* clock_;
    RenderGraph graph_;
    MixerNode mainMixer_;
    DiskStreamer streamer_;
    ResamplerPool resamplers_;
    std::atomic<bool> running_{false};
    std::atomic<bool> prepared_{false};
    std::atomic<bool> playersNeedStop_{false};
    AudioFormat outputFormat_{48000, 2, SampleType::float32};

    std::vector<PlayerNode*> players_;
    std::vector<MixerNode*> mixers_;
    // Mixers connected to the main mixer, and the room the render thread's list has.
    std::size_t mainInputs_ = 0;
    std::size_t mainCapacity_ = RenderGraph::kInitialMixerCapacity;
    std::unordered_map<PlayerState*, std::unique_ptr<PlayerState>> retiredPlayers_;
    std::unordered_map<MixerState*, std::unique_ptr<MixerState>> retiredMixers_;

    std::mutex completionsMutex_;
    std::unordered_map<std::uint64_t, Completion> completions_;
    std::uint64_t nextCompletionID_ = 1;

    std::mutex handlerMutex_;
    std::function<void()> configurationChangeHandler_;

    std::mutex pumpMutex_;  // one consumer of the notification queue at a time
    std::atomic<bool> stopping_{false};
    std::thread notifier_;
};

}  // namespace brellow::audio
