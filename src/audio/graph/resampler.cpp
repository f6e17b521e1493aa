#include "audio/graph/resampler.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <vector>

namespace brellow::audio {

namespace {

// Output frames a step aims at: small enough to keep the converter's buffers modest, large
// enough that the per-call overhead stays low.
constexpr double kTargetStepOutput = 512;
constexpr std::size_t kMaxStepFrames = 8192;
// Seconds of input the warm-up converts. soxr's buffers keep growing for a while after its
// filters are full; the trap in the tests found growth up to one second in, at any rate.
constexpr double kWarmUpSeconds = 2.0;

// The fewest input frames that turn into a whole number of output frames (the input rate
// over the greatest common divisor of the two rates), or 0 when the rates are not whole.
std::size_t inputPeriod(double inputRate, double outputRate) {
    const auto in = static_cast<std::int64_t>(inputRate);
    const auto out = static_cast<std::int64_t>(outputRate);
    if (static_cast<double>(in) != inputRate || static_cast<double>(out) != outputRate || in <= 0 ||
        out <= 0) {
        return 0;
    }
    return static_cast<std::size_t>(in / std::gcd(in, out));
}

}  // namespace

Resampler::Resampler(double inputRate, double outputRate, std::size_t maxReadyFrames)
    : inputRate_(inputRate), outputRate_(outputRate) {
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);  // no worker threads
    soxr_error_t error = nullptr;
    soxr_ = soxr_create(inputRate, outputRate, 2, &error, &io, &quality, &runtime);
    if (error != nullptr || soxr_ == nullptr) {
        soxr_ = nullptr;
        return;
    }
    // A step of whole periods puts every step boundary on an exact output frame; rates whose
    // period is too long for that are rounded to the nearest frame instead.
    const auto wanted = static_cast<std::size_t>(std::ceil(kTargetStepOutput / ratio()));
    const std::size_t period = inputPeriod(inputRate, outputRate);
    if (period > 0 && period <= kMaxStepFrames) {
        stepFrames_ = std::max<std::size_t>(1, (wanted + period - 1) / period) * period;
    } else {
        stepFrames_ = std::max<std::size_t>(wanted, 16);
    }
    stepFrames_ = std::min(stepFrames_, std::max(kMaxStepFrames, period));
    maxStepOutput_ =
        2 * static_cast<std::size_t>(std::ceil(static_cast<double>(stepFrames_) * ratio())) + 256;

    std::vector<float> silence(stepFrames_), sink(maxStepOutput_);
    const float* in[2] = {silence.data(), silence.data()};
    float* out[2] = {sink.data(), sink.data()};
    const auto warmUpFrames = static_cast<std::size_t>(kWarmUpSeconds * inputRate);
    const std::size_t steps =
        std::max<std::size_t>(64, (warmUpFrames + stepFrames_ - 1) / stepFrames_);
    std::int64_t emitted = 0;
    for (std::size_t s = 0; s < steps; ++s) {
        emitted += static_cast<std::int64_t>(convert(in, out));
    }
    // What the warm-up should have produced, less what came out, is still inside the
    // converter: the first frames of the real input follow it.
    const double expected = static_cast<double>(steps * stepFrames_) * ratio();
    discardFrames_ = std::max<std::int64_t>(0, std::llround(expected) - emitted);

    const std::size_t capacity = maxReadyFrames + maxStepOutput_;
    readyStorage_ = std::make_unique<float[]>(capacity * 2);
    ready_[0] = readyStorage_.get();
    ready_[1] = readyStorage_.get() + capacity;
}

Resampler::~Resampler() {
    if (soxr_ != nullptr) soxr_delete(soxr_);
}

std::size_t Resampler::process(const float* const* input, std::size_t frames, float* const* output,
                               std::size_t room) {
    std::size_t produced = 0;
    std::size_t consumed = 0;
    // soxr takes all the input it is offered into its own buffer; the loop only guards
    // against a call that leaves some behind.
    for (int attempt = 0; attempt < 4 && (consumed < frames || attempt == 0); ++attempt) {
        const float* in[2] = {input[0] + consumed, input[1] + consumed};
        float* out[2] = {output[0] + produced, output[1] + produced};
        std::size_t used = 0, got = 0;
        soxr_process(soxr_, in, frames - consumed, &used, out, room - produced, &got);
        consumed += used;
        produced += got;
        if (used == 0 && got == 0) break;
    }
    return produced;
}

std::size_t Resampler::step(const float* const* input) {
    if (soxr_ == nullptr) return 0;
    float* out[2] = {ready_[0] + readyFrames_, ready_[1] + readyFrames_};
    const std::size_t got = convert(input, out);
    readyFrames_ += got;
    return got;
}

void Resampler::take(std::size_t frames) {
    frames = std::min(frames, readyFrames_);
    for (float* channel : ready_)
        std::memmove(channel, channel + frames, (readyFrames_ - frames) * sizeof(float));
    readyFrames_ -= frames;
}

std::size_t Resampler::convert(const float* const* input, float* const* output) {
    std::size_t got = process(input, stepFrames_, output, maxStepOutput_);
    if (discardFrames_ > 0 && got > 0) {
        const auto dropped = static_cast<std::size_t>(
            std::min<std::int64_t>(discardFrames_, static_cast<std::int64_t>(got)));
        for (int c = 0; c < 2; ++c)
            std::memmove(output[c], output[c] + dropped, (got - dropped) * sizeof(float));
        got -= dropped;
        discardFrames_ -= static_cast<std::int64_t>(dropped);
    }
    return got;
}

}  // namespace brellow::audio
