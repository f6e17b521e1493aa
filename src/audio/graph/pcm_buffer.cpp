#include "audio/graph/pcm_buffer.h"

#include <new>

namespace brellow::audio {

PcmBuffer::PcmBuffer(const AudioFormat& format, std::uint32_t capacity)
    : format_(format), capacity_(capacity) {
    const std::size_t channelBytes = std::size_t{capacity} * format.bytesPerFrame();
    storage_.reset(new std::uint8_t[channelBytes * format.channelCount]());
    for (std::uint32_t c = 0; c < format.channelCount; ++c) {
        std::uint8_t* start = storage_.get() + channelBytes * c;
        if (format.sampleType == SampleType::float32) {
            floats_.push_back(reinterpret_cast<float*>(start));
        } else {
            ints_.push_back(reinterpret_cast<std::int16_t*>(start));
        }
    }
}

std::shared_ptr<PcmBuffer> PcmBuffer::create(const AudioFormat& format,
                                             std::uint32_t frameCapacity) {
    constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 34;  // 16 GiB: a damaged header
    if (std::uint64_t{frameCapacity} * format.bytesPerFrame() * format.channelCount > kMaxBytes) {
        return nullptr;
    }
    try {
        return std::make_shared<PcmBuffer>(format, frameCapacity);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace brellow::audio
