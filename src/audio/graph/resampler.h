#pragma once
// Streaming sample-rate conversion of stereo audio with soxr at high quality, chosen by
// measurement (docs/audio.md). All memory is taken at construction.
#include <cstddef>

typedef struct soxr* soxr_t;

namespace brellow::audio {

class Resampler {
  public:
    /// Warms the converter up with silence at the largest sizes it will be asked for, so that
    /// later calls never grow its buffers (which would allocate on the render thread).
    Resampler(double inputRate, double outputRate, std::size_t maxInputFrames = 4600,
              std::size_t maxOutputFrames = 4096);
    ~Resampler();
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;

    bool valid() const { return soxr_ != nullptr; }
    double ratio() const { return outputRate_ / inputRate_; }

    /// Converts up to `inputFrames` frames of `input` (two channel arrays) into at most
    /// `outputFrames` frames of `output`; returns frames produced, `used` the frames consumed.
    std::size_t process(const float* const* input, std::size_t inputFrames, std::size_t* used,
                        float* const* output, std::size_t outputFrames);

    /// Frames of output delay the converter adds.
    double delayFrames() const;
    /// Output frames of warm-up history that come out ahead of the first real frame; a player
    /// discards them, so converted audio starts on time.
    std::size_t primeFrames() const { return primeFrames_; }

  private:
    double inputRate_;
    double outputRate_;
    soxr_t soxr_ = nullptr;
    std::size_t primeFrames_ = 0;
};

}  // namespace brellow::audio
