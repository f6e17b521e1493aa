#include "audio/graph/nodes.h"

#include <algorithm>
#include <cmath>

#include "audio/graph/audio_engine.h"
#include "audio/graph/disk_streamer.h"
#include "audio/graph/stream_ring.h"

namespace brellow::audio {

PlayerNode::PlayerNode() : state_(std::make_unique<PlayerState>()) {}

PlayerNode::~PlayerNode() {
    if (engine_ != nullptr) engine_->detach(*this);
}

void PlayerNode::submit(RenderCommand command) {
    if (engine_ == nullptr || !connected_) return;
    command.player = state_.get();
    // A converter lives from the first item scheduled until the player stops or resets, so
    // idle stings hold none; an interrupting item drops what the old one holds and needs a
    // new one. They are made here, never on the render thread.
    if (command.op == RenderCommand::Op::stop || command.op == RenderCommand::Op::reset) {
        converterHeld_ = false;
    } else if (command.op == RenderCommand::Op::schedule && state_->converts() &&
               (!converterHeld_ || (command.item.options & kPlayerOptionInterrupts) != 0)) {
        command.freshResampler =
            engine_->resamplers().take(state_->format.sampleRate, state_->deviceRate).release();
        converterHeld_ = true;
    }
    engine_->submit(command);
}

void PlayerNode::scheduleItem(ScheduledItem item, std::shared_ptr<const void> keepAlive,
                              CompletionHandler handler) {
    if (engine_ == nullptr || !connected_) {
        if (handler) handler(item.callbackType);  // nothing can play it: it is done at once
        return;
    }
    item.completionID = engine_->registerCompletion(std::move(handler), std::move(keepAlive));
    RenderCommand command;
    command.op = RenderCommand::Op::schedule;
    command.item = item;
    submit(command);
}

void PlayerNode::scheduleBuffer(std::shared_ptr<const PcmBuffer> buffer, std::uint32_t options,
                                CompletionCallbackType callbackType, CompletionHandler handler) {
    ScheduledItem item;
    item.buffer = buffer.get();
    item.frameCount = buffer->frameLength();
    item.options = options;
    item.callbackType = callbackType;
    scheduleItem(item, std::move(buffer), std::move(handler));
}

void PlayerNode::scheduleBuffer(std::shared_ptr<const PcmBuffer> buffer, std::int64_t startFrame,
                                std::uint32_t frameCount, std::uint32_t options,
                                CompletionCallbackType callbackType, CompletionHandler handler) {
    ScheduledItem item;
    item.buffer = buffer.get();
    const std::int64_t length = buffer->frameLength();
    item.startFrame = std::clamp<std::int64_t>(startFrame, 0, length);
    item.frameCount = std::min<std::int64_t>(frameCount, length - item.startFrame);
    item.options = options;
    item.callbackType = callbackType;
    scheduleItem(item, std::move(buffer), std::move(handler));
}

void PlayerNode::scheduleSegment(const AudioFile& file, std::int64_t startFrame,
                                 std::uint32_t frameCount, CompletionCallbackType callbackType,
                                 CompletionHandler handler, std::uint32_t options,
                                 const PcmBuffer* head) {
    auto ring = std::make_shared<StreamRing>(file.path(), file.processingFormat().channelCount,
                                             startFrame, frameCount, DiskStreamer::kRingFrames);
    if (head != nullptr) ring->prefill(*head);
    ScheduledItem item;
    item.stream = ring.get();
    item.frameCount = frameCount;
    item.options = options & kPlayerOptionInterrupts;  // a streamed segment cannot loop
    item.callbackType = callbackType;
    if (engine_ != nullptr && connected_) engine_->addStream(ring);
    scheduleItem(item, std::move(ring), std::move(handler));
}

void PlayerNode::play() {
    play(0);
}

void PlayerNode::play(std::uint64_t hostTime) {
    if (playing_) return;
    playing_ = true;
    RenderCommand command;
    command.op = RenderCommand::Op::play;
    command.hostTime = hostTime;
    submit(command);
}

void PlayerNode::stop() {
    playing_ = false;
    RenderCommand command;
    command.op = RenderCommand::Op::stop;
    submit(command);
}

void PlayerNode::stopSilently() {
    playing_ = false;
    RenderCommand command;
    command.op = RenderCommand::Op::stop;
    command.rampStop = false;
    submit(command);
}

void PlayerNode::reset() {
    RenderCommand command;
    command.op = RenderCommand::Op::reset;
    submit(command);
}

std::optional<AudioTime> PlayerNode::lastRenderTime() const {
    if (engine_ == nullptr) return std::nullopt;
    const AudioTime time = engine_->graph().lastRenderTime();
    if (time.hostTime == 0) return std::nullopt;
    return time;
}

std::optional<AudioTime> PlayerNode::playerTime(const AudioTime& nodeTime) const {
    const std::int64_t epoch = state_->epochSampleTime.load(std::memory_order_acquire);
    if (!playing_ || epoch == PlayerState::kNotStarted || nodeTime.sampleRate <= 0) {
        return std::nullopt;
    }
    const double rate = state_->format.sampleRate;
    // Frames at the player's rate; the small allowance keeps exact values from rounding
    // down a whole frame.
    const double frames =
        static_cast<double>(nodeTime.sampleTime - epoch) * rate / nodeTime.sampleRate;
    return AudioTime{static_cast<std::int64_t>(std::floor(frames + 1e-6)), rate, nodeTime.hostTime};
}

MixerNode::MixerNode() : owned_(std::make_unique<MixerState>()), state_(owned_.get()) {}

MixerNode::MixerNode(MixerState* mainState) : state_(mainState) {}

MixerNode::~MixerNode() {
    if (engine_ != nullptr && owned_) engine_->detach(*this);
}

}  // namespace brellow::audio
