#include "audio/graph/host_clock.h"

#include <time.h>

namespace brellow::audio {

std::uint64_t HostClock::ticksForMilliseconds(double milliseconds) {
    const Timebase base;
    return static_cast<std::uint64_t>(milliseconds * 1'000'000.0 * base.denominator /
                                      base.numerator);
}

std::uint64_t MonotonicClock::now() const {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<std::uint64_t>(ts.tv_sec) * 1'000'000'000ULL +
           static_cast<std::uint64_t>(ts.tv_nsec);
}

const MonotonicClock& MonotonicClock::shared() {
    static const MonotonicClock clock;
    return clock;
}

}  // namespace brellow::audio
