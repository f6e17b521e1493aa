// Importing real files of every common kind, checked by an independent reader (ffprobe), and
// what bad input gets.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <array>
#include <cstdio>
#include <fstream>

#include "media/sting_importer.h"
#include "support/test_support.h"

namespace brellow::media {

namespace fs = std::filesystem;

namespace {

std::string run(const std::string& command) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 512> buffer{};
    while (const std::size_t got = fread(buffer.data(), 1, buffer.size(), pipe))
        out.append(buffer.data(), got);
    pclose(pipe);
    return out;
}

// A one-second 440 Hz tone made by ffmpeg; `encoder` picks the format.
fs::path makeTone(const fs::path& dir, const std::string& name, int rate, int channels,
                  const std::string& encoder) {
    const fs::path path = dir / name;
    run("ffmpeg -v error -y -f lavfi -i sine=frequency=440:sample_rate=" + std::to_string(rate) +
        ":duration=1 -ac " + std::to_string(channels) + " " + encoder + " '" + path.string() + "'");
    return path;
}

struct Probe {
    std::string codec;
    int rate = 0;
    int channels = 0;
    double seconds = 0;
};

Probe probe(const fs::path& file) {
    const std::string out =
        run("ffprobe -v error -select_streams a:0 -show_entries "
            "stream=codec_name,sample_rate,channels,duration -of csv=p=0 '" +
            file.string() + "'");
    Probe result;
    char codec[64] = {};
    std::sscanf(out.c_str(), "%63[^,],%d,%d,%lf", codec, &result.rate, &result.channels,
                &result.seconds);
    result.codec = codec;
    return result;
}

// A one-second mono 16-bit WAV with the plain 44-byte header.
fs::path makePlainWav(const fs::path& dir, const std::string& name) {
    const fs::path path = dir / name;
    run("sox -n -r 48000 -c 1 -b 16 '" + path.string() + "' synth 1 sine 440");
    return path;
}

}  // namespace

class Importer : public ::testing::Test {
  protected:
    void SetUp() override { fs::create_directories(media); }
    test::TempDir dir;
    fs::path media = dir / "Media";
};

TEST_F(Importer, EveryCommonFormatBecomesAFloatCafAtTheSourcesRateAndChannels) {
    struct Case {
        const char* name;
        int rate, channels;
        const char* encoder;
        int expectRate;
    };
    const std::vector<Case> cases = {
        {"pcm16.wav", 44100, 2, "-c:a pcm_s16le", 44100},
        {"pcm24.wav", 96000, 1, "-c:a pcm_s24le", 96000},
        {"pcm32.wav", 48000, 2, "-c:a pcm_s32le", 48000},
        {"float.wav", 22050, 1, "-c:a pcm_f32le", 22050},
        {"tone.aiff", 44100, 2, "", 44100},
        {"tone.flac", 96000, 6, "", 96000},
        {"tone.mp3", 44100, 2, "-c:a libmp3lame", 44100},
        {"tone.m4a", 48000, 2, "-c:a aac", 48000},
        {"surround.m4a", 48000, 6, "-c:a aac", 48000},
        {"tone.ogg", 22050, 2, "-c:a libvorbis", 22050},
        {"tone.opus", 48000, 2, "-c:a libopus", 48000},
        {"tone.caf", 44100, 1, "-c:a pcm_s16le", 44100},
    };
    for (const Case& c : cases) {
        const fs::path source = makeTone(dir.path(), c.name, c.rate, c.channels, c.encoder);
        auto imported = importSting(source, media);
        ASSERT_TRUE(imported) << c.name << ": " << imported.error().description();
        EXPECT_EQ(imported->name, fs::path(c.name).stem().string());
        EXPECT_EQ(imported->mediaFilename, imported->id.toString() + ".caf");
        EXPECT_FALSE(imported->hotkey);
        const Probe written = probe(media / imported->mediaFilename);
        EXPECT_EQ(written.codec, "pcm_f32le") << c.name;
        EXPECT_EQ(written.rate, c.expectRate) << c.name;
        EXPECT_EQ(written.channels, c.channels) << c.name;
        // Encoders add a little priming and padding; the length is what was decoded.
        EXPECT_NEAR(written.seconds, 1.0, 0.06) << c.name;
        EXPECT_NEAR(imported->durationSec, written.seconds, 0.001) << c.name;
    }
}

TEST_F(Importer, BadFilesFailWithoutLeavingAnythingBehind) {
    test::writeFile(dir / "text.wav", "this is not audio at all");
    test::writeFile(dir / "empty.wav", "");
    fs::create_directories(dir / "folder.wav");
    // A WAV header alone.
    const fs::path full = makePlainWav(dir.path(), "full.wav");
    test::writeFile(dir / "header.wav", test::readFile(full).substr(0, 44));
    for (const char* name : {"text.wav", "empty.wav", "folder.wav", "header.wav", "missing.wav"}) {
        auto imported = importSting(dir / name, media);
        ASSERT_FALSE(imported) << name;
        EXPECT_EQ(imported.error().code, ImportError::Code::unreadableSource) << name;
    }
    EXPECT_TRUE(fs::is_empty(media));
    const auto noFolder = importSting(full, dir / "NoMedia");
    ASSERT_FALSE(noFolder);
    EXPECT_EQ(noFolder.error().code, ImportError::Code::mediaDirectoryUnavailable);
}

TEST_F(Importer, AHeaderClaimingAbsurdSizesImportsWhatIsReallyThere) {
    const fs::path full = makePlainWav(dir.path(), "full.wav");
    std::string bytes = test::readFile(full);
    bytes.resize(44 + 2000);                                          // 1000 frames really there
    for (const std::size_t at : {std::size_t{4}, std::size_t{40}}) {  // RIFF and data sizes
        bytes[at] = bytes[at + 1] = bytes[at + 2] = bytes[at + 3] = '\xFF';
    }
    test::writeFile(dir / "liar.wav", bytes);
    auto imported = importSting(dir / "liar.wav", media);
    ASSERT_TRUE(imported) << imported.error().description();
    EXPECT_NEAR(imported->durationSec, 1000.0 / 48000.0, 1e-9);
}

TEST(ImporterCli, AFullDiskFailsThatFileAndTheOthersStillImport) {
    test::TempDir dir;
    const fs::path package = dir / "Show.stingshow";
    const std::string cli = BRELLOW_CLI;
    run(cli + " new '" + package.string() + "'");
    const fs::path big = makeTone(dir.path(), "big.wav", 48000, 2, "-c:a pcm_s16le");
    run("ffmpeg -v error -y -f lavfi -i sine=duration=0.02 '" + (dir / "small.wav").string() + "'");
    // A 64 KiB file-size limit stands in for a full disk: the big file's media cannot be written.
    const std::string out =
        run("cd '" + dir.path().string() + "' && XDG_CACHE_HOME='" + (dir / "cache").string() +
            "' bash -c \"ulimit -f 64; " + cli + " import Show.stingshow big.wav small.wav\" 2>&1");
    EXPECT_NE(out.find("Couldn't import “big.wav”."), std::string::npos) << out;
    EXPECT_NE(out.find("1 of 2 imported"), std::string::npos) << out;
    std::size_t mediaFiles = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(package / "Media"))
        ++mediaFiles;
    EXPECT_EQ(mediaFiles, 1u);  // no partial file of the failed import
}

}  // namespace brellow::media
