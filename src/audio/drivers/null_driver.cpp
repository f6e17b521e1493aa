#include "audio/drivers/null_driver.h"

#include <time.h>

#include "audio/graph/host_clock.h"

namespace brellow::audio {

NullDriver::NullDriver(double sampleRate, std::uint32_t period)
    : sampleRate_(sampleRate), period_(period), left_(period), right_(period) {}

NullDriver::~NullDriver() {
    stop();
}

Result<AudioFormat, AudioError> NullDriver::open(OutputRenderer& renderer) {
    renderer_ = &renderer;
    return AudioFormat{sampleRate_, 2, SampleType::float32};
}

Result<void, AudioError> NullDriver::start() {
    if (running_.exchange(true)) return {};
    thread_ = std::thread([this] { run(); });
    return {};
}

void NullDriver::stop() {
    running_.store(false);
    if (thread_.joinable()) thread_.join();
}

void NullDriver::run() {
    const auto periodNs = static_cast<std::uint64_t>(period_ * 1e9 / sampleRate_);
    std::uint64_t next = MonotonicClock::shared().now();
    while (running_.load(std::memory_order_relaxed)) {
        renderer_->renderOutput(left_.data(), right_.data(), period_, next);
        next += periodNs;
        timespec until{static_cast<time_t>(next / 1'000'000'000ULL),
                       static_cast<long>(next % 1'000'000'000ULL)};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    }
}

}  // namespace brellow::audio
