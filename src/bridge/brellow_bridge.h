#pragma once
// One show window's bridge between the page and the native side: it receives the page's
// command messages, carries each out on the document and the engine, and tells the page what
// happened by evaluating window.brellow.dispatch(...) scripts.
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "audio/drivers/output_devices.h"
#include "audio/engine/audio_engine_service.h"
#include "base/log.h"
#include "base/worker_pool.h"
#include "bridge/command.h"
#include "bridge/web_host.h"
#include "document/page_messenger.h"
#include "document/show_document.h"

namespace brellow::bridge {

class BrellowBridge final : public PageMessenger,
                            public std::enable_shared_from_this<BrellowBridge> {
  public:
    /// `timers` must outlive the bridge.
    static std::shared_ptr<BrellowBridge> create(std::weak_ptr<WebHost> webView,
                                                 std::weak_ptr<ShowDocument> document,
                                                 std::shared_ptr<audio::AudioEngineService> engine,
                                                 TickTimers& timers);
    ~BrellowBridge() override;
    BrellowBridge(const BrellowBridge&) = delete;
    BrellowBridge& operator=(const BrellowBridge&) = delete;

    /// Called with the "skipped" flag of the page's tutorial messages.
    std::function<void(bool skipped)> onTourEvent;
    /// Called when the page says it is ready: its scripts have run and it listens for events.
    std::function<void()> onPageReady;
    /// Lists the system's outputs (off the main context) for the page's output menu, sent as
    /// "outputDevices" when the page is ready; unset, the page gets no list.
    std::function<std::vector<audio::OutputDevice>()> listOutputDevices;

    /// Registers the command handlers, the tutorial handler and the bootstrap script.
    void installHandlers(WebHost& host);
    /// Carries out one page command; runs on the main context.
    void handleCommand(Command command, const nlohmann::json& body);

    void sendEvent(const nlohmann::ordered_json& event) override;
    void sendStateSnapshot() override;
    void handleEngineEvent(const audio::Event& event);
    /// Observes the engine; a later registration replaces the earlier one.
    void registerEngineObserver();
    /// Asks for playheads every 33 ms and sends them while something plays.
    void startPlayheadTimer();
    std::optional<Uuid> observerToken() const { return observerToken_; }
    /// Blocks until the waveform files asked for so far have been read; their answers are then
    /// queued on the main context.
    void finishWaveformReads() { waveformReads_.waitIdle(); }

    static constexpr unsigned kPlayheadIntervalMs = 33;
    static constexpr std::size_t kWaveformPairLimit = 1600;
    /// Waveform files are read on at most this many threads; more requests wait their turn.
    static constexpr std::size_t kWaveformReadThreads = 2;

  private:
    BrellowBridge(std::weak_ptr<WebHost> webView, std::weak_ptr<ShowDocument> document,
                  std::shared_ptr<audio::AudioEngineService> engine, TickTimers& timers);
    void evaluate(const std::string& script);
    void play(const Uuid& id);
    void stop(const Uuid& id);
    void requestWaveform(const Uuid& id);
    void sendOutputDevices();
    void sendPlayheads(const std::vector<audio::StingPosition>& positions);
    bool handleEdit(Command command, const nlohmann::json& body);

    std::weak_ptr<WebHost> webView_;
    std::weak_ptr<ShowDocument> document_;
    std::shared_ptr<audio::AudioEngineService> engine_;
    TickTimers& timers_;
    std::optional<Uuid> observerToken_;
    unsigned observerGeneration_ = 0;
    unsigned playheadTimer_ = 0;
    Logger log_{"Bridge"};
    WorkerPool waveformReads_{kWaveformReadThreads};  // last: its jobs finish before the rest goes
};

/// Reduces interleaved (min, max) pairs to exactly `limit` pairs (unchanged when there are no
/// more than that), each output pair covering a run of input pairs.
std::vector<float> reducePeaks(const std::vector<float>& values, std::size_t limit);

/// `window.brellow.dispatch(<compact JSON>)`, or nothing when the event holds a non-finite
/// number or cannot be serialised.
std::optional<std::string> dispatchScript(const nlohmann::ordered_json& event);

}  // namespace brellow::bridge
