// Opening a show loads its stings into the engine in the background, with a line for each
// that cannot be loaded.
#include <glib.h>
#include <gtest/gtest.h>

#include "audio/engine_rig.h"
#include "document/sting_loading.h"

namespace brellow {

TEST(StingLoading, AnOpenedShowLoadsItsStingsInOrderAndLogsTheOnesItCannot) {
    audio::test::EngineRig rig;
    brellow::test::CapturedLog log;
    Show show = makeNewShow();
    const Sting good = brellow::test::makeSting("Good");
    const Sting missing = brellow::test::makeSting("Missing");
    const Sting broken = brellow::test::makeSting("Broken");
    show.pages[0].stings = {good, missing, broken};
    const auto package = rig.dir / "Show.stingshow";
    brellow::test::writePackage(package, show);
    std::filesystem::remove(package / "Media" / missing.mediaFilename);
    audio::test::writeSting(package / "Media" / good.mediaFilename, 48000, 4800,
                            [](std::int64_t) { return 0.5f; });

    ShowDocument document(rig.dir / "scratch");
    bool finished = false;
    loadStingsOnOpen(document, rig.engine, [&] { finished = true; });
    ASSERT_TRUE(document.read(package));
    for (int spin = 0; spin < 1000 && !finished; ++spin) {  // main context and engine take turns
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        rig.settle();
    }
    ASSERT_TRUE(finished);
    EXPECT_NE(rig.engine->nodeForTesting(good.id), nullptr);
    EXPECT_EQ(rig.engine->nodeForTesting(missing.id), nullptr);
    EXPECT_EQ(rig.engine->nodeForTesting(broken.id), nullptr);
    EXPECT_TRUE(
        log.has(LogLevel::error, "ShowDocument", "Sting media missing: " + missing.mediaFilename));
    bool brokenLogged = false;
    for (const auto& record : log.sink().records()) {
        brokenLogged |= record.message.starts_with("loadSting failed: ") &&
                        record.message.find(broken.mediaFilename) != std::string::npos;
    }
    EXPECT_TRUE(brokenLogged);
}

}  // namespace brellow
