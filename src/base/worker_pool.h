#pragma once
// A fixed number of worker threads for short blocking jobs (reading files), so that a burst of
// requests queues up instead of starting a thread each. Threads start when first needed.
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace brellow {

class WorkerPool {
  public:
    explicit WorkerPool(std::size_t threadLimit);
    /// Finishes the queued jobs, then joins the threads.
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Queues `job` to run on one of the pool's threads. Safe to call from any thread,
    /// including from a job.
    void submit(std::function<void()> job);
    /// Blocks until every job submitted so far (and any they submitted) has finished.
    void waitIdle();

    std::size_t threadLimit() const { return threadLimit_; }

  private:
    void work();

    const std::size_t threadLimit_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    std::deque<std::function<void()>> queue_;
    std::size_t running_ = 0;
    std::size_t waiting_ = 0;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace brellow
