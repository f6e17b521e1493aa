#include "audio/engine/audio_engine_service.h"

#include <unistd.h>

#include <cmath>
#include <cstring>

namespace brellow::audio {

namespace {

// A quarter of the machine's memory: room for the rest of the system and other programs
// while a large show still keeps most of its stings in memory.
std::uint64_t defaultMemoryBudget() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return std::uint64_t{1} << 30;
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize) / 4;
}

}  // namespace

float dbToGain(double dB) {
    if (dB <= -120) return 0.0f;
    return static_cast<float>(std::pow(10.0, dB / 20.0));
}

AudioEngineService::AudioEngineService(Options options)
    : engine_({std::move(options.driver), options.clock, options.notifierThread}),
      executor_(options.executor),
      delivery_(options.delivery != nullptr ? options.delivery : options.executor),
      memoryLimitBytes_(options.memoryLimitBytes),
      memoryBudgetBytes_(options.memoryBudgetBytes > 0 ? options.memoryBudgetBytes
                                                       : defaultMemoryBudget()),
      loaders_(options.loadThreads > 0 ? std::make_unique<LoadPool>(options.loadThreads)
                                       : nullptr) {
    log_.info("AudioEngineService init");
}

std::shared_ptr<AudioEngineService> AudioEngineService::create(Options options) {
    std::shared_ptr<AudioEngineService> service(new AudioEngineService(std::move(options)));
    service->subscribeToConfigurationChanges();
    return service;
}

AudioEngineService::~AudioEngineService() {
    for (auto& [id, node] : stings_)
        teardown(*node);
    stings_.clear();
}

void AudioEngineService::subscribeToConfigurationChanges() {
    std::weak_ptr<AudioEngineService> weak = weak_from_this();
    Executor* executor = executor_;
    engine_.setConfigurationChangeHandler([weak, executor] {
        executor->post([weak] {
            if (auto self = weak.lock()) self->handleConfigurationChange();
        });
    });
}

void AudioEngineService::submit(std::function<void(AudioEngineService&)> operation) {
    std::weak_ptr<AudioEngineService> weak = weak_from_this();
    executor_->post([weak, operation = std::move(operation)] {
        if (auto self = weak.lock()) operation(*self);
    });
}

StingNode* AudioEngineService::find(const Uuid& id) {
    const auto it = stings_.find(id);
    return it == stings_.end() ? nullptr : it->second.get();
}

const StingNode* AudioEngineService::nodeForTesting(const Uuid& id) const {
    const auto it = stings_.find(id);
    return it == stings_.end() ? nullptr : it->second.get();
}

// Public entry points: each posts its operation.

void AudioEngineService::loadSting(const Uuid& id, const std::filesystem::path& url,
                                   double volumeDB, Done done, bool urgent) {
    submit([=, done = std::move(done)](AudioEngineService& self) mutable {
        if (self.loaders_) {
            self.doLoadStingInBackground(id, url, volumeDB, urgent, std::move(done));
            return;
        }
        auto loaded = self.doLoadSting(id, url, volumeDB);
        if (done) done(loaded ? std::nullopt : std::optional(loaded.error()));
    });
}

void AudioEngineService::stingsNotYetPlayable(std::function<void(std::vector<Uuid>)> done) {
    submit(
        [done = std::move(done)](AudioEngineService& self) { self.doStingsNotYetPlayable(done); });
}

void AudioEngineService::unload(const Uuid& id) {
    submit([id](AudioEngineService& self) { self.doUnload(id); });
}

void AudioEngineService::play(const Uuid& id, std::optional<double> trimInSec,
                              std::optional<double> trimOutSec, bool loop, double fadeInSec,
                              double fadeOutSec,
                              std::function<void(Result<std::uint64_t, EngineFailure>)> done) {
    submit([=, done = std::move(done)](AudioEngineService& self) {
        auto started = self.doPlay(id, trimInSec, trimOutSec, loop, fadeInSec, fadeOutSec);
        if (done) done(std::move(started));
    });
}

void AudioEngineService::stop(const Uuid& id, double fadeOutSec) {
    submit([=](AudioEngineService& self) { self.doStop(id, fadeOutSec); });
}

void AudioEngineService::stopAll(bool useFades) {
    submit([=](AudioEngineService& self) { self.doStopAll(useFades); });
}

void AudioEngineService::stopOthers(const Uuid& exceptID, double fallbackFadeSec) {
    submit([=](AudioEngineService& self) { self.doStopOthers(exceptID, fallbackFadeSec); });
}

void AudioEngineService::setVolume(const Uuid& id, double dB) {
    submit([=](AudioEngineService& self) { self.doSetVolume(id, dB); });
}

void AudioEngineService::setMasterVolume(double dB) {
    submit(
        [=](AudioEngineService& self) { self.engine_.mainMixer().setOutputVolume(dbToGain(dB)); });
}

void AudioEngineService::setTrim(const Uuid& id, std::optional<double> trimInSec,
                                 std::optional<double> trimOutSec) {
    submit([=](AudioEngineService& self) { self.doSetTrim(id, trimInSec, trimOutSec); });
}

