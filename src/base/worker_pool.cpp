#include "base/worker_pool.h"

#include <algorithm>

namespace brellow {

WorkerPool::WorkerPool(std::size_t threadLimit)
    : threadLimit_(std::max<std::size_t>(1, threadLimit)) {}

WorkerPool::~WorkerPool() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
}

void WorkerPool::submit(std::function<void()> job) {
    {
        const std::lock_guard lock(mutex_);
        queue_.push_back(std::move(job));
        // A new thread only when the waiting ones are fewer than the jobs and the limit allows.
        if (queue_.size() > waiting_ && threads_.size() < threadLimit_)
            threads_.emplace_back([this] { work(); });
    }
    wake_.notify_one();
}

void WorkerPool::waitIdle() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [this] { return queue_.empty() && running_ == 0; });
}

void WorkerPool::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        ++waiting_;
        wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        --waiting_;
        if (queue_.empty()) return;  // stopping, and nothing left to finish
        auto job = std::move(queue_.front());
        queue_.pop_front();
        ++running_;
        lock.unlock();
        job();
        job = nullptr;  // what the job captured is released outside the lock, too
        lock.lock();
        --running_;
        if (queue_.empty() && running_ == 0) idle_.notify_all();
    }
}

}  // namespace brellow
