#include "audio/engine/load_pool.h"

namespace brellow::audio {

LoadPool::LoadPool(unsigned threads) {
    for (unsigned t = 0; t < threads; ++t)
        threads_.emplace_back([this] { run(); });
}

LoadPool::~LoadPool() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        urgent_.clear();
        normal_.clear();
    }
    wake_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
}

void LoadPool::post(Job job, bool urgent) {
    {
        const std::lock_guard lock(mutex_);
        (urgent ? urgent_ : normal_).push_back(std::move(job));
    }
    wake_.notify_one();
}

void LoadPool::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !urgent_.empty() || !normal_.empty(); });
        if (stopping_) return;
        auto& queue = urgent_.empty() ? normal_ : urgent_;
        Job job = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        job();
        job = nullptr;  // whatever it holds goes before the lock is taken again
        lock.lock();
    }
}

}  // namespace brellow::audio
