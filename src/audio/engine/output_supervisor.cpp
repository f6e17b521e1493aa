#include "audio/engine/output_supervisor.h"

#include <algorithm>

namespace brellow::audio {

std::chrono::milliseconds RetryBackoff::next() {
    const std::chrono::milliseconds delay = next_;
    next_ = std::min(next_ * 2, ceiling_);
    return delay;
}

OutputSupervisor::OutputSupervisor(SupervisedOutput& output)
    : OutputSupervisor(output, Options{}) {}

OutputSupervisor::OutputSupervisor(SupervisedOutput& output, Options options)
    : output_(output),
      options_(options),
      backoff_(options.firstRetry, options.retryCeiling),
      thread_([this] { run(); }) {}

OutputSupervisor::~OutputSupervisor() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void OutputSupervisor::run() {
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, options_.tick, [this] { return stopping_; })) {
        lock.unlock();
        step(std::chrono::steady_clock::now());
        lock.lock();
    }
}

void OutputSupervisor::step(std::chrono::steady_clock::time_point now) {
    (void)output_.checkStalled(now);

    const std::uint64_t xruns = output_.xrunCount();
    if (xruns != loggedXruns_ && (loggedXruns_ == 0 || now - lastXrunLog_ >= kXrunLogInterval)) {
        log_.notice("Output underrun on %s: %llu so far", output_.describe().c_str(),
                    static_cast<unsigned long long>(xruns));
        loggedXruns_ = xruns;
        lastXrunLog_ = now;
    }

    if (!output_.wantsRetry()) {
        retrying_ = false;
        return;
    }
    if (!retrying_) {
        retrying_ = true;
        backoff_.reset();
        nextAttempt_ = now + backoff_.next();
        return;
    }
    if (now < nextAttempt_) return;
    if (output_.retryWanted()) {
        retrying_ = false;
        return;
    }
    nextAttempt_ = std::chrono::steady_clock::now() + backoff_.next();
}

}  // namespace brellow::audio
