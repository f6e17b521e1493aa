// Importing files into an open show, and seeding an empty show with the demonstration stings.
#include <glib.h>
#include <gtest/gtest.h>

#include "audio/engine_rig.h"
#include "document/sting_import.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

class RecordingPage final : public PageMessenger {
  public:
    void sendEvent(const nlohmann::ordered_json& event) override { events.push_back(event); }
    void sendStateSnapshot() override { ++snapshots; }
    std::vector<nlohmann::ordered_json> events;
    int snapshots = 0;
};

// Runs the main context and the engine until `done` is set.
void spin(audio::test::EngineRig& rig, const bool& done) {
    for (int i = 0; i < 20000 && !done; ++i) {
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        rig.settle();
        if (!done) g_usleep(200);
    }
}

}  // namespace

class ImportFlow : public ::testing::Test {
  protected:
    fs::path tone(const std::string& name, double seconds = 0.1) {
        return audio::test::writeSting(
            rig.dir / name, 48000, static_cast<std::int64_t>(seconds * 48000),
            [](std::int64_t) { return 0.25f; }, 2);
    }
    audio::test::EngineRig rig;
    std::shared_ptr<ShowDocument> document = std::make_shared<ShowDocument>(rig.dir / "scratch");
    std::shared_ptr<RecordingPage> page = std::make_shared<RecordingPage>();
};

TEST_F(ImportFlow, StingsJoinTheActivePageWithHotkeysInOrderAndFailuresBecomeToasts) {
    const Uuid second = document->createPage("Act 2");  // now the active page
    std::vector<fs::path> files;
    for (int i = 0; i < 10; ++i)
        files.push_back(tone("cue" + std::to_string(i) + ".caf"));
    brellow::test::writeFile(rig.dir / "notes.wav", "not audio");
    files.insert(files.begin() + 3, rig.dir / "notes.wav");
    const auto changesBefore = document->changeCount();

    bool done = false;
    std::size_t failures = 0;
    importStingFiles({document, rig.engine, page}, files, [&](std::size_t f) {
        failures = f;
        done = true;
    });
    spin(rig, done);
    ASSERT_TRUE(done);
    EXPECT_EQ(failures, 1u);

    const Show& show = document->show();
    EXPECT_TRUE(show.pages[0].stings.empty());
    const auto& stings = show.pages[*locatePage(show, second)].stings;
    ASSERT_EQ(stings.size(), 10u);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_EQ(stings[i].name, "cue" + std::to_string(i));
        EXPECT_EQ(stings[i].hotkey, std::to_string(i + 1));
        EXPECT_TRUE(stings[i].waveformFilename);
        EXPECT_TRUE(fs::exists(document->mediaPath(stings[i])));
    }
    EXPECT_FALSE(stings[9].hotkey);  // the digits are all taken
    EXPECT_EQ(document->changeCount(), changesBefore + 10);
    ASSERT_EQ(page->events.size(), 1u);
    EXPECT_EQ(page->events[0]["type"], "toast");
    EXPECT_EQ(
        page->events[0]["message"],
        "Couldn't import “notes.wav”. Check the file and that there's enough free disk space.");
    EXPECT_EQ(page->snapshots, 1);
    rig.settle();
    EXPECT_NE(rig.engine->nodeForTesting(stings[0].id), nullptr);  // loaded, ready to play
}

TEST_F(ImportFlow, SeedingFillsOnlyAnEmptyShowWithTheDemoStingsInNameOrder) {
    brellow::test::CapturedLog log;
    bool done = false;
    seedDemoStings({document, rig.engine, page}, rig.dir / "NoDemo", [&] { done = true; });
    spin(rig, done);
    EXPECT_TRUE(
        log.has(LogLevel::error, "ShowDocument", "No bundled demo stings found in Resources/Demo"));

    done = false;
    seedDemoStings({document, rig.engine, page}, BRELLOW_DEMO_DIR, [&] { done = true; });
    spin(rig, done);
    const auto& stings = document->show().pages[0].stings;
    ASSERT_GE(stings.size(), 6u);
    ASSERT_LE(stings.size(), 8u);
    EXPECT_EQ(stings[0].name, "01 Chime");
    for (std::size_t i = 1; i < stings.size(); ++i)
        EXPECT_LT(stings[i - 1].name, stings[i].name);
    EXPECT_EQ(page->snapshots, 1);
    EXPECT_TRUE(page->events.empty());

    done = false;
    seedDemoStings({document, rig.engine, page}, BRELLOW_DEMO_DIR, [&] { done = true; });
    spin(rig, done);
    EXPECT_EQ(document->show().pages[0].stings.size(), stings.size());  // not empty: nothing more
}

}  // namespace brellow
