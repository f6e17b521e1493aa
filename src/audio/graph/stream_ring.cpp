#include "audio/graph/stream_ring.h"

#include <algorithm>
#include <vector>

#include "audio/graph/pcm_buffer.h"

namespace brellow::audio {

StreamRing::StreamRing(std::filesystem::path path, std::uint32_t channels, std::int64_t startFrame,
                       std::int64_t frameCount, std::uint32_t capacityFrames)
    : path_(std::move(path)),
      channels_(channels),
      startFrame_(startFrame),
      frameCount_(frameCount),
      capacity_(std::min<std::int64_t>(capacityFrames, std::max<std::int64_t>(frameCount, 1))),
      samples_(new float[static_cast<std::size_t>(capacity_) * channels]()) {}

std::int64_t StreamRing::readable() const {
    if (failed_.load(std::memory_order_acquire)) {
        return frameCount_ - consumed_.load(std::memory_order_relaxed);
    }
    return written_.load(std::memory_order_acquire) - consumed_.load(std::memory_order_relaxed);
}

std::int64_t StreamRing::read(float* const* channels, std::uint32_t arrays, std::uint32_t offset,
                              std::int64_t frames) {
    const std::int64_t count = std::min(frames, readable());
    const std::uint32_t copied = std::min(arrays, channels_);
    const std::int64_t consumed = consumed_.load(std::memory_order_relaxed);
    const std::int64_t written = written_.load(std::memory_order_acquire);
    for (std::int64_t i = 0; i < count; ++i) {
        const std::int64_t frame = consumed + i;
        if (frame >= written) {  // past a read failure: silence
            for (std::uint32_t c = 0; c < copied; ++c)
                channels[c][offset + i] = 0;
            continue;
        }
        const float* source = samples_.get() + (frame % capacity_) * channels_;
        for (std::uint32_t c = 0; c < copied; ++c)
            channels[c][offset + i] = source[c];
    }
    consumed_.store(consumed + count, std::memory_order_release);
    return count;
}

std::int64_t StreamRing::writable() const {
    const std::int64_t inRing =
        written_.load(std::memory_order_relaxed) - consumed_.load(std::memory_order_acquire);
    return std::min(capacity_ - inRing, framesStillToWrite());
}

void StreamRing::write(const float* interleaved, std::int64_t frames) {
    const std::int64_t written = written_.load(std::memory_order_relaxed);
    for (std::int64_t i = 0; i < frames; ++i) {
        float* target = samples_.get() + ((written + i) % capacity_) * channels_;
        std::copy_n(interleaved + i * channels_, channels_, target);
    }
    written_.store(written + frames, std::memory_order_release);
}

void StreamRing::prefill(const PcmBuffer& head) {
    const float* const* channels = head.floatChannelData();
    if (channels == nullptr || head.format().channelCount != channels_) return;
    const std::int64_t available = static_cast<std::int64_t>(head.frameLength()) - startFrame_;
    const std::int64_t frames = std::min(available, writable());
    if (frames <= 0) return;
    std::vector<float> interleaved(static_cast<std::size_t>(frames) * channels_);
    for (std::int64_t i = 0; i < frames; ++i) {
        for (std::uint32_t c = 0; c < channels_; ++c)
            interleaved[static_cast<std::size_t>(i) * channels_ + c] = channels[c][startFrame_ + i];
    }
    write(interleaved.data(), frames);
}

void StreamRing::failRemaining() {
    failed_.store(true, std::memory_order_release);
}

}  // namespace brellow::audio
