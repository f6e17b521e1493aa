// The envelope of a playing sting (fade-in, automatic fade-out) and every way to stop one.
#include <algorithm>
#include <cmath>

#include "audio/engine/audio_engine_service.h"

namespace brellow::audio {

void AudioEngineService::cancelFadeTimer(StingNode& node) {
    if (node.fadeTimer) executor_->cancelTimer(*node.fadeTimer);
    node.fadeTimer.reset();
}

void AudioEngineService::startFadeTimer(const Uuid& id) {
    StingNode* node = find(id);
    if (node == nullptr) return;
    cancelFadeTimer(*node);
    std::weak_ptr<AudioEngineService> weak = weak_from_this();
    node->fadeTimer = executor_->startTimer(kFadeStep, [weak, id] {
        if (auto self = weak.lock()) self->fadeTick(id);
    });
}

void AudioEngineService::fadeTick(const Uuid& id) {
    StingNode* node = find(id);
    if (node == nullptr || !node->player->isPlaying()) {
        if (node != nullptr) cancelFadeTimer(*node);
        return;
    }
    if (node->stopFading) return;
    const auto position = playheadPosition(*node);
    if (!position) return;
    const double p = *position;
    double gain = 1;
    if (node->fadeInSec > 0 && p < node->fadeInSec) gain = p / node->fadeInSec;
    if (node->fadeOutSec > 0 && p > node->playableDurationSec - node->fadeOutSec) {
        const double remaining = std::max(0.0, node->playableDurationSec - p);
        gain = std::min(gain, remaining / node->fadeOutSec);
    }
    gain = std::clamp(gain, 0.0, 1.0);
    node->mixer->setOutputVolume(static_cast<float>(gain) * dbToGain(node->targetVolumeDB));
}

void AudioEngineService::immediateStop(StingNode& node) {
    cancelFadeTimer(node);
    if (node.player->isPlaying()) node.player->stop();
    ++node.generation;
    node.mixer->setOutputVolume(dbToGain(node.targetVolumeDB));
    node.playIntent = false;
    emit(event::PlaybackStopped{node.id, StopReason::user});
}

void AudioEngineService::doStop(const Uuid& id, double fadeOutSec) {
    StingNode* node = find(id);
    if (node == nullptr) return;
    node->cancelLoop = true;
    if (fadeOutSec <= 0 || !node->player->isPlaying()) {
        immediateStop(*node);
    } else {
        fadeOutAndStop(id, fadeOutSec);
    }
}

void AudioEngineService::doStopAll(bool useFades) {
    for (auto& [id, node] : stings_) {
        node->cancelLoop = true;
        if (!node->player->isPlaying()) continue;
        if (useFades && node->fadeOutSec > 0) {
            fadeOutAndStop(id, node->fadeOutSec);
        } else {
            immediateStop(*node);
        }
    }
}

void AudioEngineService::doStopOthers(const Uuid& exceptID, double fallbackFadeSec) {
    for (auto& [id, node] : stings_) {
        if (id == exceptID || !node->player->isPlaying()) continue;
        const double fade = node->fadeOutSec > 0 ? node->fadeOutSec : fallbackFadeSec;
        if (fade > 0) {
            fadeOutAndStop(id, fade);
        } else {
            node->cancelLoop = true;
            immediateStop(*node);
        }
    }
}

void AudioEngineService::fadeOutAndStop(const Uuid& id, double durationSec) {
    StingNode* node = find(id);
    if (node == nullptr) return;
    cancelFadeTimer(*node);
    node->stopFading = true;
    emit(event::PlaybackFadeOutStarted{id, durationSec});
    const float startVolume = node->mixer->outputVolume();
    const std::uint64_t startTime = executor_->now();
    std::weak_ptr<AudioEngineService> weak = weak_from_this();
    node->fadeTimer =
        executor_->startTimer(kFadeStep, [weak, id, startTime, startVolume, durationSec] {
            if (auto self = weak.lock()) self->fadeOutTick(id, startTime, startVolume, durationSec);
        });
}

void AudioEngineService::fadeOutTick(const Uuid& id, std::uint64_t startTime, float startVolume,
                                     double durationSec) {
    StingNode* node = find(id);
    if (node == nullptr || !node->player->isPlaying()) {
        if (node != nullptr) {
            cancelFadeTimer(*node);
            node->stopFading = false;
        }
        return;
    }
    const double elapsed = static_cast<double>(executor_->now() - startTime) / 1e9;
    const double duration = std::max(durationSec, 0.01);
    const double progress = std::min(elapsed / duration, 1.0);
    node->mixer->setOutputVolume(startVolume * static_cast<float>(1.0 - progress));
    if (progress < 1) return;
    cancelFadeTimer(*node);
    node->stopFading = false;
    node->cancelLoop = true;
    node->player->stop();
    ++node->generation;
    node->mixer->setOutputVolume(dbToGain(node->targetVolumeDB));
    node->playIntent = false;
    emit(event::PlaybackStopped{id, StopReason::user});
}

}  // namespace brellow::audio
