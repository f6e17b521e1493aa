#pragma once
// Streaming sample-rate conversion of stereo audio with soxr at high quality, chosen by
// measurement (docs/audio.md). Input goes in fixed steps so the converter's buffers reach
// their full size while it warms up and never grow later; all memory is taken at
// construction.
#include <cstddef>
#include <cstdint>
#include <memory>

typedef struct soxr* soxr_t;

namespace brellow::audio {

class Resampler {
  public:
    /// Warms the converter up with silence so that later steps never allocate, and so that
    /// the first real frame is converted on an exact output frame. Holds up to
    /// `maxReadyFrames` plus one step of converted frames not yet taken.
    Resampler(double inputRate, double outputRate, std::size_t maxReadyFrames = 4096);
    ~Resampler();
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;

    bool valid() const { return soxr_ != nullptr; }
    /// Output frames per input frame.
    double ratio() const { return outputRate_ / inputRate_; }

    /// Input frames that each step takes.
    std::size_t stepFrames() const { return stepFrames_; }
    /// Most output frames one step writes.
    std::size_t maxStepOutput() const { return maxStepOutput_; }

    /// Converts exactly `stepFrames()` frames of `input` (two channel arrays) and appends the
    /// output frames now available to the ready frames; returns how many. Output frame k of a
    /// run is the input at time k / ratio() since the run's first input frame: the warm-up
    /// history is dropped here. Call only while `ready()` is below `maxReadyFrames`.
    std::size_t step(const float* const* input);
    /// Converted frames waiting to be taken, as two channel arrays.
    std::size_t ready() const { return readyFrames_; }
    const float* readyChannel(int channel) const { return ready_[channel]; }
    /// Drops the first `frames` ready frames.
    void take(std::size_t frames);

  private:
    /// Converts `input` into `output`, returning the frames written.
    std::size_t convert(const float* const* input, float* const* output);
    std::size_t process(const float* const* input, std::size_t frames, float* const* output,
                        std::size_t room);

    double inputRate_;
    double outputRate_;
    soxr_t soxr_ = nullptr;
    std::size_t stepFrames_ = 0;
    std::size_t maxStepOutput_ = 0;
    std::int64_t discardFrames_ = 0;  // warm-up output still to drop
    std::unique_ptr<float[]> readyStorage_;
    float* ready_[2] = {nullptr, nullptr};
    std::size_t readyFrames_ = 0;
};

}  // namespace brellow::audio
