// Segments streamed from a large file play without a gap and without the render thread
// touching the file.
#include <gtest/gtest.h>
#include <sndfile.h>

#include "audio/offline_rig.h"
#include "support/test_support.h"

namespace brellow::audio {

namespace {

constexpr std::int64_t kPattern = 10007;  // prime, so a skipped block cannot line up again

float patternAt(std::int64_t frame) {
    return static_cast<float>(frame % kPattern) / static_cast<float>(kPattern);
}

// A stereo float CAF of about 100 MB whose left channel is a ramp of the frame number.
std::filesystem::path writeLargeFile(const std::filesystem::path& dir, std::int64_t frames) {
    const auto path = dir / "large.caf";
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 2;
    info.format = SF_FORMAT_CAF | SF_FORMAT_FLOAT | SF_ENDIAN_LITTLE;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> chunk(65536 * 2);
    for (std::int64_t start = 0; start < frames; start += 65536) {
        const std::int64_t count = std::min<std::int64_t>(65536, frames - start);
        for (std::int64_t i = 0; i < count; ++i) {
            chunk[static_cast<std::size_t>(i) * 2] = patternAt(start + i);
            chunk[static_cast<std::size_t>(i) * 2 + 1] = -patternAt(start + i);
        }
        sf_writef_float(file, chunk.data(), count);
    }
    sf_close(file);
    return path;
}

}  // namespace

TEST(Streaming, SegmentsOfALargeFilePlayGapFreeAndBackToBack) {
    brellow::test::TempDir dir;
    const std::int64_t frames = 100LL * 1000 * 1000 / 8;  // 100 MB of stereo float
    auto opened = AudioFile::open(writeLargeFile(dir.path(), frames));
    ASSERT_TRUE(opened);
    const AudioFile& file = **opened;
    EXPECT_EQ(file.length(), frames);
    EXPECT_EQ(file.processingFormat(), (AudioFormat{48000, 2, SampleType::float32}));

    test::OfflineRig rig;
    ASSERT_TRUE(rig.engine->start());
    test::Voice voice(*rig.engine, file.processingFormat());
    int completions = 0;
    const std::int64_t first = frames - 500'000;
    voice.player.scheduleSegment(file, first, 240'000, CompletionCallbackType::dataPlayedBack,
                                 [&](CompletionCallbackType) { ++completions; });
    voice.player.scheduleSegment(file, first + 240'000, 240'000,
                                 CompletionCallbackType::dataPlayedBack,
                                 [&](CompletionCallbackType) { ++completions; });
    voice.player.play(rig.driver->hostTimeOfFrame(100));
    rig.render(500'000);

    const auto& left = rig.driver->left();
    const auto& right = rig.driver->right();
    EXPECT_EQ(left[99], 0.0f);
    for (std::int64_t i = 0; i < 480'000; ++i) {
        const auto at = static_cast<std::size_t>(100 + i);
        ASSERT_EQ(left[at], patternAt(first + i)) << "frame " << i;
        ASSERT_EQ(right[at], -patternAt(first + i)) << "frame " << i;
    }
    EXPECT_EQ(left[480'100], 0.0f);
    EXPECT_EQ(completions, 2);
}

TEST(Streaming, AFileThatCannotBeReadPlaysSilenceAndStillCompletes) {
    brellow::test::TempDir dir;
    auto opened = AudioFile::open(writeLargeFile(dir.path(), 48000));
    ASSERT_TRUE(opened);
    std::filesystem::remove(dir / "large.caf");  // gone before the streamer opens it

    test::OfflineRig rig;
    ASSERT_TRUE(rig.engine->start());
    test::Voice voice(*rig.engine, (*opened)->processingFormat());
    int completions = 0;
    voice.player.scheduleSegment(**opened, 0, 1000, CompletionCallbackType::dataPlayedBack,
                                 [&](CompletionCallbackType) { ++completions; });
    voice.player.play();
    rig.render(2048);
    EXPECT_EQ(test::firstSound(rig.driver->left()), -1);
    EXPECT_EQ(completions, 1);
}

TEST(AudioFiles, OpeningSomethingThatIsNotAudioFailsWithAMessage) {
    brellow::test::TempDir dir;
    brellow::test::writeFile(dir / "notes.caf", "just text");
    const auto opened = AudioFile::open(dir / "notes.caf");
    ASSERT_FALSE(opened);
    EXPECT_NE(opened.error().message.find("notes.caf"), std::string::npos);
    EXPECT_FALSE(AudioFile::open(dir / "missing.caf"));
}

}  // namespace brellow::audio
