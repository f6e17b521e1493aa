// Page commands end to end: the document, the engine and what the page hears.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "bridge/bridge_rig.h"

namespace brellow::bridge {

using nlohmann::json;
using test::BridgeRig;

namespace {
json id(const Sting& sting) {
    return {{"stingID", sting.id.toString()}};
}
}  // namespace

TEST(BridgePlayback, PlayStopAndSoloReachTheEngineAndItsEventsReachThePage) {
    BridgeRig rig;
    rig.post("play",
             {{"stingID", test::BridgeRig().a.id.toString()}});  // unknown here: fails quietly
    rig.post("play", {{"stingID", brellow::test::toLower(rig.a.id.toString())}});
    rig.wait(0.1);
    auto started = rig.eventsOfType("playbackStarted");
    ASSERT_EQ(started.size(), 1u);
    EXPECT_EQ(started[0]["stingID"], rig.a.id.toString());  // identifiers go out in upper case
    EXPECT_TRUE(started[0]["hostTime"].is_number_unsigned());

    rig.post("play", id(rig.b));  // solo: Alpha fades over 0.4 s (it has no fade-out of its own)
    auto fades = rig.eventsOfType("playbackFadeOutStarted");
    ASSERT_EQ(fades.size(), 1u);
    EXPECT_EQ(fades[0]["stingID"], rig.a.id.toString());
    EXPECT_EQ(fades[0]["durationSec"], 0.4);
    rig.wait(0.5);
    auto stopped = rig.eventsOfType("playbackStopped");
    ASSERT_EQ(stopped.size(), 1u);
    EXPECT_EQ(stopped[0]["reason"], "user");

    rig.post("stop", id(rig.b));  // Beta's own fade-out: 2.5 s
    EXPECT_EQ(rig.eventsOfType("playbackFadeOutStarted").back()["durationSec"], 2.5);
    rig.post("play", id(rig.c));
    rig.post("stopAll", "ignored");
    EXPECT_EQ(rig.eventsOfType("playbackStopped").size(), 3u);
}

TEST(BridgePlayback, TicksCarryEveryPlayingStingAndStopWhenNothingPlays) {
    BridgeRig rig;
    rig.wait(0.2);
    EXPECT_TRUE(rig.eventsOfType("playheadTick").empty());
    rig.post("setSoloMode", {{"enabled", false}});
    rig.post("play", id(rig.a));
    rig.post("play", id(rig.b));
    rig.wait(0.1);
    const auto ticks = rig.eventsOfType("playheadTick");
    ASSERT_GE(ticks.size(), 2u);
    EXPECT_EQ(ticks.back()["stings"].size(), 2u);
    EXPECT_GT(ticks.back()["stings"][0]["positionSec"].get<double>(), 0.0);
    EXPECT_NE(rig.host->scripts.back().find(
                  "window.brellow.dispatch({type:'playheadTick',stings:[{\"stingID\":"),
              std::string::npos);
    rig.post("stopAll");
    rig.host->scripts.clear();
    rig.wait(0.2);
    EXPECT_TRUE(rig.eventsOfType("playheadTick").empty());
}

TEST(BridgeLevels, VolumeAndMasterGoToTheEngineOnly) {
    BridgeRig rig;
    const auto changes = rig.document->changeCount();
    rig.post("setVolume", {{"stingID", rig.a.id.toString()}, {"dB", -6}});
    ASSERT_EQ(rig.eventsOfType("volumeChanged").size(), 1u);
    EXPECT_EQ(rig.eventsOfType("volumeChanged")[0]["dB"], -6);
    rig.post("setMasterVolume", {{"dB", -6}});
    EXPECT_NEAR(rig.engine.engine->graph().mainMixer().outputVolume(), 0.501, 0.001);
    rig.post("setMasterVolume", {{"dB", -120}});
    EXPECT_EQ(rig.engine.engine->graph().mainMixer().outputVolume(), 0.0f);
    EXPECT_EQ(rig.document->changeCount(), changes);
    EXPECT_EQ(rig.sting(0, 0).volumeDB, 0);
}

TEST(BridgeEdits, SmallEditsChangeTheShowAndAnswerWithAChangeEvent) {
    BridgeRig rig;
    rig.post("setTrim", {{"stingID", rig.a.id.toString()}, {"outSec", 3.5}});
    EXPECT_EQ(rig.events().back(), json({{"type", "trimChanged"},
                                         {"stingID", rig.a.id.toString()},
                                         {"inSec", nullptr},
                                         {"outSec", 3.5}}));
    EXPECT_EQ(rig.sting(0, 0).trimOutSec, 3.5);
    rig.post("setLoop", {{"stingID", rig.a.id.toString()}, {"enabled", true}});
    EXPECT_EQ(rig.events().back()["type"], "loopChanged");
    rig.post("setFade", {{"stingID", rig.a.id.toString()}, {"fadeInSec", 75}});
    EXPECT_EQ(rig.events().back(), json({{"type", "fadeChanged"},
                                         {"stingID", rig.a.id.toString()},
                                         {"fadeInSec", 60},
                                         {"fadeOutSec", 0}}));
    rig.post("setHotkey", {{"stingID", rig.b.id.toString()}, {"key", "1"}});  // Alpha had "1"
    auto events = rig.events();
    EXPECT_EQ(
        events[events.size() - 2],
        json({{"type", "hotkeyChanged"}, {"stingID", rig.a.id.toString()}, {"key", nullptr}}));
    EXPECT_EQ(events.back(),
              json({{"type", "hotkeyChanged"}, {"stingID", rig.b.id.toString()}, {"key", "1"}}));
    rig.post("rename", {{"stingID", rig.c.id.toString()}, {"name", "  Gong \n"}});
    EXPECT_EQ(rig.events().back()["name"], "Gong");
    rig.post("setSoloMode", {{"enabled", false}});
    EXPECT_EQ(rig.events().back(), json({{"type", "soloModeChanged"}, {"enabled", false}}));
    const std::string page = rig.document->show().pages[0].id.toString();
    rig.post("renamePage", {{"pageID", page}, {"name", " Act 1 "}});
    EXPECT_EQ(rig.events().back(),
              json({{"type", "pageRenamed"}, {"pageID", page}, {"name", "Act 1"}}));
    rig.post("setActivePage", {{"pageID", page}});
    EXPECT_EQ(rig.events().back(), json({{"type", "activePageChanged"}, {"pageID", page}}));
    EXPECT_TRUE(rig.eventsOfType("stateSnapshot").empty());
    EXPECT_TRUE(rig.document->isEdited());
}

TEST(BridgeEdits, StructuralEditsAnswerWithASnapshotAndUnloadWhatWasRemoved) {
    BridgeRig rig;
    rig.post("removeSting", id(rig.c));
    ASSERT_EQ(rig.eventsOfType("stateSnapshot").size(), 1u);
    EXPECT_EQ(rig.eventsOfType("stateSnapshot")[0]["show"]["pages"][0]["stings"].size(), 2u);
    EXPECT_EQ(rig.engine.engine->nodeForTesting(rig.c.id), nullptr);
    EXPECT_FALSE(std::filesystem::exists(rig.document->mediaPath(rig.c)));

    const std::string only = rig.document->show().pages[0].id.toString();
    rig.post("deletePage", {{"pageID", only}});  // the last page: nothing at all
    EXPECT_EQ(rig.host->scripts.size(), 1u);
    rig.post("createPage", {{"name", "   "}});
    auto snapshot = rig.eventsOfType("stateSnapshot").back()["show"];
    EXPECT_EQ(snapshot["pages"][1]["name"], "Untitled");
    EXPECT_EQ(snapshot["activePageID"], snapshot["pages"][1]["id"]);
    EXPECT_TRUE(rig.eventsOfType("activePageChanged").empty());

    rig.post("reorder",
             {{"pageID", only}, {"stingIDs", json::array()}});  // unchanged, still answered
    rig.post("reorderPages", {{"pageIDs", json::array()}});
    EXPECT_EQ(rig.eventsOfType("stateSnapshot").size(), 4u);
    rig.post("deletePage", {{"pageID", only}});  // two stings go with it
    EXPECT_EQ(rig.eventsOfType("stateSnapshot").size(), 5u);
    EXPECT_EQ(rig.engine.engine->nodeForTesting(rig.a.id), nullptr);
    EXPECT_EQ(rig.engine.engine->nodeForTesting(rig.b.id), nullptr);
}

TEST(BridgeState, SnapshotsAndWaveformsOnRequest) {
    BridgeRig rig;
    rig.post("requestState");
    ASSERT_EQ(rig.host->scripts.size(), 1u);
    EXPECT_EQ(rig.host->scripts[0],
              "window.brellow.dispatch({type:'stateSnapshot',show:" +
                  encodeShow(rig.document->show(), JsonStyle::compact).value() + "})");

    // Waveforms of 5000 and 1200 stored pairs.
    auto writePeaks = [&](const Sting& sting, std::uint32_t pairs) {
        std::string bytes(16 + 8 * pairs, '\0');
        const std::uint32_t header[4] = {media::kWaveformMagic, 1, 500, pairs};
        std::memcpy(bytes.data(), header, 16);
        brellow::test::writeFile(
            rig.document->workingDirectory().waveforms() / *sting.waveformFilename, bytes);
    };
    writePeaks(rig.a, 5000);
    writePeaks(rig.b, 1200);
    for (const Sting& sting : {rig.a, rig.b}) {
        rig.post("requestWaveform", id(sting));
        for (int i = 0;
             i < 200 && rig.eventsOfType("waveformData").size() < (&sting == &rig.a ? 1u : 2u);
             ++i) {
            g_usleep(1000);
            rig.settle();
        }
    }
    const auto data = rig.eventsOfType("waveformData");
    ASSERT_EQ(data.size(), 2u);
    EXPECT_EQ(data[0]["peaksPerSecond"], 500);
    EXPECT_EQ(data[0]["peaks"].size(), 3200u);
    EXPECT_EQ(data[1]["peaks"].size(), 2400u);
    std::filesystem::remove(rig.document->workingDirectory().waveforms() / *rig.c.waveformFilename);
    rig.post("requestWaveform", id(rig.c));
    g_usleep(20000);
    rig.settle();
    EXPECT_EQ(rig.eventsOfType("waveformData").size(), 2u);
}

TEST(BridgeProtocol, NoOpsAndMalformedBodiesChangeNothingAndSendNothing) {
    BridgeRig rig;
    brellow::test::CapturedLog log;
    const Show before = rig.document->show();
    for (const char* name : {"undo", "redo", "importFiles", "setOutputDevice"})
        rig.post(name);
    EXPECT_TRUE(log.has(LogLevel::debug, "Bridge", "unhandled command undo"));
    rig.post("ready");
    EXPECT_TRUE(log.has(LogLevel::info, "Bridge", "JS bridge ready"));
    rig.post("play", json::object());
    rig.post("setLoop", {{"stingID", rig.a.id.toString()}, {"enabled", "yes"}});
    rig.post("reorder",
             {{"pageID", before.pages[0].id.toString()}, {"stingIDs", {rig.a.id.toString(), 3}}});
    rig.post("rename", {{"stingID", rig.a.id.toString()}, {"name", "   "}});
    rig.post("setTrim", json::array());
    rig.post("renamePage", {{"pageID", Uuid::generate().toString()}, {"name", "X"}});
    EXPECT_TRUE(rig.host->scripts.empty());
    EXPECT_EQ(rig.document->show(), before);
    EXPECT_FALSE(rig.document->isEdited());
    // The three debug lines and "JS bridge ready"; setOutputDevice without a body is a
    // malformed edit and says nothing.
    EXPECT_EQ(log.sink().records().size(), 4u);

    bool skipped = false;
    int tours = 0;
    rig.bridge->onTourEvent = [&](bool flag) {
        skipped = flag;
        ++tours;
    };
    rig.post("brwTour", {{"skipped", true}});
    EXPECT_TRUE(skipped);
    rig.post("brwTour", {{"skipped", "yes"}});
    EXPECT_FALSE(skipped);
    EXPECT_EQ(tours, 2);
}

TEST(BridgeProtocol, RandomBodiesNeverCrashAndLeaveAShowThatStillEncodes) {
    BridgeRig rig;
    std::mt19937 random(5);
    const std::vector<json> pieces = {nullptr,
                                      true,
                                      3,
                                      -1.5,
                                      "x",
                                      rig.a.id.toString(),
                                      rig.b.id.toString(),
                                      rig.document->show().pages[0].id.toString(),
                                      json::array(),
                                      json::object()};
    const std::vector<std::string> keys = {"stingID",  "pageID",  "dB",        "inSec",
                                           "outSec",   "enabled", "key",       "name",
                                           "stingIDs", "pageIDs", "fadeInSec", "fadeOutSec"};
    for (int round = 0; round < 1500; ++round) {
        json body = json::object();
        for (int k = 0; k < 3; ++k) {
            json value = pieces[random() % pieces.size()];
            if (random() % 4 == 0)
                value = json::array(
                    {pieces[random() % pieces.size()], pieces[random() % pieces.size()]});
            body[keys[random() % keys.size()]] = value;
        }
        const std::string name(kCommandNames[random() % kCommandNames.size()]);
        if (name == "play" || name == "requestWaveform")
            continue;  // they only start work elsewhere
        rig.post(name, random() % 10 == 0 ? json(42) : body);
    }
    EXPECT_TRUE(encodeShow(rig.document->show(), JsonStyle::file));
    EXPECT_FALSE(rig.document->show().pages.empty());
}

TEST(BridgePeaks, ReductionKeepsShortListsAndCoversLongOnes) {
    std::vector<float> values;
    for (int p = 0; p < 5; ++p) {
        values.push_back(static_cast<float>(-p));
        values.push_back(static_cast<float>(p));
    }
    EXPECT_EQ(reducePeaks(values, 5), values);
    const auto reduced = reducePeaks(values, 2);  // step 2.5: pairs 0..1 and 2..4
    EXPECT_EQ(reduced, (std::vector<float>{-1, 1, -4, 4}));
    const auto wide = reducePeaks(values, 4);  // step 1.25: the running sum decides the ranges
    ASSERT_EQ(wide.size(), 8u);
    EXPECT_EQ(wide[6], -4.0f);
}

}  // namespace brellow::bridge
