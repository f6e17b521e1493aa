#include "audio/graph/mixer_state.h"

#include <algorithm>

namespace brellow::audio {

void MixerState::addInput(PlayerState* player) {
    if (inputCount < kMaxInputs) inputs[inputCount++] = player;
}

void MixerState::removeInput(PlayerState* player) {
    auto* end = inputs.begin() + inputCount;
    auto* found = std::find(inputs.begin(), end, player);
    if (found == end) return;
    std::copy(found + 1, end, found);
    --inputCount;
}

bool MixerState::anyInputSounding() const {
    for (std::size_t i = 0; i < inputCount; ++i) {
        if (inputs[i]->sounding()) return true;
    }
    return false;
}

void MixerState::applyGain(float* left, float* right, std::uint32_t frames) {
    const float target = targetGain.load(std::memory_order_relaxed);
    if (target == appliedGain) {
        if (target == 1.0f) return;
        for (std::uint32_t i = 0; i < frames; ++i) {
            left[i] *= target;
            right[i] *= target;
        }
        return;
    }
    const float step = (target - appliedGain) / static_cast<float>(frames);
    float gain = appliedGain;
    for (std::uint32_t i = 0; i < frames; ++i) {
        gain += step;
        left[i] *= gain;
        right[i] *= gain;
    }
    appliedGain = target;
}

}  // namespace brellow::audio

namespace brellow::audio {

void MixerState::addWithGain(const float* left, const float* right, float* outLeft, float* outRight,
                             std::uint32_t frames) {
    const float target = targetGain.load(std::memory_order_relaxed);
    if (target == appliedGain) {
        for (std::uint32_t i = 0; i < frames; ++i) {
            outLeft[i] += target * left[i];
            outRight[i] += target * right[i];
        }
        return;
    }
    const float step = (target - appliedGain) / static_cast<float>(frames);
    float gain = appliedGain;
    for (std::uint32_t i = 0; i < frames; ++i) {
        gain += step;
        outLeft[i] += gain * left[i];
        outRight[i] += gain * right[i];
    }
    appliedGain = target;
}

}  // namespace brellow::audio
