// Stings decoded on load threads: when they become playable, what the engine says meanwhile,
// and loads overtaken by another load or an unload of the same sting.
#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <mutex>

#include "audio/drivers/null_driver.h"
#include "audio/engine_rig.h"

namespace brellow::audio {

namespace {

struct ThreadedEngine {
    explicit ThreadedEngine(unsigned loadThreads) {
        AudioEngineService::Options options;
        options.driver = std::make_unique<NullDriver>(48000, 256);
        options.executor = &executor;
        options.loadThreads = loadThreads;
        engine = AudioEngineService::create(std::move(options));
    }
    ~ThreadedEngine() {
        // The engine goes on its own executor, after whatever is still queued there.
        std::promise<void> gone;
        executor.post([&] {
            engine.reset();
            gone.set_value();
        });
        gone.get_future().wait();
    }

    template <class T>
    T onExecutor(std::function<T()> job) {
        std::promise<T> result;
        executor.post([&] { result.set_value(job()); });
        return result.get_future().get();
    }

    std::vector<Uuid> notYetPlayable() {
        std::promise<std::vector<Uuid>> ids;
        engine->stingsNotYetPlayable([&](std::vector<Uuid> found) { ids.set_value(found); });
        return ids.get_future().get();
    }

    ThreadExecutor executor;
    std::shared_ptr<AudioEngineService> engine;
};

struct Completions {
    AudioEngineService::Done done() {
        return [this](std::optional<EngineFailure> failure) {
            const std::lock_guard lock(mutex);
            ++count;
            if (failure) ++failures;
            changed.notify_all();
        };
    }
    bool waitFor(int expected) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return count == expected; });
    }
    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
    int failures = 0;
};

}  // namespace

TEST(ParallelLoading, StingsBecomePlayableAsTheyDecodeAndTheEngineSaysWhichAreNot) {
    brellow::test::TempDir dir;
    ThreadedEngine rig(2);
    std::vector<Uuid> ids;
    Completions loads;
    for (int i = 0; i < 40; ++i) {
        const auto file = test::writeSting(dir / (std::to_string(i) + ".caf"), 44100, 44100,
                                           [](std::int64_t) { return 0.1f; });
        ids.push_back(Uuid::generate());
        rig.engine->loadSting(ids.back(), file, 0, loads.done(), /*urgent=*/i >= 30);
    }
    const Uuid missing = Uuid::generate();
    rig.engine->loadSting(missing, dir / "missing.caf", 0, loads.done());
    for (const Uuid& id : rig.notYetPlayable())
        EXPECT_TRUE(id == missing || std::find(ids.begin(), ids.end(), id) != ids.end());
    ASSERT_TRUE(loads.waitFor(41));
    EXPECT_EQ(loads.failures, 1);  // the missing file, reported as before
    EXPECT_TRUE(rig.notYetPlayable().empty());
    for (const Uuid& id : ids) {
        std::promise<bool> played;
        rig.engine->play(id, std::nullopt, std::nullopt, false, 0, 0,
                         [&](auto started) { played.set_value(static_cast<bool>(started)); });
        EXPECT_TRUE(played.get_future().get());
    }
}

TEST(ParallelLoading, TheLastLoadOrUnloadOfAStingWins) {
    brellow::test::TempDir dir;
    ThreadedEngine rig(2);
    const auto shortFile =
        test::writeSting(dir / "short.caf", 48000, 4800, [](std::int64_t) { return 0.1f; });
    const auto longFile =
        test::writeSting(dir / "long.caf", 48000, 96000, [](std::int64_t) { return 0.1f; });
    const Uuid reloaded = Uuid::generate();
    const Uuid unloaded = Uuid::generate();
    Completions loads;
    rig.engine->loadSting(reloaded, longFile, 0, loads.done());
    rig.engine->loadSting(reloaded, shortFile, 0, loads.done());
    rig.engine->loadSting(unloaded, shortFile, 0, loads.done());
    rig.engine->unload(unloaded);
    ASSERT_TRUE(loads.waitFor(3));
    EXPECT_EQ(loads.failures, 0);
    EXPECT_EQ(rig.onExecutor<std::int64_t>([&] {
        const StingNode* node = rig.engine->nodeForTesting(reloaded);
        return node != nullptr ? node->totalFrames : -1;
    }),
              4800);
    EXPECT_TRUE(
        rig.onExecutor<bool>([&] { return rig.engine->nodeForTesting(unloaded) == nullptr; }));
    EXPECT_TRUE(rig.notYetPlayable().empty());
}

}  // namespace brellow::audio
