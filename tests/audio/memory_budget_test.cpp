// The show-wide memory budget: stings beyond it stream from their files, starting on time
// from their preloaded first seconds.
#include <gtest/gtest.h>

#include "audio/engine_rig.h"

namespace brellow::audio {

using test::EngineRig;
using test::seconds;
using test::writeSting;

TEST(MemoryBudget, StingsBeyondTheBudgetStreamAndUnloadingMakesRoomAgain) {
    // Three mono stings of 48,000 frames (192,000 bytes each) under a budget for two.
    EngineRig rig(52'428'800, 400'000);
    std::vector<Uuid> ids;
    for (int i = 0; i < 3; ++i)
        ids.push_back(
            rig.load(writeSting(rig.dir / (std::to_string(i) + ".caf"), 48000, 48000, seconds)));
    const auto storage = [&](const Uuid& id) { return rig.engine->nodeForTesting(id)->storage; };
    EXPECT_EQ(storage(ids[0]), StingNode::Storage::buffer);
    EXPECT_EQ(storage(ids[1]), StingNode::Storage::buffer);
    EXPECT_EQ(storage(ids[2]), StingNode::Storage::file);
    ASSERT_TRUE(rig.engine->nodeForTesting(ids[2])->head);

    // The streamed one plays every frame from its file.
    ASSERT_TRUE(rig.play(ids[2], 0.25, 0.75));
    rig.run(0.6);
    EXPECT_FLOAT_EQ(rig.driver->left()[240], seconds(12000));
    EXPECT_FLOAT_EQ(rig.driver->left()[240 + 23999], seconds(35999));

    rig.engine->unload(ids[0]);
    rig.settle();
    const Uuid again = rig.load(rig.dir / "0.caf");
    EXPECT_EQ(storage(again), StingNode::Storage::buffer);
}

TEST(MemoryBudget, AStreamedStingStartsOnTimeFromItsPreloadedSecondsBeforeTheDiskIsRead) {
    EngineRig rig(1000);  // everything streams
    const Uuid id = rig.load(writeSting(rig.dir / "a.caf", 48000, 480000, seconds));
    ASSERT_TRUE(rig.play(id, 0.5, std::nullopt));
    // Render without letting the streamer read: only the preloaded seconds can sound.
    for (int period = 0; period < 40; ++period) {
        rig.driver->render(256);
        rig.engine->graph().pumpNotifications();
    }
    const auto& left = rig.driver->left();
    EXPECT_FLOAT_EQ(left[240], seconds(24000));
    EXPECT_FLOAT_EQ(left[240 + 9000], seconds(24000 + 9000));
    // Past the preload (2 s) a trim-in gets no head start, and the streamer fills as usual.
    ASSERT_TRUE(rig.play(id, 3.0, std::nullopt));
    rig.run(0.1);
    EXPECT_FLOAT_EQ(left[left.size() - 1], seconds(144000 + 4800 - 240 - 1));
}

}  // namespace brellow::audio
