#pragma once
// How a sting's channels reach the stereo output: mono to both sides, stereo as it is, more
// channels folded down in the usual layout order (L R C LFE Ls Rs Lb Rb) with the ITU-R
// BS.775 coefficients. Channels past the 32nd are not played.
#include <array>
#include <cstdint>

namespace brellow::audio {

inline constexpr std::uint32_t kMaxSourceChannels = 32;

struct ChannelMap {
    std::array<float, kMaxSourceChannels> toLeft{};
    std::array<float, kMaxSourceChannels> toRight{};

    static ChannelMap forChannels(std::uint32_t channels);
};

}  // namespace brellow::audio
