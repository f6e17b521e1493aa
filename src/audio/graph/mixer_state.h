#pragma once
// The render-thread side of a mixer: its inputs and its output gain, applied with a ramp
// across each block so level changes never click.
#include <array>
#include <atomic>
#include <cstdint>

#include "audio/graph/player_state.h"

namespace brellow::audio {

struct MixerState {
    static constexpr std::size_t kMaxInputs = 8;

    std::atomic<float> targetGain{1.0f};  // written by control threads
    float appliedGain = 1.0f;             // render thread
    std::array<PlayerState*, kMaxInputs> inputs{};
    std::size_t inputCount = 0;

    void addInput(PlayerState* player);
    void removeInput(PlayerState* player);
    bool anyInputSounding() const;
    /// A block with nothing to mix. The gain of the next block that sounds starts at its
    /// target, since a ramp over silence is silence: a sting starts at the level set for it.
    void skipSilentBlock() { silentBefore = true; }
    /// Before mixing a block that sounds.
    void beginSoundingBlock() {
        if (silentBefore) appliedGain = targetGain.load(std::memory_order_relaxed);
        silentBefore = false;
    }
    bool silentBefore = true;

    /// Multiplies `frames` frames of `left` and `right` by the gain, ramping from the gain of
    /// the last block to the current target.
    void applyGain(float* left, float* right, std::uint32_t frames);
    /// The same gain, applied while adding `left` and `right` into `outLeft` and `outRight`.
    void addWithGain(const float* left, const float* right, float* outLeft, float* outRight,
                     std::uint32_t frames);
};

}  // namespace brellow::audio
