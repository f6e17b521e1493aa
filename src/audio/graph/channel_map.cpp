#include "audio/graph/channel_map.h"

namespace brellow::audio {

ChannelMap ChannelMap::forChannels(std::uint32_t channels) {
    constexpr float kMinus3dB = 0.70710678f;
    ChannelMap map;
    if (channels == 1) {
        map.toLeft[0] = map.toRight[0] = 1;
        return map;
    }
    map.toLeft[0] = 1;
    map.toRight[1] = 1;
    if (channels == 2) return map;
    // Centre to both sides at -3 dB; the LFE channel is left out; surrounds and backs go to
    // their side at -3 dB; anything beyond alternates sides at half level.
    map.toLeft[2] = map.toRight[2] = kMinus3dB;
    for (std::uint32_t c = 4; c < channels && c < kMaxSourceChannels; ++c) {
        const float gain = c < 8 ? kMinus3dB : 0.5f;
        (c % 2 == 0 ? map.toLeft : map.toRight)[c] = gain;
    }
    return map;
}

}  // namespace brellow::audio