void AudioEngineService::setLoop(const Uuid& id, bool enabled, double fadeOutSec) {
    submit([=](AudioEngineService& self) { self.doSetLoop(id, enabled, fadeOutSec); });
}

void AudioEngineService::currentPositions(std::function<void(std::vector<StingPosition>)> done) {
    submit([done = std::move(done)](AudioEngineService& self) { done(self.doCurrentPositions()); });
}

void AudioEngineService::addObserver(std::function<void(const Event&)> handler,
                                     std::function<void(const Uuid&)> done) {
    submit([handler = std::move(handler), done = std::move(done)](AudioEngineService& self) {
        const Uuid token = Uuid::generate();
        self.observers_.emplace(token, handler);
        if (done) done(token);
    });
}

void AudioEngineService::recoverAfterWake() {
    submit([](AudioEngineService& self) { self.doRecoverAfterWake(); });
}

// Graph and loading.

Result<void, EngineFailure> AudioEngineService::ensureRunning() {
    if (engine_.isRunning()) return {};
    if (auto started = engine_.start(); !started) return fail(EngineFailure{started.error()});
    log_.info("Engine started; output format: %s", engine_.outputFormat().description().c_str());
    return {};
}

void AudioEngineService::teardown(StingNode& node) {
    memoryInUseBytes_ -= std::min(memoryInUseBytes_, node.memoryBytes);
    node.memoryBytes = 0;
    node.cancelLoop = true;
    cancelFadeTimer(node);
    if (node.player->isPlaying()) node.player->stop();
    engine_.detach(*node.player);
    engine_.detach(*node.mixer);
}

Result<void, EngineFailure> AudioEngineService::doLoadSting(const Uuid& id,
                                                            const std::filesystem::path& url,
                                                            double volumeDB) {
    return attachSting(id, url, volumeDB, decodeSting(url, memoryLimitBytes_));
}

Result<void, EngineFailure> AudioEngineService::attachSting(const Uuid& id,
                                                            const std::filesystem::path& url,
                                                            double volumeDB, DecodedSting decoded) {
    // A failed reload leaves no node behind: the old one is torn down and removed first.
    if (const auto old = stings_.find(id); old != stings_.end()) {
        teardown(*old->second);
        stings_.erase(old);
    }
    if (decoded.failure) return fail(std::move(*decoded.failure));
    const AudioFormat format = decoded.format;
    const std::int64_t length = decoded.length;

    auto node = std::make_unique<StingNode>();
    node->id = id;
    node->url = url;
    node->format = format;
    node->totalFrames = length;
    node->targetVolumeDB = volumeDB;
    placeInMemoryOrStream(*node, std::move(decoded));

    node->player = std::make_unique<PlayerNode>();
    node->mixer = std::make_unique<MixerNode>();
    engine_.attach(*node->player);
    engine_.attach(*node->mixer);
    engine_.connect(*node->player, *node->mixer, format);
    engine_.connectToMain(*node->mixer);
    node->mixer->setOutputVolume(dbToGain(volumeDB));

    log_.info("Loaded sting %s frames=%lld storage=%s", id.toString().c_str(),
              static_cast<long long>(length), node->storageName());
    stings_[id] = std::move(node);
    return {};
}

void AudioEngineService::doUnload(const Uuid& id) {
    loading_.erase(id);  // a decode still running is dropped when it finishes
    const auto it = stings_.find(id);
    if (it == stings_.end()) return;
    teardown(*it->second);
    stings_.erase(it);
}

void AudioEngineService::emit(const Event& event) {
    for (const auto& entry : observers_) {
        delivery_->post([handler = entry.second, event] { handler(event); });
    }
}

Result<std::shared_ptr<PcmBuffer>, EngineError> makeSegment(const PcmBuffer& source,
                                                            std::int64_t startFrame,
                                                            std::uint32_t frameCount) {
    auto segment = PcmBuffer::create(source.format(), frameCount);
    if (!segment) return fail(EngineError{EngineError::Code::bufferAllocFailed, {}});
    segment->setFrameLength(frameCount);
    const std::uint32_t channels = source.format().channelCount;
    if (channels == 0) return segment;
    const std::int64_t available = std::max<std::int64_t>(0, source.frameLength() - startFrame);
    const auto count = static_cast<std::size_t>(std::min<std::int64_t>(frameCount, available));
    if (source.floatChannelData() != nullptr && segment->floatChannelData() != nullptr) {
        for (std::uint32_t c = 0; c < channels; ++c) {
            std::memcpy(segment->floatChannelData()[c], source.floatChannelData()[c] + startFrame,
                        count * sizeof(float));
        }
        return segment;
    }
    if (source.int16ChannelData() != nullptr && segment->int16ChannelData() != nullptr) {
        for (std::uint32_t c = 0; c < channels; ++c) {
            std::memcpy(segment->int16ChannelData()[c], source.int16ChannelData()[c] + startFrame,
                        count * sizeof(std::int16_t));
        }
        return segment;
    }
    return fail(EngineError{EngineError::Code::unsupportedSampleFormat, {}});
}

}  // namespace brellow::audio
