// The render thread never allocates, frees or locks, whatever the control side does.
#include <gtest/gtest.h>

#include <random>

#include "audio/graph/rt_guard.h"
#include "audio/offline_rig.h"

namespace brellow::audio {

#if BRELLOW_RT_TRAP
TEST(RenderThread, NeverAllocatesOrLocksWhileVoicesStartAndStop) {
    test::OfflineRig rig;
    ASSERT_TRUE(rig.engine->start());
    std::vector<std::unique_ptr<test::Voice>> voices;
    auto loop = test::makeBuffer(48000, 2, 4800, [](std::uint32_t, std::uint32_t f) {
        return static_cast<float>(f % 100) / 100.0f;
    });
    auto slow = test::makeBuffer(44100, 2, 4410, [](std::uint32_t, std::uint32_t f) {
        return static_cast<float>(f % 50) / 50.0f;
    });
    for (int i = 0; i < 32; ++i) {
        voices.push_back(std::make_unique<test::Voice>(
            *rig.engine, AudioFormat{i % 2 ? 44100.0 : 48000.0, 2, SampleType::float32}));
    }
    RenderThreadViolations::allocations = 0;
    RenderThreadViolations::locks = 0;
    std::mt19937 random(3);
    for (int step = 0; step < 1000; ++step) {  // ten seconds of audio
        auto& voice = *voices[random() % voices.size()];
        const bool converted = (&voice - voices.front().get()) % 2 != 0;
        if (voice.player.isPlaying()) {
            voice.player.stop();
        } else {
            voice.player.scheduleBuffer(converted ? slow : loop,
                                        kPlayerOptionLoops | kPlayerOptionInterrupts,
                                        CompletionCallbackType::dataPlayedBack, {});
            voice.player.play();
        }
        voice.mixer.setOutputVolume(static_cast<float>(random() % 100) / 100.0f);
        rig.render(480);
    }
    EXPECT_EQ(RenderThreadViolations::allocations.load(), 0u);
    EXPECT_EQ(RenderThreadViolations::locks.load(), 0u);
}
#endif

}  // namespace brellow::audio
