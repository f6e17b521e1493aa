// brellow-cli when something asked for cannot be done: the exit status says so, and stderr
// says which sting or key, which file, and what to do.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "audio/engine_rig.h"
#include "cli/cli_run.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

using test::cli;
using test::CliRun;

namespace {

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

// A show of "Hit", whose media is there, "Gone", whose media file was lost, and "Mangled",
// whose media file is no audio.
struct BrokenShow {
    test::TempDir dir;
    fs::path package = dir / "Gala.stingshow";
    Sting hit = test::makeSting("Hit");
    Sting gone = test::makeSting("Gone");
    Sting mangled = test::makeSting("Mangled");

    BrokenShow() {
        Show show = makeNewShow();
        show.pages[0].stings = {hit, gone, mangled};
        test::writePackage(package, show);
        audio::test::writeSting(package / "Media" / hit.mediaFilename, 48000, 4800,
                                [](std::int64_t) { return 0.5f; });
        fs::remove(package / "Media" / gone.mediaFilename);
    }
};

}  // namespace

TEST(CliFailures, RenderAndPlaySayWhichStingFailedAndWhyAndExitOne) {
    BrokenShow show;
    const fs::path wav = show.dir / "out.wav";
    const CliRun render = cli({"render", show.package.string(), wav.string(), "--duration", "0.2",
                               "0:play:Hit", "0.05:play:Gone", "0.1:play:Mangled"},
                              show.dir.path());
    EXPECT_EQ(render.exitCode, 1) << render.err;
    const std::string missing = (show.package / "Media" / show.gone.mediaFilename).string();
    EXPECT_NE(render.err.find("\u201cGone\u201d did not play: its media file " + missing +
                              " is missing; re-import its audio (brellow-cli import"),
              std::string::npos)
        << render.err;
    const std::string damaged = (show.package / "Media" / show.mangled.mediaFilename).string();
    EXPECT_NE(render.err.find("\u201cMangled\u201d did not play: its media file " + damaged +
                              " could not be loaded (damaged or unreadable)"),
              std::string::npos)
        << render.err;
    EXPECT_EQ(render.err.find("EngineError"), std::string::npos) << render.err;
    EXPECT_EQ(count(render.err, "brellow-cli: "), 2u) << render.err;  // Hit played
    EXPECT_NE(render.out.find("playbackStarted " + show.hit.id.toString()), std::string::npos);
    EXPECT_TRUE(fs::exists(wav));  // what did play is still rendered

    const CliRun misspelt = cli({"render", show.package.string(), wav.string(), "--duration", "0.1",
                                 "0:play:Hti", "0:master:loud"},
                                show.dir.path());
    EXPECT_EQ(misspelt.exitCode, 1);
    EXPECT_NE(misspelt.err.find("the show has no sting named \u201cHti\u201d"), std::string::npos)
        << misspelt.err;
    EXPECT_NE(misspelt.err.find("(master) not carried out: it is malformed"), std::string::npos)
        << misspelt.err;

    // play: the same words, through the system output (or silently without one).
    const CliRun play = cli({"play", show.package.string(), "Gone"}, show.dir.path());
    EXPECT_EQ(play.exitCode, 1) << play.err;
    EXPECT_NE(play.err.find("\u201cGone\u201d did not play: its media file " + missing),
              std::string::npos)
        << play.err;
    const CliRun unknown = cli({"play", show.package.string(), "Nobody"}, show.dir.path());
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_NE(unknown.err.find("no sting named \u201cNobody\u201d"), std::string::npos);
}

