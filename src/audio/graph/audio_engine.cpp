#include "audio/graph/audio_engine.h"

#include <poll.h>

#include <algorithm>

#include "audio/graph/resampler.h"

namespace brellow::audio {

namespace {
// Enough for a burst of starts of stings at one rate (a GO of several cues at once); more
// than that are made on the spot.
constexpr std::size_t kReadyConvertersPerRatePair = 8;
}  // namespace

AudioEngine::AudioEngine(Options options)
    : driver_(std::move(options.driver)),
      clock_(options.clock),
      mainMixer_(&graph_.mainMixer()),
      resamplers_(kReadyConvertersPerRatePair, options.notifierThread) {
    mainMixer_.engine_ = this;
    if (options.notifierThread) notifier_ = std::thread([this] { runNotifier(); });
}

AudioEngine::~AudioEngine() {
    if (running_.load()) driver_->stop();
    running_.store(false);
    stopping_.store(true);
    const std::uint64_t one = 1;
    (void)::write(graph_.wakeDescriptor(), &one, sizeof one);
    if (notifier_.joinable()) notifier_.join();
    // Nothing renders any more: nodes that outlive the engine keep their state to themselves.
    for (PlayerNode* player : players_)
        player->engine_ = nullptr;
    for (MixerNode* mixer : mixers_)
        mixer->engine_ = nullptr;
    graph_.applyCommandsNow();
    pumpNotifications();
}

void AudioEngine::submit(const RenderCommand& command) {
    while (!graph_.submit(command)) {
        // Only when thousands of commands pile up within one render period.
        if (!isRunning()) graph_.applyCommandsNow();
        std::this_thread::yield();
    }
    if (!isRunning()) graph_.applyCommandsNow();
}

std::uint64_t AudioEngine::registerCompletion(CompletionHandler handler,
                                              std::shared_ptr<const void> keepAlive) {
    const std::lock_guard lock(completionsMutex_);
    const std::uint64_t id = nextCompletionID_++;
    completions_.emplace(id, Completion{std::move(handler), std::move(keepAlive)});
    return id;
}

void AudioEngine::attach(PlayerNode& player) {
    if (player.engine_ == this) return;
    player.engine_ = this;
    players_.push_back(&player);
}

void AudioEngine::attach(MixerNode& mixer) {
    if (mixer.engine_ == this) return;
    mixer.engine_ = this;
    mixers_.push_back(&mixer);
}

void AudioEngine::connect(PlayerNode& player, MixerNode& mixer, const AudioFormat& format) {
    if (player.engine_ != this || mixer.engine_ != this) return;
    if (!player.connected_) {
        // The render thread has not seen this player yet, so it can be configured here.
        player.state_->configure(format, outputFormat().sampleRate);
        player.state_->scratch = &graph_.scratch();
        player.converterHeld_ = false;
        resamplers_.registerPair(format.sampleRate, outputFormat().sampleRate);
    }
    player.connected_ = true;
    RenderCommand command;
    command.op = RenderCommand::Op::connectPlayer;
    command.player = player.state_.get();
    command.mixer = mixer.state_;
    submit(command);
}

void AudioEngine::connectToMain(MixerNode& mixer) {
    if (mixer.engine_ != this || mixer.connected_ || !mixer.owned_) return;
    mixer.connected_ = true;
    if (mainInputs_ == mainCapacity_) {
        // A larger list for the render thread, which must not allocate one itself.
        RenderCommand grow;
        grow.op = RenderCommand::Op::growMixers;
        grow.mixerCapacity = mainCapacity_ * 2;
        grow.mixerList = new MixerState*[grow.mixerCapacity]();
        mainCapacity_ = grow.mixerCapacity;
        submit(grow);
    }
    ++mainInputs_;
    RenderCommand command;
    command.op = RenderCommand::Op::addMixer;
    command.mixer = mixer.state_;
    submit(command);
}

void AudioEngine::detach(PlayerNode& player) {
    if (player.engine_ != this) return;
    std::erase(players_, &player);
    player.playing_ = false;
    if (player.connected_) {
        PlayerState* state = player.state_.get();
        {
            const std::lock_guard lock(completionsMutex_);
            retiredPlayers_.emplace(state, std::move(player.state_));
        }
        player.state_ = std::make_unique<PlayerState>();
        RenderCommand command;
        command.op = RenderCommand::Op::removePlayer;
        command.player = state;
        submit(command);
    }
    player.connected_ = false;
    player.engine_ = nullptr;
}

void AudioEngine::detach(MixerNode& mixer) {
    if (mixer.engine_ != this || !mixer.owned_) return;
    std::erase(mixers_, &mixer);
    MixerState* state = mixer.state_;
    if (mixer.connected_) {
        const float gain = state->targetGain.load();
        {
            const std::lock_guard lock(completionsMutex_);
            retiredMixers_.emplace(state, std::move(mixer.owned_));
        }
        mixer.owned_ = std::make_unique<MixerState>();
        mixer.owned_->targetGain.store(gain);
        mixer.state_ = mixer.owned_.get();
        RenderCommand command;
        command.op = RenderCommand::Op::removeMixer;
        command.mixer = state;
        submit(command);
        --mainInputs_;
    }
    mixer.connected_ = false;
    mixer.engine_ = nullptr;
}

Result<void, AudioError> AudioEngine::prepare() {
    if (prepared_.load()) return {};
    auto format = driver_->open(*this);
    if (!format) return fail(format.error());
    const double previousRate = outputFormat_.sampleRate;
    outputFormat_ = *format;
    graph_.setSampleRate(format->sampleRate);
    if (format->sampleRate != previousRate) {
        // Nothing renders before the first start: players convert to the new rate from now on.
        for (PlayerNode* player : players_) {
            if (player->connected_) {
                player->state_->configure(player->state_->format, format->sampleRate);
                player->converterHeld_ = false;
                resamplers_.registerPair(player->state_->format.sampleRate, format->sampleRate);
            }
        }
    }
    prepared_.store(true);
    return {};
}

Result<void, AudioError> AudioEngine::start() {
    if (isRunning()) return {};
    if (playersNeedStop_) stopPlayersAfterOutputStopped();
    if (auto prepared = prepare(); !prepared) return prepared;
    running_.store(true, std::memory_order_release);
    auto started = driver_->start();
    if (!started) {
        running_.store(false, std::memory_order_release);
        prepared_.store(false);
        return started;
    }
    return {};
}

void AudioEngine::stop() {
    if (!isRunning()) return;
    driver_->stop();
    running_.store(false, std::memory_order_release);
    stopPlayersAfterOutputStopped();
}

void AudioEngine::stopPlayersAfterOutputStopped() {
    playersNeedStop_.store(false);
    for (PlayerNode* player : players_) {
        if (player->isPlaying()) player->stopSilently();
    }
}

AudioFormat AudioEngine::outputFormat() const {
    return outputFormat_;
}

void AudioEngine::setConfigurationChangeHandler(std::function<void()> handler) {
    const std::lock_guard lock(handlerMutex_);
    configurationChangeHandler_ = std::move(handler);
}

void AudioEngine::renderOutput(float* left, float* right, std::uint32_t frames,
                               std::uint64_t hostTime) {
    graph_.render(left, right, frames, hostTime);
}

void AudioEngine::outputDisrupted(const std::string& /*reason*/) {
    // The driver has stopped: the next start stops the players and reopens the output.
    playersNeedStop_.store(true);
    prepared_.store(false);
    running_.store(false, std::memory_order_release);
    std::function<void()> handler;
    {
        const std::lock_guard lock(handlerMutex_);
        handler = configurationChangeHandler_;
    }
    if (handler) handler();
}

void AudioEngine::pumpNotifications() {
    const std::lock_guard pump(pumpMutex_);
    graph_.clearWake();
    while (const auto note = graph_.notifications().pop()) {
        switch (note->kind) {
            case Notification::Kind::completion: {
                Completion completion;
                {
                    const std::lock_guard lock(completionsMutex_);
                    const auto it = completions_.find(note->completionID);
                    if (it == completions_.end()) break;
                    completion = std::move(it->second);
                    completions_.erase(it);
                }
                if (completion.handler) completion.handler(note->callbackType);
                break;  // keepAlive is released here, off the render thread
            }
            case Notification::Kind::playerReleased: {
                const std::lock_guard lock(completionsMutex_);
                retiredPlayers_.erase(note->player);
                break;
            }
            case Notification::Kind::resamplerReleased:
                delete note->resampler;
                break;
            case Notification::Kind::mixerListReleased:
                delete[] note->mixerList;
                break;
            case Notification::Kind::mixerReleased: {
                const std::lock_guard lock(completionsMutex_);
                retiredMixers_.erase(note->mixer);
                break;
            }
        }
    }
}

void AudioEngine::runNotifier() {
    pollfd wake{graph_.wakeDescriptor(), POLLIN, 0};
    while (!stopping_.load()) {
        ::poll(&wake, 1, 50);
        pumpNotifications();
    }
}

}  // namespace brellow::audio
