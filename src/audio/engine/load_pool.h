#pragma once
// Threads that decode stings while a show opens, one per core: the engine's executor stays
// free for plays and stops, and a large show is playable sooner. Urgent jobs (the stings of
// the page on screen) run before the others.
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace brellow::audio {

class LoadPool {
  public:
    using Job = std::function<void()>;

    explicit LoadPool(unsigned threads);
    ~LoadPool();  // drops what has not started, waits for what has
    LoadPool(const LoadPool&) = delete;
    LoadPool& operator=(const LoadPool&) = delete;

    void post(Job job, bool urgent);

  private:
    void run();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job> urgent_;
    std::deque<Job> normal_;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace brellow::audio
