#pragma once
// The audio engine of one open show: a player and a mixer per loaded sting on the render
// graph, playback of trimmed ranges with loops and fades, stops, levels, live trim and loop
// changes, events to observers, and recovery after the output changed or the system woke.
//
// Every operation runs on the engine's serial executor, one at a time and without waiting.
// The public functions only post the operation there; their optional callbacks run there when
// it is done. Platform callbacks (completions, timers, the configuration change) hold the
// engine weakly and also just post operations.
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "audio/engine/engine_error.h"
#include "audio/engine/engine_event.h"
#include "audio/engine/executor.h"
#include "audio/engine/load_pool.h"
#include "audio/engine/sting_node.h"
#include "audio/graph/audio_engine.h"
#include "base/log.h"
#include "base/result.h"

namespace brellow::audio {

/// 0 at -120 dB or below, else 10^(dB/20) narrowed to float; no upper limit.
float dbToGain(double dB);

struct StingPosition {
    Uuid stingID;
    double positionSec;  // from the start of the file
};

class AudioEngineService : public std::enable_shared_from_this<AudioEngineService> {
  public:
    struct Options {
        std::unique_ptr<AudioDriver> driver;
        const HostClock* clock = &MonotonicClock::shared();
        Executor* executor = nullptr;  // where operations run; not owned
        Executor* delivery = nullptr;  // where observers are called; not owned
        bool notifierThread = true;    // false: the caller pumps graph notifications
        /// Stings whose decoded size is at most this are held in memory, larger ones streamed.
        std::uint64_t memoryLimitBytes = 52'428'800;
        /// Threads that decode stings in parallel; 0 decodes on the executor, in order.
        unsigned loadThreads = 0;
        /// Bytes of decoded media the whole show may hold in memory; stings loaded beyond it
        /// stream from their files. 0: a quarter of the machine's memory.
        std::uint64_t memoryBudgetBytes = 0;
    };

    static std::shared_ptr<AudioEngineService> create(Options options);
    ~AudioEngineService();
    AudioEngineService(const AudioEngineService&) = delete;
    AudioEngineService& operator=(const AudioEngineService&) = delete;

    using Done = std::function<void(std::optional<EngineFailure>)>;

    /// With load threads, the sting is decoded there (`urgent` ones first: the page on
    /// screen) and becomes playable when `done` runs; a later load or an unload of the same
    /// sting while it decodes replaces it (its `done` then reports no failure).
    void loadSting(const Uuid& id, const std::filesystem::path& url, double volumeDB,
                   Done done = {}, bool urgent = false);
    /// The stings asked to load that are not playable yet.
    void stingsNotYetPlayable(std::function<void(std::vector<Uuid>)> done);
    void unload(const Uuid& id);
    /// `done` receives the host time the sting starts at, or the failure.
    void play(const Uuid& id, std::optional<double> trimInSec, std::optional<double> trimOutSec,
              bool loop, double fadeInSec, double fadeOutSec,
              std::function<void(Result<std::uint64_t, EngineFailure>)> done = {});
    void stop(const Uuid& id, double fadeOutSec);
    void stopAll(bool useFades);
    void stopOthers(const Uuid& exceptID, double fallbackFadeSec);
    void setVolume(const Uuid& id, double dB);
    void setMasterVolume(double dB);
    void setTrim(const Uuid& id, std::optional<double> trimInSec, std::optional<double> trimOutSec);
    void setLoop(const Uuid& id, bool enabled, double fadeOutSec);
    void currentPositions(std::function<void(std::vector<StingPosition>)> done);
    void addObserver(std::function<void(const Event&)> handler,
                     std::function<void(const Uuid& token)> done = {});
    void recoverAfterWake();
    /// Moves the output to `deviceID` ("" for the system's default output); cues that sound
    /// resume there and observers receive deviceChanged.
    void setOutputDevice(const std::string& deviceID);

    /// The graph, for offline drivers and tests.
    AudioEngine& graph() { return engine_; }
    Executor& executor() { return *executor_; }
    /// A node's state, for tests; call on the executor.
    const StingNode* nodeForTesting(const Uuid& id) const;

    static constexpr double kStartLeadMs = 5;
    static constexpr std::uint64_t kMemoryLimitBytes = 52'428'800;
    /// Seconds at the start of a streamed sting kept in memory, so it starts on time.
    static constexpr double kPreloadSeconds = 2.0;
    static constexpr auto kFadeStep = std::chrono::milliseconds(16);

  private:
    explicit AudioEngineService(Options options);
    void subscribeToConfigurationChanges();
    /// Runs `operation` on the executor if the engine still exists then.
    void submit(std::function<void(AudioEngineService&)> operation);

