// Shows with more stings than the render graph first has room for.
#include <gtest/gtest.h>

#include "audio/graph/rt_guard.h"
#include "audio/offline_rig.h"

namespace brellow::audio {

TEST(LargeShow, EveryOneOfThousandsOfVoicesSoundsWithoutTheRenderThreadAllocating) {
    test::OfflineRig rig;
    ASSERT_TRUE(rig.engine->start());
    const AudioFormat mono{48000, 1, SampleType::float32};
    auto one = test::makeBuffer(48000, 1, 64, [](std::uint32_t, std::uint32_t) { return 1.0f; });
    std::vector<std::unique_ptr<test::Voice>> voices;
    RenderThreadViolations::allocations = 0;
    RenderThreadViolations::locks = 0;
    // Voices come and go while the output runs; the list grows twice past its first size.
    for (int i = 0; i < 4500; ++i) {
        voices.push_back(std::make_unique<test::Voice>(*rig.engine, mono));
        if (i % 500 == 0) rig.render(256);
        if (i % 7 == 0) voices.erase(voices.begin() + i / 2);
    }
    ASSERT_GT(voices.size(), 3 * RenderGraph::kInitialMixerCapacity);
    for (const std::size_t which : {std::size_t{0}, voices.size() / 2, voices.size() - 1}) {
        auto& voice = *voices[which];
        voice.mixer.setOutputVolume(0.5f);
        voice.player.scheduleBuffer(one, kPlayerOptionNone, CompletionCallbackType::dataPlayedBack,
                                    {});
        voice.player.play();
        rig.driver->clearCapture();
        rig.render(256);
        EXPECT_FLOAT_EQ(rig.driver->left()[10], 0.5f) << which;
        EXPECT_EQ(rig.driver->left()[100], 0.0f) << which;
    }
#if BRELLOW_RT_TRAP
    EXPECT_EQ(RenderThreadViolations::allocations.load(), 0u);
    EXPECT_EQ(RenderThreadViolations::locks.load(), 0u);
#endif
}

}  // namespace brellow::audio
