// brellow-cli as a user runs it: real processes, real packages.
#include <sys/mount.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "audio/engine_rig.h"
#include "cli/cli_run.h"
#include "model/show_codec.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

using test::cli;
using test::CliRun;

TEST(Cli, CreatesEditsShowsAndResavesAPackage) {
    test::TempDir dir;
    const fs::path package = dir / "Gala.stingshow";
    ASSERT_EQ(cli({"new", (dir / "Gala").string(), "--name", "Gala / Night"}, dir.path()).exitCode,
              0);
    ASSERT_TRUE(fs::is_directory(package / "Media"));
    EXPECT_NE(test::readFile(package / "show.json").find("Gala \\/ Night"), std::string::npos);

    const CliRun created =
        cli({"edit", package.string(), "createPage", R"({"name":" Act 2 "})"}, dir.path());
    ASSERT_EQ(created.exitCode, 0) << created.err;
    const CliRun shown = cli({"show", package.string()}, dir.path());
    ASSERT_EQ(shown.exitCode, 0);
    const auto show = nlohmann::json::parse(shown.out);
    EXPECT_EQ(show["pages"].size(), 2u);
    EXPECT_EQ(show["pages"][1]["name"], "Act 2");
    EXPECT_EQ(show["activePageID"].get<std::string>() + "\n", created.out);

    const fs::path copy = dir / "Copy.stingshow";
    ASSERT_EQ(cli({"resave", package.string(), copy.string()}, dir.path()).exitCode, 0);
    EXPECT_EQ(test::readFile(copy / "show.json"), test::readFile(package / "show.json"));
    EXPECT_TRUE(fs::is_empty(dir / "cache" / "org.brellow.Brellow"));  // working folders removed
}

TEST(Cli, FailuresSayWhyAndTouchNothing) {
    test::TempDir dir;
    const fs::path package = dir / "Gala.stingshow";
    ASSERT_EQ(cli({"new", package.string()}, dir.path()).exitCode, 0);
    const std::string before = test::readFile(package / "show.json");

    const CliRun missing = cli({"show", (dir / "none.stingshow").string()}, dir.path());
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err, "brellow-cli: show.json missing or unreadable\n");

    EXPECT_EQ(cli({"new", package.string()}, dir.path()).exitCode, 1);
    EXPECT_EQ(cli({"edit", package.string(), "setLoop", "{}"}, dir.path()).exitCode, 2);
    EXPECT_EQ(cli({"edit", package.string(), "play", "{}"}, dir.path()).exitCode, 2);
    EXPECT_EQ(cli({"edit", package.string(), "rename", "{not json"}, dir.path()).exitCode, 2);
    const CliRun unknown = cli({"edit", package.string(), "renamePage",
                                R"({"pageID":"11111111-2222-3333-4444-555555555555","name":"X"})"},
                               dir.path());
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_NE(unknown.err.find("nothing changed"), std::string::npos);
    EXPECT_EQ(cli({"frobnicate"}, dir.path()).exitCode, 2);
    EXPECT_EQ(test::readFile(package / "show.json"), before);
}

TEST(Cli, ListsAndRestoresVersions) {
    test::TempDir dir;
    const fs::path package = dir / "Gala.stingshow";
    ASSERT_EQ(cli({"new", package.string(), "--name", "First"}, dir.path()).exitCode, 0);
    EXPECT_EQ(cli({"versions", package.string()}, dir.path()).out, "");
    ASSERT_EQ(
        cli({"edit", package.string(), "createPage", R"({"name":"Act 2"})"}, dir.path()).exitCode,
        0);
    const CliRun listed = cli({"versions", package.string()}, dir.path());
    ASSERT_EQ(listed.exitCode, 0) << listed.err;
    EXPECT_TRUE(listed.out.starts_with("1\t")) << listed.out;
    EXPECT_NE(listed.out.find("\t0 sting(s)\n"), std::string::npos) << listed.out;

    ASSERT_EQ(cli({"restore", package.string(), "1"}, dir.path()).exitCode, 0);
    EXPECT_EQ(
        nlohmann::json::parse(cli({"show", package.string()}, dir.path()).out)["pages"].size(), 1u);
    // The restore is undone by restoring the version it made.
    ASSERT_EQ(cli({"restore", package.string(), "1"}, dir.path()).exitCode, 0);
    EXPECT_EQ(
        nlohmann::json::parse(cli({"show", package.string()}, dir.path()).out)["pages"].size(), 2u);

    const CliRun missing = cli({"restore", package.string(), "nonesuch"}, dir.path());
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("No kept version nonesuch"), std::string::npos) << missing.err;
}

TEST(Cli, ASaveThatRunsOutOfSpaceExitsWithTheReason) {
    test::TempDir dir;
    const fs::path stick = dir / "stick";
    fs::create_directories(stick);
    if (::mount("tmpfs", stick.c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "cannot mount a tmpfs here (needs root)";
    }
    const fs::path package = dir / "Big.stingshow";
    Show show = makeNewShow();
    const Sting big = test::makeSting("Big");
    show.pages[0].stings = {big};
    test::writePackage(package, show);
    test::writeFile(package / "Media" / big.mediaFilename, std::string(256 * 1024, 'x'));

    const CliRun run =
        cli({"resave", package.string(), (stick / "Copy.stingshow").string()}, dir.path());
    const bool emptyAfter = fs::is_empty(stick);
    ::umount2(stick.c_str(), MNT_DETACH);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("No space left on device"), std::string::npos) << run.err;
    EXPECT_TRUE(emptyAfter) << "a partial package was left";
}

