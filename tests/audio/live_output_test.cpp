// The graph with its real threads: a clock-paced render thread, the notifier and the disk
// streamer, while the test thread schedules, stops and detaches. Run under TSan in CI.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "audio/drivers/null_driver.h"
#include "audio/offline_rig.h"

namespace brellow::audio {

using namespace std::chrono_literals;

TEST(LiveOutput, CompletionsArriveFromTheGraphsOwnThreadsWhileControlKeepsChanging) {
    AudioEngine engine({std::make_unique<NullDriver>(48000, 128)});
    ASSERT_TRUE(engine.start());
    std::mutex mutex;
    std::condition_variable done;
    int completions = 0;
    auto count = [&](CompletionCallbackType) {
        const std::lock_guard lock(mutex);
        ++completions;
        done.notify_all();
    };
    auto shortBuffer =
        test::makeBuffer(44100, 2, 441, [](std::uint32_t, std::uint32_t) { return 0.1f; });
    std::vector<std::unique_ptr<test::Voice>> voices;
    for (int round = 0; round < 20; ++round) {
        voices.push_back(std::make_unique<test::Voice>(engine, shortBuffer->format()));
        auto& voice = *voices.back();
        voice.player.scheduleBuffer(shortBuffer, kPlayerOptionNone,
                                    CompletionCallbackType::dataPlayedBack, count);
        voice.player.play();
        voice.mixer.setOutputVolume(0.5f);
        if (round % 3 == 0) voice.player.stop();
        (void)voice.player.lastRenderTime();
        // Detach an older voice while it may still be playing.
        if (round % 5 == 4) voices.erase(voices.begin());
        std::this_thread::sleep_for(2ms);
    }
    std::unique_lock lock(mutex);
    EXPECT_TRUE(done.wait_for(lock, 5s, [&] { return completions == 20; })) << completions;
    lock.unlock();
    engine.stop();
    EXPECT_TRUE(engine.start());
}

}  // namespace brellow::audio
