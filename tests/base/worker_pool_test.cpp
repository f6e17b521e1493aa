#include "base/worker_pool.h"

#include <atomic>
#include <chrono>
#include <set>
#include <thread>

#include <gtest/gtest.h>

namespace brellow {

TEST(WorkerPool, RunsABurstOfJobsOnNoMoreThreadsThanItsLimit) {
    std::atomic<int> running{0}, mostAtOnce{0}, done{0};
    std::mutex mutex;
    std::set<std::thread::id> threads;
    {
        WorkerPool pool(3);
        for (int i = 0; i < 40; ++i) {
            pool.submit([&] {
                const int now = ++running;
                int seen = mostAtOnce.load();
                while (now > seen && !mostAtOnce.compare_exchange_weak(seen, now)) {
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
                {
                    const std::lock_guard lock(mutex);
                    threads.insert(std::this_thread::get_id());
                }
                --running;
                ++done;
            });
        }
        pool.waitIdle();
        EXPECT_EQ(done.load(), 40);
    }
    EXPECT_LE(mostAtOnce.load(), 3);
    EXPECT_GE(mostAtOnce.load(), 2);  // a burst does run in parallel
    EXPECT_LE(threads.size(), 3u);
    EXPECT_FALSE(threads.contains(std::this_thread::get_id()));
}

TEST(WorkerPool, WaitIdleCoversJobsSubmittedByJobsAndTheDestructorFinishesTheQueue) {
    std::atomic<int> done{0};
    WorkerPool pool(2);
    pool.submit([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        pool.submit([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ++done;
        });
        ++done;
    });
    pool.waitIdle();
    EXPECT_EQ(done.load(), 2);
    pool.waitIdle();  // idle already: returns at once

    std::atomic<int> finished{0};
    {
        WorkerPool closing(1);
        for (int i = 0; i < 5; ++i) {
            closing.submit([&] {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                ++finished;
            });
        }
    }
    EXPECT_EQ(finished.load(), 5);
}

}  // namespace brellow