TEST(Cli, VerboseSendsLogLinesToStderr) {
    test::TempDir dir;
    const fs::path package = dir / "Gala.stingshow";
    ASSERT_EQ(cli({"new", package.string()}, dir.path()).exitCode, 0);
    const CliRun quiet = cli({"show", package.string()}, dir.path());
    const CliRun verbose = cli({"--verbose", "show", package.string()}, dir.path());
    EXPECT_EQ(verbose.err.find("Opened show with 1 page(s), 0 sting(s)") != std::string::npos,
              true);
    EXPECT_EQ(quiet.err.find("Opened show"), std::string::npos);
}

TEST(Cli, RenderPlaysAShowOfflineWithTimedActionsAndPrintsItsEvents) {
    test::TempDir dir;
    const fs::path package = dir / "Render.stingshow";
    Show show = makeNewShow();
    Sting hit = test::makeSting("Hit");
    Sting bed = test::makeSting("Bed");
    bed.loop = true;
    show.pages[0].stings = {hit, bed};
    test::writePackage(package, show);
    audio::test::writeSting(package / "Media" / hit.mediaFilename, 48000, 48000,
                            [](std::int64_t) { return 0.5f; });
    audio::test::writeSting(package / "Media" / bed.mediaFilename, 44100, 4410,
                            [](std::int64_t) { return 0.25f; });

    const fs::path wav = dir / "out.wav";
    const CliRun run =
        cli({"render", package.string(), wav.string(), "--duration", "2", "0:play:Hit",
             "0.5:master:-6", "1.2:play:" + test::toLower(bed.id.toString()), "1.5:stopall"},
            dir.path());
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::string hitID = hit.id.toString(), bedID = bed.id.toString();
    EXPECT_NE(run.out.find("0.000000 playbackStarted " + hitID + " hostTime="), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("playbackStopped " + hitID + " reason=completed"), std::string::npos);
    EXPECT_NE(run.out.find("playbackStarted " + bedID), std::string::npos);
    EXPECT_NE(run.out.find("playbackStopped " + bedID + " reason=user"), std::string::npos);

    auto rendered = audio::AudioFile::open(wav);
    ASSERT_TRUE(rendered);
    EXPECT_EQ((*rendered)->length(), 96000);
    std::vector<float> left(96000), right(96000);
    float* channels[2] = {left.data(), right.data()};
    ASSERT_TRUE((*rendered)->readRange(0, 96000, channels));
    EXPECT_FLOAT_EQ(left[12000], 0.5f);
    EXPECT_NEAR(left[36000], 0.5f * 0.501f, 0.001f);    // the master at -6 dB
    EXPECT_EQ(left[52800], 0.0f);                       // Hit ended at 1.005 s
    EXPECT_NEAR(right[64000], 0.25f * 0.501f, 0.002f);  // the converted loop
    EXPECT_EQ(left[80000], 0.0f);                       // stopped at 1.5 s

    const CliRun bad =
        cli({"render", package.string(), wav.string(), "--duration", "0.1", "0:play:Nobody"},
            dir.path());
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_NE(bad.err.find("not carried out"), std::string::npos);
}

TEST(Cli, RenderPlaysAConvertedStingToItsLastFrameFromMemoryOrFromItsFile) {
    test::TempDir dir;
    const fs::path package = dir / "Rates.stingshow";
    Show show = makeNewShow();
    Sting hit = test::makeSting("Hit");
    show.pages[0].stings = {hit};
    test::writePackage(package, show);
    const std::int64_t frames = 22087;  // half a second and a bit at 44.1 kHz
    audio::test::writeSting(package / "Media" / hit.mediaFilename, 44100, frames,
                            [](std::int64_t) { return 0.5f; });
    for (const char* limit : {"52428800", "1000"}) {  // in memory, streamed
        const fs::path wav = dir / "out.wav";
        const CliRun run = cli({"render", package.string(), wav.string(), "--duration", "1",
                                "--rate", "48000", "--memory-limit", limit, "0:play:Hit"},
                               dir.path());
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const auto completed = run.out.find("reason=completed");
        ASSERT_NE(completed, std::string::npos) << run.out;
        const double completedAt = std::stod(run.out.substr(run.out.rfind('\n', completed) + 1));

        auto rendered = audio::AudioFile::open(wav);
        ASSERT_TRUE(rendered);
        std::vector<float> left(48000), right(48000);
        float* channels[2] = {left.data(), right.data()};
        ASSERT_TRUE((*rendered)->readRange(0, 48000, channels));
        long loud = 0, last = 0;
        for (long i = 0; i < 48000; ++i) {
            if (left[static_cast<std::size_t>(i)] > 0.25f) {
                ++loud;
                last = i;
            }
        }
        // Every frame of the sting at the output rate, and completed once the last was heard.
        EXPECT_NEAR(static_cast<double>(loud), frames * 48000.0 / 44100.0, 2.0) << limit;
        EXPECT_GE(completedAt, static_cast<double>(last) / 48000.0) << limit;
        EXPECT_LT(completedAt, static_cast<double>(last) / 48000.0 + 0.02) << limit;
    }
}

}  // namespace brellow
