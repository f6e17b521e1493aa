#pragma once
// A block of audio in memory: one array per channel, of 32-bit float or 16-bit integer
// samples, with a capacity and a current length in frames.
#include <cstdint>
#include <memory>
#include <vector>

#include "audio/graph/audio_format.h"

namespace brellow::audio {

class PcmBuffer {
  public:
    /// Nothing when the memory cannot be had (or the request is absurd).
    static std::shared_ptr<PcmBuffer> create(const AudioFormat& format,
                                             std::uint32_t frameCapacity);

    const AudioFormat& format() const { return format_; }
    std::uint32_t frameCapacity() const { return capacity_; }
    std::uint32_t frameLength() const { return length_; }
    void setFrameLength(std::uint32_t frames) { length_ = frames < capacity_ ? frames : capacity_; }

    /// One pointer per channel, or null when the samples are not of that type.
    float* const* floatChannelData() { return floats_.empty() ? nullptr : floats_.data(); }
    const float* const* floatChannelData() const {
        return floats_.empty() ? nullptr : floats_.data();
    }
    std::int16_t* const* int16ChannelData() { return ints_.empty() ? nullptr : ints_.data(); }
    const std::int16_t* const* int16ChannelData() const {
        return ints_.empty() ? nullptr : ints_.data();
    }

    PcmBuffer(const AudioFormat& format, std::uint32_t capacity);

  private:
    AudioFormat format_;
    std::uint32_t capacity_;
    std::uint32_t length_ = 0;
    std::unique_ptr<std::uint8_t[]> storage_;
    std::vector<float*> floats_;
    std::vector<std::int16_t*> ints_;
};

}  // namespace brellow::audio
