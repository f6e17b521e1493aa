#include "audio/graph/resampler.h"

#include <soxr.h>

#include <cmath>
#include <vector>

namespace brellow::audio {

Resampler::Resampler(double inputRate, double outputRate, std::size_t maxInputFrames,
                     std::size_t maxOutputFrames)
    : inputRate_(inputRate), outputRate_(outputRate) {
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);  // no worker threads
    soxr_error_t error = nullptr;
    soxr_ = soxr_create(inputRate, outputRate, 2, &error, &io, &quality, &runtime);
    if (error != nullptr) {
        soxr_ = nullptr;
        return;
    }
    std::vector<float> silence(maxInputFrames), sink(maxOutputFrames);
    const float* in[2] = {silence.data(), silence.data()};
    float* out[2] = {sink.data(), sink.data()};
    // Each round offers the largest input and takes every frame that comes out, so no silence
    // is left queued ahead of the first real frame.
    for (int round = 0; round < 16; ++round) {
        std::size_t used = 0;
        process(in, maxInputFrames, &used, out, maxOutputFrames);
        while (process(in, 0, &used, out, maxOutputFrames) > 0) {
        }
    }
    primeFrames_ = static_cast<std::size_t>(std::llround(delayFrames()));
}

Resampler::~Resampler() {
    if (soxr_ != nullptr) soxr_delete(soxr_);
}

std::size_t Resampler::process(const float* const* input, std::size_t inputFrames,
                               std::size_t* used, float* const* output, std::size_t outputFrames) {
    std::size_t produced = 0;
    *used = 0;
    soxr_process(soxr_, input, inputFrames, used, const_cast<float**>(output), outputFrames,
                 &produced);
    return produced;
}

double Resampler::delayFrames() const {
    return soxr_ != nullptr ? soxr_delay(soxr_) : 0;
}

}  // namespace brellow::audio
