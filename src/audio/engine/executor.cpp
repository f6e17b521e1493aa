#include "audio/engine/executor.h"

#include <algorithm>

namespace brellow::audio {

ThreadExecutor::ThreadExecutor(const HostClock& clock)
    : clock_(clock), thread_([this] { run(); }) {}

ThreadExecutor::~ThreadExecutor() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void ThreadExecutor::post(Job job) {
    {
        const std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    wake_.notify_all();
}

std::uint64_t ThreadExecutor::startTimer(std::chrono::nanoseconds interval, Job step) {
    const auto ticks = static_cast<std::uint64_t>(interval.count());
    std::uint64_t id = 0;
    {
        const std::lock_guard lock(mutex_);
        id = nextTimer_++;
        timers_.emplace(id, Timer{clock_.now() + ticks, ticks, std::move(step)});
    }
    wake_.notify_all();
    return id;
}

void ThreadExecutor::cancelTimer(std::uint64_t timer) {
    const std::lock_guard lock(mutex_);
    timers_.erase(timer);
}

void ThreadExecutor::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (!jobs_.empty()) {
            std::vector<Job> batch;
            batch.swap(jobs_);
            lock.unlock();
            for (Job& job : batch)
                job();
            lock.lock();
            continue;
        }
        if (stopping_) return;
        // The earliest timer that is due runs as a job; it is rescheduled before it runs, so a
        // step may cancel its own timer.
        const auto earliest = std::min_element(
            timers_.begin(), timers_.end(),
            [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
        if (earliest == timers_.end()) {
            wake_.wait(lock);
            continue;
        }
        const std::uint64_t now = clock_.now();
        if (earliest->second.due > now) {
            wake_.wait_for(lock, std::chrono::nanoseconds(earliest->second.due - now));
            continue;
        }
        Timer& timer = earliest->second;
        timer.due = std::max(timer.due + timer.interval, now + timer.interval / 2);
        Job step = timer.step;
        lock.unlock();
        step();
        lock.lock();
    }
}

void ManualExecutor::post(Job job) {
    jobs_.push_back(std::move(job));
}

std::uint64_t ManualExecutor::startTimer(std::chrono::nanoseconds interval, Job step) {
    const auto ticks = static_cast<std::uint64_t>(interval.count());
    const std::uint64_t id = nextTimer_++;
    timers_.emplace(id, Timer{clock_.now() + ticks, ticks, std::move(step)});
    return id;
}

void ManualExecutor::cancelTimer(std::uint64_t timer) {
    timers_.erase(timer);
}

void ManualExecutor::runUntilIdle() {
    while (!jobs_.empty()) {
        Job job = std::move(jobs_.front());
        jobs_.erase(jobs_.begin());
        job();
    }
}

void ManualExecutor::fireDueTimers() {
    runUntilIdle();
    for (;;) {
        const auto earliest = std::min_element(
            timers_.begin(), timers_.end(),
            [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
        if (earliest == timers_.end() || earliest->second.due > clock_.now()) return;
        earliest->second.due += earliest->second.interval;
        Job step = earliest->second.step;
        step();
        runUntilIdle();
    }
}

void ManualExecutor::advanceTo(std::uint64_t time) {
    if (time > clock_.now()) clock_.set(time);
    fireDueTimers();
}

}  // namespace brellow::audio
