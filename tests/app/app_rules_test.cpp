// Rules of the desktop shell that are plain decisions: where windows go, which drags are
// audio, how the small pages' messages are read.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "app/drop_target.h"
#include "app/show_documents.h"
#include "app/title_strip.h"
#include "app/window_geometry.h"
#include "bridge/host_pages.h"
#include "support/test_support.h"

namespace brellow::app {
namespace {

using test::TempDir;

TEST(WindowGeometry, NewShowWindowsUseTheSavedSizeWithinLimits) {
    const Rect bigScreen{0, 0, 3840, 2160};
    EXPECT_EQ(showWindowSize(std::nullopt, bigScreen), (Rect{0, 0, 1800, 1100}));
    EXPECT_EQ(showWindowSize(Rect{5, 5, 1200, 700}, bigScreen), (Rect{0, 0, 1200, 700}));
    // Never below the minimum, even when saved smaller; shrunk to a small work area.
    EXPECT_EQ(showWindowSize(Rect{0, 0, 300, 200}, bigScreen), (Rect{0, 0, 880, 560}));
    EXPECT_EQ(showWindowSize(std::nullopt, Rect{0, 27, 1366, 741}), (Rect{0, 0, 1366, 741}));
    EXPECT_EQ(showWindowSize(std::nullopt, Rect{0, 0, 800, 500}), (Rect{0, 0, 880, 560}));
}

TEST(WindowGeometry, OnlyWindowsOnNoMonitorAreBroughtBackKeepingTheirSize) {
    const std::vector<Rect> monitors{{0, 0, 1920, 1080}};
    const Rect workArea{0, 32, 1920, 1048};
    // Entirely on an unplugged monitor to the right: centred on the work area.
    EXPECT_EQ(recoveredFrame({2000, 100, 1800, 1100}, monitors, workArea),
              (Rect{60, 6, 1800, 1100}));
    // Half on a remaining monitor: left alone.
    EXPECT_FALSE(recoveredFrame({1500, 100, 1000, 700}, monitors, workArea));
    // Touching an edge is not intersecting.
    EXPECT_TRUE(recoveredFrame({1920, 0, 400, 400}, monitors, workArea));
    EXPECT_FALSE(recoveredFrame({2000, 100, 400, 400}, {}, workArea));
}

TEST(WindowGeometry, SavedFramesRoundTripAndDamagedOnesAreIgnored) {
    TempDir dir;
    const WindowFrameStore store(dir.path().string());
    EXPECT_FALSE(store.load(kShowWindowFrameName));
    store.save(kShowWindowFrameName, {-40, 20, 1500, 900});
    EXPECT_EQ(store.load(kShowWindowFrameName), (Rect{-40, 20, 1500, 900}));

    std::ofstream(dir.path() / "window-frames.json")
        << R"({"ShowWindow.v2": {"x": 0, "y": 0, "width": -5, "height": 900},
               "Other": {"x": "1", "y": 0, "width": 5, "height": 9}})";
    EXPECT_FALSE(store.load(kShowWindowFrameName));
    EXPECT_FALSE(store.load("Other"));
}

TEST(DropTarget, AudioIsDecidedByExtensionAndContentType) {
    TempDir dir;
    auto make = [&](const std::string& name) {
        std::ofstream(dir.path() / name) << "x";
        return dir.path() / name;
    };
    EXPECT_TRUE(isAudioFile(make("take.wav")));
    EXPECT_TRUE(isAudioFile(make("TAKE2.WAV")));
    EXPECT_TRUE(isAudioFile(make("voice.Mp3")));
    EXPECT_TRUE(isAudioFile(make("a.m4a")));
    EXPECT_TRUE(isAudioFile(make("b.opus")));
    EXPECT_FALSE(isAudioFile(make("notes.txt")));
    EXPECT_FALSE(isAudioFile(make("no-extension")));
    std::filesystem::create_directory(dir.path() / "folder.wav");
    EXPECT_FALSE(isAudioFile(dir.path() / "folder.wav"));
    EXPECT_FALSE(isAudioFile(dir.path() / "missing.wav"));
}

TEST(DropTarget, HoverNeedsAllAudioAndTheDropKeepsOnlyAudio) {
    TempDir dir;
    for (const char* name : {"one.wav", "two.flac", "read me.txt"})
        std::ofstream(dir.path() / name) << "x";
    const std::string base = "file://" + dir.path().string() + "/";
    const std::vector<std::string> audio{base + "one.wav", base + "two.flac"};
    const std::vector<std::string> mixed{base + "one.wav", base + "read%20me.txt",
                                         base + "two.flac"};
    EXPECT_TRUE(acceptsDrag(audio));
    EXPECT_FALSE(acceptsDrag(mixed));
    EXPECT_FALSE(acceptsDrag({"https://example.org/one.wav"}));
    EXPECT_FALSE(acceptsDrag({}));
    EXPECT_FALSE(acceptsDrag({base + "one.wav", "https://example.org/x.wav"}));

    const auto kept = audioFilesOfDrop(mixed);
    ASSERT_EQ(kept.size(), 2U);
    EXPECT_EQ(kept[0].filename(), "one.wav");
    EXPECT_EQ(kept[1].filename(), "two.flac");
    EXPECT_TRUE(audioFilesOfDrop({"https://example.org/one.wav"}).empty());
}

TEST(HostPages, SmallPageMessagesAreReadStrictly) {
    using namespace bridge;
    using nlohmann::json;
    EXPECT_EQ(pageAction(json{{"action", "agree"}}), "agree");
    EXPECT_FALSE(pageAction(json{{"action", 1}}));
    EXPECT_FALSE(pageAction(json::array({"agree"})));
    EXPECT_FALSE(pageAction(json("agree")));
    EXPECT_TRUE(telemetryValue(json{{"action", "setTelemetry"}, {"value", true}}));
    EXPECT_FALSE(telemetryValue(json{{"action", "setTelemetry"}, {"value", "true"}}));
    EXPECT_FALSE(telemetryValue(json{{"action", "setTelemetry"}}));
    EXPECT_EQ(preferencesInitScript(true),
              "window.__brwPrefsInit && window.__brwPrefsInit({telemetry:true});");
}

TEST(TitleStrip, DoubleClickFollowsTheDesktopSetting) {
    EXPECT_EQ(doubleClickActionFor("minimize"), DoubleClickAction::minimize);
    EXPECT_EQ(doubleClickActionFor("none"), DoubleClickAction::none);
    EXPECT_EQ(doubleClickActionFor("toggle-maximize"), DoubleClickAction::zoom);
    EXPECT_EQ(doubleClickActionFor("lower"), DoubleClickAction::zoom);
    EXPECT_EQ(doubleClickActionFor(std::nullopt), DoubleClickAction::zoom);
}

TEST(ShowDocuments, PackageNames) {
    EXPECT_EQ(packageDisplayName("/shows/Spring Gala.stingshow"), "Spring Gala");
    EXPECT_EQ(packageDisplayName("/shows/Spring Gala.stingshow/"), "Spring Gala");
    EXPECT_EQ(withPackageExtension("/shows/Gala"), "/shows/Gala.stingshow");
    EXPECT_EQ(withPackageExtension("/shows/Gala.stingshow"), "/shows/Gala.stingshow");
}

}  // namespace
}  // namespace brellow::app
