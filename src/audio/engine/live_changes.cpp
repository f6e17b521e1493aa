// Changes to a sting while it plays: its level, its trim points, its loop flag.
#include <algorithm>
#include <cmath>

#include "audio/engine/audio_engine_service.h"

namespace brellow::audio {

namespace {

// The nearest frame, as when the sting started.
std::int64_t toFrames(double seconds, double rate) {
    return std::llround(seconds * rate);
}

std::uint32_t toCount(std::int64_t frames) {
    return frames <= 0 ? 0u
                       : static_cast<std::uint32_t>(std::min<std::int64_t>(frames, UINT32_MAX));
}

}  // namespace

void AudioEngineService::doSetVolume(const Uuid& id, double dB) {
    StingNode* node = find(id);
    if (node == nullptr) return;
    const float oldGain = dbToGain(node->targetVolumeDB);
    double factor = oldGain > 0 ? node->mixer->outputVolume() / oldGain : 1.0;
    if (!std::isfinite(factor)) factor = 1;
    factor = std::clamp(factor, 0.0, 1.0);
    node->targetVolumeDB = dB;
    node->mixer->setOutputVolume(static_cast<float>(factor) * dbToGain(dB));
    emit(event::VolumeChanged{id, dB});
}

void AudioEngineService::doSetTrim(const Uuid& id, std::optional<double> trimInSec,
                                   std::optional<double> trimOutSec) {
    StingNode* node = find(id);
    if (node == nullptr) return;
    const double rate = node->format.sampleRate;
    const double fileDuration = static_cast<double>(node->totalFrames) / rate;
    const double oldIn = node->currentTrimInSec;
    const double oldDuration = node->playableDurationSec;
    const bool looped = node->currentlyLooped;
    const bool playing = node->player->isPlaying();

    const double newIn = std::max(std::min(trimInSec.value_or(0), fileDuration), 0.0);
    const double newOut =
        std::max(std::min(trimOutSec.value_or(fileDuration), fileDuration), newIn);
    const double newDuration = std::max(newOut - newIn, 0.0);
    node->currentTrimInSec = newIn;
    node->playableDurationSec = newDuration;
    if (!playing || newDuration == 0) return;

    // Where the sound is now, in seconds of the file.
    double playerSeconds = 0;
    double here = oldIn;
    const auto renderTime = node->player->lastRenderTime();
    const auto playerTime = renderTime ? node->player->playerTime(*renderTime) : std::nullopt;
    if (playerTime && playerTime->sampleRate > 0) {
        playerSeconds = static_cast<double>(playerTime->sampleTime) / playerTime->sampleRate;
        double p = playerSeconds + node->playheadOffsetSec;
        if (looped && oldDuration > 0) {
            p = std::fmod(p, oldDuration);
            if (p < 0) p += oldDuration;
        }
        here = oldIn + p;
    }
    const double resumeAt = (here >= newIn && here < newOut) ? here : newIn;
    if (node->storage == StingNode::Storage::file) return;  // takes effect at the next segment

    const std::int64_t resumeFrame = toFrames(resumeAt, rate);
    const std::int64_t startFrame = toFrames(newIn, rate);
    const std::int64_t endFrame = toFrames(newOut, rate);
    const std::uint32_t tailCount = toCount(endFrame - resumeFrame);
    const std::uint32_t loopCount = toCount(endFrame - startFrame);
    if (tailCount == 0) return;
    node->playheadOffsetSec = (resumeAt - newIn) - playerSeconds;
    ++node->generation;  // the interrupted segment's completion no longer counts
    (void)scheduleRestOfRange(*node, resumeFrame, tailCount, startFrame, loopCount);
}

void AudioEngineService::doSetLoop(const Uuid& id, bool enabled, double fadeOutSec) {
    StingNode* node = find(id);
    if (node == nullptr || !node->player->isPlaying() || node->currentlyLooped == enabled) return;
    const double rate = node->format.sampleRate;
    const std::int64_t startFrame = toFrames(node->currentTrimInSec, rate);
    const std::uint32_t frames = toCount(toFrames(node->playableDurationSec, rate));
    node->currentlyLooped = enabled;
    node->fadeInSec = 0;
    if (!enabled) {
        node->fadeOutSec = std::max(0.0, fadeOutSec);
        if (node->fadeOutSec > 0 && !node->fadeTimer) startFadeTimer(id);
    } else {
        node->fadeOutSec = 0;
        cancelFadeTimer(*node);
        node->mixer->setOutputVolume(dbToGain(node->targetVolumeDB));
    }
    if (frames == 0) return;
    if (node->storage == StingNode::Storage::file && enabled) {
        scheduleFileSegment(*node);  // queued behind the running pass
        return;
    }
    if (enabled) {
        // The running pass plays to its end; its completion is swallowed and the loop follows.
        node->suppressNextNonLoopCompletion = true;
        (void)scheduleBufferSegment(*node, startFrame, frames, kPlayerOptionLoops, true, true);
        return;
    }
    const auto renderTime = node->player->lastRenderTime();
    const auto playerTime = renderTime ? node->player->playerTime(*renderTime) : std::nullopt;
    if (!playerTime || playerTime->sampleRate <= 0) return;
    // Where the playhead is in the range, counting what earlier live trims moved.
    const double playerSeconds =
        static_cast<double>(playerTime->sampleTime) / playerTime->sampleRate;
    const std::int64_t n = frames;
    const std::int64_t played = toFrames(playerSeconds + node->playheadOffsetSec, rate);
    const std::int64_t pos = ((played % n) + n) % n;
    const std::uint32_t remaining = toCount(n - pos);
    if (remaining == 0) return;
    node->playheadOffsetSec = static_cast<double>(pos) / rate - playerSeconds;
    // The pass scheduled below replaces the queued loop, so its completion ends the run.
    node->suppressNextNonLoopCompletion = false;
    ++node->generation;
    if (node->storage == StingNode::Storage::file) {
        // Drops the queued pass: the rest of this one plays, then the run completes.
        scheduleFilePass(*node, startFrame + pos, remaining, kPlayerOptionInterrupts);
    } else {
        (void)scheduleBufferSegment(*node, startFrame + pos, remaining, kPlayerOptionInterrupts,
                                    false, false);
    }
}

}  // namespace brellow::audio
