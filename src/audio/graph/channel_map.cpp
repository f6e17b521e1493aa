#include "audio/graph/channel_map.h"

#include <algorithm>
#include <cmath>

namespace brellow::audio {

ChannelMap ChannelMap::forChannels(std::uint32_t channels) {
    constexpr float kMinus3dB = 0.70710678f;
    constexpr std::uint32_t kLayoutChannels = 8;  // up to 7.1
    channels = std::min(channels, kMaxSourceChannels);
    ChannelMap map;
    if (channels <= 1) {
        map.toLeft[0] = map.toRight[0] = 1;
        return map;
    }
    map.toLeft[0] = 1;
    map.toRight[1] = 1;
    if (channels == 2) return map;
    // Centre to both sides at -3 dB; the LFE channel is left out, as the downmix does; side
    // and back surrounds to their own side at -3 dB.
    map.toLeft[2] = map.toRight[2] = kMinus3dB;
    for (std::uint32_t c = 4; c < channels && c < kLayoutChannels; ++c) {
        (c % 2 == 0 ? map.toLeft : map.toRight)[c] = kMinus3dB;
    }
    // Channels past 7.1 have no agreed place: they go to both sides, scaled so that together
    // they carry the power of one channel at -3 dB and cannot swamp the main layout.
    if (channels > kLayoutChannels) {
        const float extra = kMinus3dB / std::sqrt(static_cast<float>(channels - kLayoutChannels));
        for (std::uint32_t c = kLayoutChannels; c < channels; ++c)
            map.toLeft[c] = map.toRight[c] = extra;
    }
    return map;
}

}  // namespace brellow::audio
