#pragma once
// The frames of one file segment on their way from the disk streamer to the render thread:
// a single-producer single-consumer ring of interleaved float frames.
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>

namespace brellow::audio {

class PcmBuffer;

class StreamRing {
  public:
    StreamRing(std::filesystem::path path, std::uint32_t channels, std::int64_t startFrame,
               std::int64_t frameCount, std::uint32_t capacityFrames);

    // Render side.
    /// Frames ready to read.
    std::int64_t readable() const;
    /// Copies up to `frames` frames into the first `arrays` per-channel arrays at `offset`
    /// (channels beyond them are skipped); returns the count.
    std::int64_t read(float* const* channels, std::uint32_t arrays, std::uint32_t offset,
                      std::int64_t frames);
    /// Every frame of the segment has been read.
    bool exhausted() const { return consumed_.load(std::memory_order_acquire) >= frameCount_; }
    /// The segment was cut short; the streamer stops filling it.
    void cancel() { cancelled_.store(true, std::memory_order_release); }

    // Streamer side.
    std::int64_t writable() const;
    std::int64_t framesStillToWrite() const {
        return frameCount_ - written_.load(std::memory_order_relaxed);
    }
    /// Appends interleaved frames; the caller never writes more than `writable()`.
    void write(const float* interleaved, std::int64_t frames);
    /// Before the ring is read: writes what `head` (the file's first frames) holds of the
    /// segment, as far as the ring has room.
    void prefill(const PcmBuffer& head);
    bool cancelled() const { return cancelled_.load(std::memory_order_acquire); }
    /// A read error: the rest of the segment is delivered as silence.
    void failRemaining();

    const std::filesystem::path& path() const { return path_; }
    std::uint32_t channels() const { return channels_; }
    std::int64_t startFrame() const { return startFrame_; }
    std::int64_t frameCount() const { return frameCount_; }
    /// Where the streamer continues reading in the file.
    std::int64_t nextFileFrame() const {
        return startFrame_ + written_.load(std::memory_order_relaxed);
    }
    std::uint32_t underruns() const { return underruns_.load(std::memory_order_relaxed); }
    void countUnderrun() { underruns_.fetch_add(1, std::memory_order_relaxed); }

  private:
    std::filesystem::path path_;
    std::uint32_t channels_;
    std::int64_t startFrame_;
    std::int64_t frameCount_;
    std::int64_t capacity_;
    std::unique_ptr<float[]> samples_;
    std::atomic<std::int64_t> written_{0};
    std::atomic<std::int64_t> consumed_{0};
    std::atomic<bool> cancelled_{false};
    std::atomic<bool> failed_{false};
    std::atomic<std::uint32_t> underruns_{0};
};

}  // namespace brellow::audio
