// Bringing cues back after the output changed or the system woke.
#include <algorithm>
#include <vector>

#include "audio/engine/audio_engine_service.h"

namespace brellow::audio {

void AudioEngineService::handleConfigurationChange() {
    log_.notice("Engine configuration change; new output format: %s",
                engine_.outputFormat().description().c_str());
    restart("config change");
    // What actually plays now: the default output, the chosen device, or a stand-in that
    // names what is missing.
    const OutputInUse output = engine_.driver().outputInUse();
    emit(event::DeviceChanged{output.deviceUID, output.deviceName, output.fellBack});
}

void AudioEngineService::setOutputDevice(const std::string& deviceID) {
    submit([deviceID](AudioEngineService& self) { self.engine_.driver().choose(deviceID); });
}

void AudioEngineService::doRecoverAfterWake() {
    const bool allSounding =
        engine_.isRunning() && std::all_of(stings_.begin(), stings_.end(), [](const auto& entry) {
            return !entry.second->playIntent || entry.second->player->isPlaying();
        });
    if (allSounding) return;
    log_.notice("Recovering audio after wake");
    restart("wake");
}

void AudioEngineService::restart(const char* reason) {
    std::vector<std::pair<Uuid, double>> cues;
    for (const auto& [id, node] : stings_) {
        if (node->playIntent) cues.emplace_back(id, node->lastKnownPositionSec);
    }
    if (!engine_.isRunning()) {
        if (auto started = engine_.start(); !started) {
            log_.error("Engine restart after %s failed: %s", reason,
                       started.error().message.c_str());
            return;
        }
        log_.notice("Engine restarted after %s", reason);
    }
    for (const auto& [id, position] : cues) {
        StingNode* node = find(id);
        if (node == nullptr || node->player->isPlaying()) continue;
        log_.notice("Resuming cue %s at %fs after %s", id.toString().c_str(), position, reason);
        resumeCue(id, position);
    }
}

void AudioEngineService::resumeCue(const Uuid& id, double atSec) {
    StingNode* node = find(id);
    if (node == nullptr) return;
    const double rate = node->format.sampleRate;
    if (node->playableDurationSec <= 0 || rate <= 0) return;
    const double trimIn = node->currentTrimInSec;
    const double end = trimIn + node->playableDurationSec;
    const double resumeAt = std::min(std::max(atSec, trimIn), end - 1.0 / rate);
    const auto resumeFrame = static_cast<std::int64_t>(resumeAt * rate);
    const auto startFrame = static_cast<std::int64_t>(trimIn * rate);
    const std::int64_t endFrame =
        std::min(static_cast<std::int64_t>(end * rate), node->totalFrames);
    const std::int64_t tail = std::max<std::int64_t>(endFrame - resumeFrame, 0);
    const std::int64_t loop = std::max<std::int64_t>(endFrame - startFrame, 0);
    if (tail == 0) return;
    const auto tailCount = static_cast<std::uint32_t>(tail);
    const auto loopCount = static_cast<std::uint32_t>(loop);

    if (node->player->isPlaying()) node->player->stop();
    node->player->reset();
    ++node->generation;
    node->cancelLoop = false;
    node->stopFading = false;
    node->fadeInSec = 0;
    cancelFadeTimer(*node);
    node->mixer->setOutputVolume(dbToGain(node->targetVolumeDB));
    node->playheadOffsetSec = resumeAt - trimIn;

    if (node->storage == StingNode::Storage::file) {
        // The rest of the pass from the cue's position, then (looped) the next whole pass.
        scheduleFilePass(*node, resumeFrame, tailCount, kPlayerOptionNone);
        if (node->currentlyLooped) scheduleFileSegment(*node);
    } else if (scheduleRestOfRange(*node, resumeFrame, tailCount, startFrame, loopCount)) {
        node->playheadOffsetSec = 0;  // the loop starts over from the range's start
    }
    node->player->play();
    node->playIntent = true;
    node->lastKnownPositionSec = resumeAt;
}

}  // namespace brellow::audio
