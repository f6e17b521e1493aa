#pragma once
// Streaming sample-rate conversion of stereo audio with soxr at high quality, chosen by
// measurement (docs/audio.md). Input goes in fixed steps so the converter's buffers reach
// their full size while it warms up and never grow later; all memory is taken at
// construction.
#include <cstddef>
#include <cstdint>

typedef struct soxr* soxr_t;

namespace brellow::audio {

class Resampler {
  public:
    /// Warms the converter up with silence so that later steps never allocate, and so that
    /// the first real frame is converted on an exact output frame.
    Resampler(double inputRate, double outputRate);
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

    /// Converts exactly `stepFrames()` frames of `input` (two channel arrays) and writes the
    /// output frames now available into `output` (room for `maxStepOutput()`); returns how
    /// many. Output frame k of a run is the input at time k / ratio() since the run's first
    /// input frame: the warm-up history is dropped here.
    std::size_t step(const float* const* input, float* const* output);

  private:
    std::size_t process(const float* const* input, std::size_t frames, float* const* output,
                        std::size_t room);

    double inputRate_;
    double outputRate_;
    soxr_t soxr_ = nullptr;
    std::size_t stepFrames_ = 0;
    std::size_t maxStepOutput_ = 0;
    std::int64_t discardFrames_ = 0;  // warm-up output still to drop
};

}  // namespace brellow::audio