    // Operations, on the executor.
    Result<void, EngineFailure> ensureRunning();
    Result<void, EngineFailure> doLoadSting(const Uuid& id, const std::filesystem::path& url,
                                            double volumeDB);
    /// Opens the file and, within the memory limit, reads it into memory. Any thread.
    static DecodedSting decodeSting(const std::filesystem::path& url,
                                    std::uint64_t memoryLimitBytes);
    /// Replaces any node of `id` by one for the decoded sting.
    Result<void, EngineFailure> attachSting(const Uuid& id, const std::filesystem::path& url,
                                            double volumeDB, DecodedSting decoded);
    void doLoadStingInBackground(const Uuid& id, const std::filesystem::path& url, double volumeDB,
                                 bool urgent, Done done);
    void doStingsNotYetPlayable(const std::function<void(std::vector<Uuid>)>& done);
    /// In memory within the show's budget, else streamed with its first seconds preloaded.
    void placeInMemoryOrStream(StingNode& node, DecodedSting decoded);
    void doUnload(const Uuid& id);
    void teardown(StingNode& node);
    Result<std::uint64_t, EngineFailure> doPlay(const Uuid& id, std::optional<double> trimInSec,
                                                std::optional<double> trimOutSec, bool loop,
                                                double fadeInSec, double fadeOutSec);
    void scheduleFileSegment(StingNode& node);
    /// Streams frames [start, start + count) of the node's file; completion leads to
    /// fileSegmentCompleted.
    void scheduleFilePass(StingNode& node, std::int64_t start, std::uint32_t count,
                          std::uint32_t options);
    void segmentCompleted(const Uuid& id, bool looped, std::uint64_t generation);
    void fileSegmentCompleted(const Uuid& id, std::uint64_t generation);
    std::optional<double> playheadPosition(const StingNode& node) const;
    std::vector<StingPosition> doCurrentPositions();
    void emit(const Event& event);

    void startFadeTimer(const Uuid& id);
    void cancelFadeTimer(StingNode& node);
    void fadeTick(const Uuid& id);
    void immediateStop(StingNode& node);
    void doStop(const Uuid& id, double fadeOutSec);
    void doStopAll(bool useFades);
    void doStopOthers(const Uuid& exceptID, double fallbackFadeSec);
    void fadeOutAndStop(const Uuid& id, double durationSec);
    void fadeOutTick(const Uuid& id, std::uint64_t startTime, float startVolume,
                     double durationSec);

    void doSetVolume(const Uuid& id, double dB);
    void doSetTrim(const Uuid& id, std::optional<double> trimInSec,
                   std::optional<double> trimOutSec);
    void doSetLoop(const Uuid& id, bool enabled, double fadeOutSec);

    void handleConfigurationChange();
    void doRecoverAfterWake();
    void restart(const char* reason);
    void resumeCue(const Uuid& id, double atSec);

    /// Schedules frames [start, start + count) of the node's buffer; completion leads to
    /// segmentCompleted(looped) unless `silent`.
    Result<void, EngineFailure> scheduleBufferSegment(StingNode& node, std::int64_t start,
                                                      std::uint32_t count, std::uint32_t options,
                                                      bool looped, bool silent);
    /// Schedules a buffer sting to sound from `resumeFrame` to the end of its range and, when
    /// looped, to loop the whole range after that; true when the loop starts at once (the
    /// resume point was the range's start).
    bool scheduleRestOfRange(StingNode& node, std::int64_t resumeFrame, std::uint32_t tailCount,
                             std::int64_t startFrame, std::uint32_t loopCount);
    CompletionHandler segmentHandler(const Uuid& id, bool looped, std::uint64_t generation);
    StingNode* find(const Uuid& id);

    Logger log_{"AudioEngine"};
    AudioEngine engine_;
    Executor* executor_;
    Executor* delivery_;
    std::unordered_map<Uuid, std::unique_ptr<StingNode>> stings_;
    std::unordered_map<Uuid, std::function<void(const Event&)>> observers_;
    std::uint64_t memoryLimitBytes_;
    std::uint64_t memoryBudgetBytes_;
    std::uint64_t memoryInUseBytes_ = 0;               // decoded media held in memory
    std::unordered_map<Uuid, std::uint64_t> loading_;  // decoding on a load thread: its ticket
    std::uint64_t lastLoadTicket_ = 0;
    std::unique_ptr<LoadPool> loaders_;  // last: its threads stop first
};

/// Frames [startFrame, startFrame + frameCount) of `source` as a new buffer.
Result<std::shared_ptr<PcmBuffer>, EngineError> makeSegment(const PcmBuffer& source,
                                                            std::int64_t startFrame,
                                                            std::uint32_t frameCount);

}  // namespace brellow::audio