TEST(CliFailures, EditRefusesKeysTheEditDoesNotTakeAndNamesThem) {
    test::TempDir dir;
    const fs::path package = dir / "Gala.stingshow";
    Show show = makeNewShow();
    const Sting sting = test::makeSting("Hit");
    show.pages[0].stings = {sting};
    test::writePackage(package, show);
    const std::string before = test::readFile(package / "show.json");
    const std::string id = sting.id.toString();

    const CliRun misspelt =
        cli({"edit", package.string(), "setTrim", R"({"stingID":")" + id + R"(","inSecs":0.5})"},
            dir.path());
    EXPECT_EQ(misspelt.exitCode, 2);
    EXPECT_EQ(misspelt.err,
              "brellow-cli: edit: setTrim does not take the key \u201cinSecs\u201d (did you mean "
              "\u201cinSec\u201d?); it takes stingID, inSec, outSec\n");
    const CliRun foreign = cli({"edit", package.string(), "setLoop",
                                R"({"stingID":")" + id + R"(","enabled":true,"colour":1})"},
                               dir.path());
    EXPECT_EQ(foreign.exitCode, 2);
    EXPECT_NE(foreign.err.find("\u201ccolour\u201d; it takes stingID, enabled"), std::string::npos)
        << foreign.err;  // nothing near enough to suggest
    EXPECT_EQ(test::readFile(package / "show.json"), before);

    // Every edit accepts every key it reads (whatever the edit then makes of the values).
    const std::string page = show.pages[0].id.toString();
    const std::vector<std::pair<std::string, std::string>> complete = {
        {"setTrim", R"({"stingID":")" + id + R"(","inSec":0.1,"outSec":0.2})"},
        {"setLoop", R"({"stingID":")" + id + R"(","enabled":true})"},
        {"setFade", R"({"stingID":")" + id + R"(","fadeInSec":0.1,"fadeOutSec":0.2})"},
        {"setHotkey", R"({"stingID":")" + id + R"(","key":"q"})"},
        {"rename", R"({"stingID":")" + id + R"(","name":"Bang"})"},
        {"reorder", R"({"pageID":")" + page + R"(","stingIDs":[")" + id + R"("]})"},
        {"setSoloMode", R"({"enabled":false})"},
        {"createPage", R"({"name":"Act 2"})"},
        {"renamePage", R"({"pageID":")" + page + R"(","name":"Act 1"})"},
        {"setActivePage", R"({"pageID":")" + page + R"("})"},
        {"reorderPages", R"({"pageIDs":[")" + page + R"("]})"},
        {"removeSting", R"({"stingID":")" + id + R"("})"},
        {"deletePage", R"({"pageID":")" + page + R"("})"},
    };
    for (const auto& [name, body] : complete) {
        const CliRun run = cli({"edit", package.string(), name, body}, dir.path());
        EXPECT_EQ(run.err.find("does not take"), std::string::npos) << name << ": " << run.err;
        EXPECT_NE(run.exitCode, 2) << name << ": " << run.err;
    }
}

TEST(CliFailures, BridgeAnswersEveryWaveformRequestBeforeItExits) {
    test::TempDir dir;
    const fs::path package = dir / "Demo.stingshow";
    const CliRun made = cli({"new", package.string(), "--demo"}, dir.path());
    ASSERT_EQ(made.exitCode, 0) << made.err;
    const auto show = nlohmann::json::parse(cli({"show", package.string()}, dir.path()).out);
    std::string input;
    std::size_t requests = 0;
    for (int round = 0; round < 4; ++round) {  // more requests than reading threads, at once
        for (const auto& sting : show["pages"][0]["stings"]) {
            input += "requestWaveform {\"stingID\":\"" + sting["id"].get<std::string>() + "\"}\n";
            ++requests;
        }
    }
    ASSERT_GE(requests, 16u);
    const CliRun bridge = cli({"bridge", package.string()}, dir.path(), input);
    EXPECT_EQ(bridge.exitCode, 0) << bridge.err;
    EXPECT_EQ(count(bridge.out, "type\":\"waveformData\""), requests);
}

TEST(CliFailures, VersionAndHelpCoverEveryCommand) {
    test::TempDir dir;
    const CliRun version = cli({"--version"}, dir.path());
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, std::string("brellow-cli ") + BRELLOW_VERSION + "\n");
    const CliRun help = cli({"--help"}, dir.path());
    EXPECT_EQ(help.exitCode, 0);
    for (const char* command : {"new", "show", "resave", "edit", "tone", "play", "render", "import",
                                "peaks", "bridge", "bootstrap", "check-updates"}) {
        EXPECT_NE(help.out.find(std::string("\n  ") + command + " "), std::string::npos) << command;
    }
}

}  // namespace brellow
