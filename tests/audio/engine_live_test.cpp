// The engine with all its threads: its executor, the clock-paced render thread, the
// notifier, the streamer and a delivery thread for observers. Run under TSan in CI.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "audio/drivers/null_driver.h"
#include "audio/engine_rig.h"

namespace brellow::audio {

using namespace std::chrono_literals;

TEST(EngineLive, PlaysFadesAndStopsWithEveryThreadRunning) {
    brellow::test::TempDir dir;
    std::mutex mutex;  // declared first: the delivery thread uses these until it stops
    std::condition_variable changed;
    int started = 0, stopped = 0;
    ThreadExecutor executor;
    ThreadExecutor delivery;
    AudioEngineService::Options options;
    options.driver = std::make_unique<NullDriver>(48000, 128);
    options.executor = &executor;
    options.delivery = &delivery;
    options.memoryLimitBytes = 20000;  // half the stings stream from file
    auto engine = AudioEngineService::create(std::move(options));

    engine->addObserver([&](const Event& event) {
        const std::lock_guard lock(mutex);
        if (std::holds_alternative<event::PlaybackStarted>(event)) ++started;
        if (std::holds_alternative<event::PlaybackStopped>(event)) ++stopped;
        changed.notify_all();
    });
    std::vector<Uuid> ids;
    for (int i = 0; i < 8; ++i) {
        const auto file =
            test::writeSting(dir / (std::to_string(i) + ".caf"), i % 2 ? 44100 : 48000,
                             2400 + 2400 * i, [](std::int64_t) { return 0.1f; });
        ids.push_back(Uuid::generate());
        engine->loadSting(ids.back(), file, -6);
    }
    for (std::size_t i = 0; i < ids.size(); ++i) {
        engine->play(ids[i], std::nullopt, std::nullopt, i % 3 == 0, 0.05, 0.05);
    }
    for (int query = 0; query < 10; ++query) {
        engine->currentPositions([](std::vector<StingPosition>) {});
        std::this_thread::sleep_for(5ms);
    }
    engine->stopOthers(ids[0], 0.05);
    std::unique_lock lock(mutex);
    ASSERT_TRUE(changed.wait_for(lock, 5s, [&] { return started == 8 && stopped >= 7; }))
        << started << " started, " << stopped << " stopped";
    lock.unlock();
    engine->stopAll(false);
    lock.lock();
    EXPECT_TRUE(changed.wait_for(lock, 5s, [&] { return stopped == 8; }));
    lock.unlock();
    std::this_thread::sleep_for(50ms);
    lock.lock();
    EXPECT_EQ(stopped, 8);  // one stop each, however it ended
}

}  // namespace brellow::audio
