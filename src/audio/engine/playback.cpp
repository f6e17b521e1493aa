// Starting stings, their completions, and where their playheads are.
#include <cmath>

#include "audio/engine/audio_engine_service.h"

namespace brellow::audio {

namespace {

// The nearest frame: a time computed from frames (a duration, a trim read back) may land a
// hair below the frame it came from, and truncating it would drop that frame.
std::int64_t toFrames(double seconds, double rate) {
    return std::llround(seconds * rate);
}

std::uint32_t toCount(std::int64_t frames) {
    return frames <= 0 ? 0u
                       : static_cast<std::uint32_t>(std::min<std::int64_t>(frames, UINT32_MAX));
}

}  // namespace

CompletionHandler AudioEngineService::segmentHandler(const Uuid& id, bool looped,
                                                     std::uint64_t generation) {
    std::weak_ptr<AudioEngineService> weak = weak_from_this();
    Executor* executor = executor_;
    return [weak, executor, id, looped, generation](CompletionCallbackType type) {
        if (type != CompletionCallbackType::dataPlayedBack) return;
        executor->post([weak, id, looped, generation] {
            if (auto self = weak.lock()) self->segmentCompleted(id, looped, generation);
        });
    };
}

Result<void, EngineFailure> AudioEngineService::scheduleBufferSegment(StingNode& node,
                                                                      std::int64_t start,
                                                                      std::uint32_t count,
                                                                      std::uint32_t options,
                                                                      bool looped, bool silent) {
    if (!node.buffer)
        return fail(EngineFailure{EngineError{EngineError::Code::bufferAllocFailed, node.id}});
    CompletionHandler handler =
        silent ? CompletionHandler{} : segmentHandler(node.id, looped, node.generation);
    node.player->scheduleBuffer(node.buffer, start, count, options,
                                CompletionCallbackType::dataPlayedBack, std::move(handler));
    return {};
}

bool AudioEngineService::scheduleRestOfRange(StingNode& node, std::int64_t resumeFrame,
                                             std::uint32_t tailCount, std::int64_t startFrame,
                                             std::uint32_t loopCount) {
    if (!node.currentlyLooped) {
        (void)scheduleBufferSegment(node, resumeFrame, tailCount, kPlayerOptionInterrupts, false,
                                    false);
        return false;
    }
    if (loopCount <= tailCount) {
        (void)scheduleBufferSegment(node, startFrame, loopCount,
                                    kPlayerOptionLoops | kPlayerOptionInterrupts, true, false);
        return true;
    }
    (void)scheduleBufferSegment(node, resumeFrame, tailCount, kPlayerOptionInterrupts, false, true);
    (void)scheduleBufferSegment(node, startFrame, loopCount, kPlayerOptionLoops, true, true);
    return false;
}

Result<std::uint64_t, EngineFailure> AudioEngineService::doPlay(const Uuid& id,
                                                                std::optional<double> trimInSec,
                                                                std::optional<double> trimOutSec,
                                                                bool loop, double fadeInSec,
                                                                double fadeOutSec) {
    StingNode* node = find(id);
    if (node == nullptr)
        return fail(EngineFailure{EngineError{EngineError::Code::unknownSting, id}});
    if (!engine_.isRunning()) {
        if (auto running = ensureRunning(); !running) return fail(running.error());
    }
    if (node->player->isPlaying()) node->player->stop();
    node->player->reset();
    ++node->generation;  // what the stop and reset cut short no longer counts

    const double rate = node->format.sampleRate;
    const double startSec = trimInSec.value_or(0);
    // A trim-in before the file or past its end is kept inside it, so no frame outside is read.
    const std::int64_t startFrame =
        std::clamp<std::int64_t>(toFrames(startSec, rate), 0, node->totalFrames);
    const std::int64_t endFrame =
        trimOutSec ? std::min(node->totalFrames, toFrames(*trimOutSec, rate)) : node->totalFrames;
    const std::uint32_t frameCount = toCount(endFrame - startFrame);
    if (frameCount == 0)
        return fail(EngineFailure{EngineError{EngineError::Code::invalidTrim, id}});

    const double endSec = trimOutSec ? *trimOutSec : static_cast<double>(node->totalFrames) / rate;
    log_.notice("Play %s loop=%s trim=[%f..%f] storage=%s", id.toString().c_str(),
                loop ? "true" : "false", startSec, endSec, node->storageName());

    node->fadeInSec = loop ? 0 : std::max(0.0, fadeInSec);
    node->fadeOutSec = loop ? 0 : std::max(0.0, fadeOutSec);
    // Kept as clamped, so a streamed run starts on the same frame as one from memory.
    node->currentTrimInSec = static_cast<double>(startFrame) / rate;
    node->currentlyLooped = loop;
    node->cancelLoop = false;
    node->playheadOffsetSec = 0;
    node->playableDurationSec = frameCount / rate;
    // A new run owns the sting: an earlier fade-out or loop switch no longer applies to it, so
    // a sting fired again while fading out sounds.
    cancelFadeTimer(*node);
    node->stopFading = false;
    node->suppressNextNonLoopCompletion = false;

    if (node->storage == StingNode::Storage::buffer) {
        const std::uint32_t options =
            loop ? (kPlayerOptionLoops | kPlayerOptionInterrupts) : kPlayerOptionInterrupts;
        if (auto scheduled =
                scheduleBufferSegment(*node, startFrame, frameCount, options, loop, false);
            !scheduled) {
            return fail(scheduled.error());
        }
    } else {
        scheduleFileSegment(*node);
        // A looped stream keeps its next pass queued, so the loop joins without a gap.
        if (loop) scheduleFileSegment(*node);
    }

    const std::uint64_t hostTime =
        engine_.clock().now() + HostClock::ticksForMilliseconds(kStartLeadMs);
    node->mixer->setOutputVolume(node->fadeInSec > 0 ? 0.0f : dbToGain(node->targetVolumeDB));
    node->player->play(hostTime);
    node->playIntent = true;
    node->lastKnownPositionSec = node->currentTrimInSec;
    if (node->fadeInSec > 0 || node->fadeOutSec > 0) startFadeTimer(id);
    emit(event::PlaybackStarted{id, hostTime});
    return hostTime;
}

void AudioEngineService::scheduleFileSegment(StingNode& node) {
    const double rate = node.format.sampleRate;
    const std::uint32_t frameCount = toCount(toFrames(node.playableDurationSec, rate));
    if (frameCount == 0) {
        segmentCompleted(node.id, false, node.generation);
        return;
    }
    scheduleFilePass(node, toFrames(node.currentTrimInSec, rate), frameCount, kPlayerOptionNone);
}

void AudioEngineService::scheduleFilePass(StingNode& node, std::int64_t start, std::uint32_t count,
                                          std::uint32_t options) {
    std::weak_ptr<AudioEngineService> weak = weak_from_this();
    Executor* executor = executor_;
    const Uuid id = node.id;
    const std::uint64_t generation = node.generation;
    node.player->scheduleSegment(
        *node.file, start, count, CompletionCallbackType::dataPlayedBack,
        [weak, executor, id, generation](CompletionCallbackType type) {
            if (type != CompletionCallbackType::dataPlayedBack) return;
            executor->post([weak, id, generation] {
                if (auto self = weak.lock()) self->fileSegmentCompleted(id, generation);
            });
        },
        options, node.head.get());
}

void AudioEngineService::fileSegmentCompleted(const Uuid& id, std::uint64_t generation) {
    StingNode* node = find(id);
    if (node == nullptr || node->cancelLoop || node->generation != generation) return;
    if (node->currentlyLooped) {
        scheduleFileSegment(*node);  // the queued pass now plays; queue the one after it
    } else {
        segmentCompleted(id, false, generation);
    }
}

void AudioEngineService::segmentCompleted(const Uuid& id, bool looped, std::uint64_t generation) {
    StingNode* node = find(id);
    if (node == nullptr || looped || node->generation != generation) return;
    if (node->suppressNextNonLoopCompletion) {
        node->suppressNextNonLoopCompletion = false;
        return;
    }
    cancelFadeTimer(*node);
    // The run is over: its player stops, so a finished sting reports no playhead and is not
    // stopped a second time by stop-all or solo.
    node->player->stop();
    ++node->generation;
    node->playIntent = false;
    emit(event::PlaybackStopped{id, StopReason::completed});
}

std::optional<double> AudioEngineService::playheadPosition(const StingNode& node) const {
    const auto renderTime = node.player->lastRenderTime();
    if (!renderTime) return std::nullopt;
    const auto playerTime = node.player->playerTime(*renderTime);
    if (!playerTime || playerTime->sampleRate <= 0) return std::nullopt;
    double p = static_cast<double>(playerTime->sampleTime) / playerTime->sampleRate +
               node.playheadOffsetSec;
    if (node.currentlyLooped && node.playableDurationSec > 0) {
        p = std::fmod(p, node.playableDurationSec);
        if (p < 0) p += node.playableDurationSec;
    }
    return p;
}

std::vector<StingPosition> AudioEngineService::doCurrentPositions() {
    std::vector<StingPosition> positions;
    for (auto& [id, node] : stings_) {
        if (!node->player->isPlaying()) continue;
        const auto p = playheadPosition(*node);
        if (!p) continue;
        node->lastKnownPositionSec = *p + node->currentTrimInSec;
        positions.push_back({id, node->lastKnownPositionSec});
    }
    return positions;
}

}  // namespace brellow::audio
