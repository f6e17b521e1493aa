#pragma once
// Looks after a show's output while the show is open: retries the wanted output with back-off
// while playing on a stand-in, notices an output that stopped asking for audio, and logs
// underruns. It runs on its own thread because opening a device may take a while and engine
// operations never wait.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "audio/drivers/system_output.h"
#include "base/log.h"

namespace brellow::audio {

/// Delays between retries: `first`, then doubling up to `ceiling`.
class RetryBackoff {
  public:
    RetryBackoff(std::chrono::milliseconds first, std::chrono::milliseconds ceiling)
        : first_(first), ceiling_(ceiling), next_(first) {}
    std::chrono::milliseconds next();
    void reset() { next_ = first_; }

  private:
    std::chrono::milliseconds first_, ceiling_, next_;
};

class OutputSupervisor {
  public:
    struct Options {
        std::chrono::milliseconds firstRetry{200};
        // Low enough that sound is back within a second of the output returning; probing
        // a sound server that is not there costs one failed socket connection.
        std::chrono::milliseconds retryCeiling{800};
        std::chrono::milliseconds tick{50};
    };

    explicit OutputSupervisor(SupervisedOutput& output);
    OutputSupervisor(SupervisedOutput& output, Options options);
    ~OutputSupervisor();
    OutputSupervisor(const OutputSupervisor&) = delete;
    OutputSupervisor& operator=(const OutputSupervisor&) = delete;

  private:
    void run();
    void step(std::chrono::steady_clock::time_point now);

    SupervisedOutput& output_;
    Options options_;
    RetryBackoff backoff_;
    bool retrying_ = false;
    std::chrono::steady_clock::time_point nextAttempt_{};
    std::uint64_t loggedXruns_ = 0;
    // Underruns are logged at most this often, so a struggling machine does not also fill
    // the journal with one line per dropout.
    static constexpr std::chrono::seconds kXrunLogInterval{10};
    std::chrono::steady_clock::time_point lastXrunLog_{};
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    Logger log_{"AudioEngine"};
    std::thread thread_;  // last: starts once everything above is ready
};

}  // namespace brellow::audio
