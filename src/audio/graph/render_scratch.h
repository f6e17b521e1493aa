#pragma once
// Working arrays the render thread lends to one player at a time: channel arrays for reading
// 16-bit or streamed frames and the input of one converter step. One set per graph instead of
// one per player keeps a large show's memory down.
#include <array>
#include <cstddef>
#include <vector>

#include "audio/graph/channel_map.h"

namespace brellow::audio {

struct RenderScratch {
    /// Frames of each array: a block, or a converter step, whichever is larger.
    static constexpr std::size_t kFrames = 8192;

    RenderScratch() : samples((kMaxSourceChannels + 2) * kFrames, 0.0f) {
        for (std::size_t c = 0; c < kMaxSourceChannels; ++c)
            channels[c] = samples.data() + c * kFrames;
        step[0] = samples.data() + kMaxSourceChannels * kFrames;
        step[1] = step[0] + kFrames;
    }

    std::vector<float> samples;
    std::array<float*, kMaxSourceChannels> channels{};
    std::array<float*, 2> step{};
};

}  // namespace brellow::audio
