#include "audio/graph/render_graph.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "audio/graph/rt_guard.h"

namespace brellow::audio {

RenderGraph::RenderGraph()
    : commands_(8192),
      notifications_(16384),
      mixers_(new MixerState*[kInitialMixerCapacity]()),
      mixLeft_(kMaxBlockFrames),
      mixRight_(kMaxBlockFrames),
      wakeFd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

RenderGraph::~RenderGraph() {
    delete[] mixers_;
    if (wakeFd_ >= 0) ::close(wakeFd_);
}

void RenderGraph::clearWake() {
    std::uint64_t value = 0;
    (void)::read(wakeFd_, &value, sizeof value);
}

void RenderGraph::apply(const RenderCommand& command) {
    PlayerState* player = command.player;
    switch (command.op) {
        case RenderCommand::Op::addMixer:
            if (mixerCount_ < mixerCapacity_) mixers_[mixerCount_++] = command.mixer;
            break;
        case RenderCommand::Op::growMixers: {
            std::copy_n(mixers_, mixerCount_, command.mixerList);
            Notification released;
            released.kind = Notification::Kind::mixerListReleased;
            released.mixerList = mixers_;
            mixers_ = command.mixerList;
            mixerCapacity_ = command.mixerCapacity;
            notifications_.push(released);
            break;
        }
        case RenderCommand::Op::removeMixer: {
            auto* end = mixers_ + mixerCount_;
            auto* found = std::find(mixers_, end, command.mixer);
            if (found != end) {
                std::copy(found + 1, end, found);
                --mixerCount_;
            }
            for (std::size_t i = 0; i < command.mixer->inputCount; ++i) {
                command.mixer->inputs[i]->mixer = nullptr;
            }
            command.mixer->inputCount = 0;
            Notification released;
            released.kind = Notification::Kind::mixerReleased;
            released.mixer = command.mixer;
            notifications_.push(released);
            break;
        }
        case RenderCommand::Op::connectPlayer:
            if (player->mixer != nullptr) player->mixer->removeInput(player);
            player->mixer = command.mixer;
            command.mixer->addInput(player);
            break;
        case RenderCommand::Op::removePlayer: {
            if (player->mixer != nullptr) player->mixer->removeInput(player);
            player->mixer = nullptr;
            player->stop(nullptr, notifications_, /*ramp=*/false);
            Notification released;
            released.kind = Notification::Kind::playerReleased;
            released.player = player;
            notifications_.push(released);
            break;
        }
        case RenderCommand::Op::schedule:
            player->schedule(command.item, command.freshResampler, notifications_);
            break;
        case RenderCommand::Op::play:
            player->play(command.hostTime);
            break;
        case RenderCommand::Op::stop:
            player->stop(command.freshResampler, notifications_, command.rampStop);
            break;
        case RenderCommand::Op::reset:
            player->reset(command.freshResampler, notifications_);
            break;
    }
}

void RenderGraph::applyCommands() {
    while (const auto command = commands_.pop())
        apply(*command);
}

void RenderGraph::renderBlock(float* left, float* right, std::uint32_t frames,
                              std::uint64_t hostTime) {
    std::fill_n(left, frames, 0.0f);
    std::fill_n(right, frames, 0.0f);
    const CycleTime cycle{sampleTime_, hostTime, sampleRate_};
    float* mixLeft = mixLeft_.data();
    float* mixRight = mixRight_.data();
    for (std::size_t m = 0; m < mixerCount_; ++m) {
        MixerState& mixer = *mixers_[m];
        // Only stings that sound are mixed, so a large show costs nothing while it is quiet.
        if (!mixer.anyInputSounding()) {
            mixer.skipSilentBlock();
            continue;
        }
        mixer.beginSoundingBlock();
        std::fill_n(mixLeft, frames, 0.0f);
        std::fill_n(mixRight, frames, 0.0f);
        for (std::size_t i = 0; i < mixer.inputCount; ++i) {
            mixer.inputs[i]->render(mixLeft, mixRight, frames, cycle, notifications_);
        }
        mixer.addWithGain(mixLeft, mixRight, left, right, frames);
    }
    main_.applyGain(left, right, frames);
    sampleTime_ += frames;
}

void RenderGraph::render(float* left, float* right, std::uint32_t frames, std::uint64_t hostTime) {
    const RenderThreadScope scope;
    applyCommands();
    std::uint32_t done = 0;
    while (done < frames) {
        const std::uint32_t block = std::min(frames - done, kMaxBlockFrames);
        const auto blockHost =
            hostTime + static_cast<std::uint64_t>(std::llround(done * 1e9 / sampleRate_));
        renderBlock(left + done, right + done, block, blockHost);
        done += block;
    }
    publishTime(sampleTime_,
                hostTime + static_cast<std::uint64_t>(std::llround(frames * 1e9 / sampleRate_)));
    if (!notifications_.empty()) {
        const std::uint64_t one = 1;
        (void)::write(wakeFd_, &one, sizeof one);
    }
}

// A sequence lock from ordered atomics alone: the writer makes the count odd with an
// acquire-release step (nothing after it moves before it), writes, then makes it even with a
// release store; a reader retries unless it saw the same even count before and after.
void RenderGraph::publishTime(std::int64_t sampleTime, std::uint64_t hostTime) {
    timeSequence_.fetch_add(1, std::memory_order_acq_rel);
    publishedSampleTime_.store(sampleTime, std::memory_order_relaxed);
    publishedHostTime_.store(hostTime, std::memory_order_relaxed);
    timeSequence_.fetch_add(1, std::memory_order_release);
}

AudioTime RenderGraph::lastRenderTime() const {
    for (;;) {
        const std::uint32_t before = timeSequence_.load(std::memory_order_acquire);
        const std::int64_t sampleTime = publishedSampleTime_.load(std::memory_order_acquire);
        const std::uint64_t hostTime = publishedHostTime_.load(std::memory_order_acquire);
        if (before % 2 == 0 && timeSequence_.load(std::memory_order_relaxed) == before) {
            return AudioTime{sampleTime, sampleRate_, hostTime};
        }
    }
}

}  // namespace brellow::audio
