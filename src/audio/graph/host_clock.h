#pragma once
// The host clock: monotonic nanoseconds, so the timebase is 1/1. Engines take a clock so
// tests can move time by hand.
#include <atomic>
#include <cstdint>

namespace brellow::audio {

struct Timebase {
    std::uint32_t numerator = 1;
    std::uint32_t denominator = 1;
};

class HostClock {
  public:
    virtual ~HostClock() = default;
    virtual std::uint64_t now() const = 0;
    Timebase timebase() const { return {}; }

    /// Host ticks in `milliseconds`, truncated.
    static std::uint64_t ticksForMilliseconds(double milliseconds);
};

/// CLOCK_MONOTONIC.
class MonotonicClock final : public HostClock {
  public:
    std::uint64_t now() const override;
    static const MonotonicClock& shared();
};

/// A clock that moves only when told; the offline driver advances it as it renders.
class VirtualClock final : public HostClock {
  public:
    explicit VirtualClock(std::uint64_t start = 1'000'000'000) : now_(start) {}
    std::uint64_t now() const override { return now_.load(std::memory_order_acquire); }
    void set(std::uint64_t time) { now_.store(time, std::memory_order_release); }
    void advance(std::uint64_t ticks) { now_.fetch_add(ticks, std::memory_order_acq_rel); }

  private:
    std::atomic<std::uint64_t> now_;
};

}  // namespace brellow::audio
