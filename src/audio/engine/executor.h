#pragma once
// A serial executor: jobs run one at a time, in the order posted, each to completion. It
// also keeps a deadline queue of repeating timers whose steps run as jobs. Two kinds: a
// thread of its own, and a manual one that runs only when told and whose time moves only when
// moved (tests and offline rendering).
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "audio/graph/host_clock.h"

namespace brellow::audio {

class Executor {
  public:
    using Job = std::function<void()>;
    virtual ~Executor() = default;

    virtual void post(Job job) = 0;
    /// A repeating timer: first step `interval` from now, then every `interval`.
    virtual std::uint64_t startTimer(std::chrono::nanoseconds interval, Job step) = 0;
    virtual void cancelTimer(std::uint64_t timer) = 0;
    /// Nanoseconds on the executor's timeline (the host clock).
    virtual std::uint64_t now() const = 0;
};

class ThreadExecutor final : public Executor {
  public:
    explicit ThreadExecutor(const HostClock& clock = MonotonicClock::shared());
    ~ThreadExecutor() override;  // runs what is queued, then stops
    ThreadExecutor(const ThreadExecutor&) = delete;
    ThreadExecutor& operator=(const ThreadExecutor&) = delete;

    void post(Job job) override;
    std::uint64_t startTimer(std::chrono::nanoseconds interval, Job step) override;
    void cancelTimer(std::uint64_t timer) override;
    std::uint64_t now() const override { return clock_.now(); }

  private:
    struct Timer {
        std::uint64_t due;
        std::uint64_t interval;
        Job step;
    };
    void run();

    const HostClock& clock_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<Job> jobs_;
    std::map<std::uint64_t, Timer> timers_;
    std::uint64_t nextTimer_ = 1;
    bool stopping_ = false;
    std::thread thread_;
};

/// Runs jobs on the caller's thread when asked; time is a virtual clock moved by the caller.
class ManualExecutor final : public Executor {
  public:
    explicit ManualExecutor(VirtualClock& clock) : clock_(clock) {}

    void post(Job job) override;
    std::uint64_t startTimer(std::chrono::nanoseconds interval, Job step) override;
    void cancelTimer(std::uint64_t timer) override;
    std::uint64_t now() const override { return clock_.now(); }

    /// Runs queued jobs, and the jobs they post, until none is left.
    void runUntilIdle();
    /// Fires every timer due up to the clock's current time, in deadline order, running the
    /// queue after each step.
    void fireDueTimers();
    /// Moves the clock to `time` (never back), firing timers as their deadlines pass.
    void advanceTo(std::uint64_t time);
    std::size_t activeTimers() const { return timers_.size(); }

  private:
    struct Timer {
        std::uint64_t due;
        std::uint64_t interval;
        Job step;
    };
    VirtualClock& clock_;
    std::vector<Job> jobs_;
    std::map<std::uint64_t, Timer> timers_;
    std::uint64_t nextTimer_ = 1;
};

}  // namespace brellow::audio
