#include "audio/drivers/offline_driver.h"

#include <algorithm>
#include <cmath>

namespace brellow::audio {

OfflineDriver::OfflineDriver(VirtualClock& clock, double sampleRate, std::uint32_t period)
    : clock_(clock),
      sampleRate_(sampleRate),
      period_(period),
      baseHostTime_(clock.now()),
      blockLeft_(period),
      blockRight_(period) {}

Result<AudioFormat, AudioError> OfflineDriver::open(OutputRenderer& renderer) {
    renderer_ = &renderer;
    return AudioFormat{sampleRate_, 2, SampleType::float32};
}

Result<void, AudioError> OfflineDriver::start() {
    if (failNextStart_) {
        failNextStart_ = false;
        return fail(AudioError{AudioError::Code::engineStartFailed, "No output device"});
    }
    started_ = true;
    return {};
}

std::uint64_t OfflineDriver::hostTimeOfFrame(std::uint64_t frame) const {
    return baseHostTime_ +
           static_cast<std::uint64_t>(std::llround(static_cast<double>(frame) * 1e9 / sampleRate_));
}

void OfflineDriver::render(std::uint64_t frames) {
    std::uint64_t done = 0;
    while (done < frames) {
        const auto block =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(period_, frames - done));
        if (started_ && renderer_ != nullptr) {
            renderer_->renderOutput(blockLeft_.data(), blockRight_.data(), block,
                                    hostTimeOfFrame(rendered_));
        } else {
            std::fill_n(blockLeft_.begin(), block, 0.0f);
            std::fill_n(blockRight_.begin(), block, 0.0f);
        }
        if (capturing_) {
            left_.insert(left_.end(), blockLeft_.begin(), blockLeft_.begin() + block);
            right_.insert(right_.end(), blockRight_.begin(), blockRight_.begin() + block);
        }
        rendered_ += block;
        done += block;
        clock_.set(hostTimeOfFrame(rendered_));
    }
}

void OfflineDriver::clearCapture() {
    left_.clear();
    right_.clear();
}

void OfflineDriver::disrupt(const std::string& reason) {
    started_ = false;
    if (renderer_ != nullptr) renderer_->outputDisrupted(reason);
}

}  // namespace brellow::audio
