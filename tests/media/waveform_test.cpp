// Waveform peak files, compared with a brute-force computation over the media samples.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <cstring>

#include "media/waveform_renderer.h"
#include "support/test_support.h"

namespace brellow::media {

namespace fs = std::filesystem;

namespace {

fs::path writeMedia(const fs::path& path, int rate, int channels, std::int64_t frames,
                    float (*sample)(std::int64_t frame, int channel)) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_CAF | SF_FORMAT_FLOAT | SF_ENDIAN_LITTLE;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> data(static_cast<std::size_t>(frames * channels));
    for (std::int64_t f = 0; f < frames; ++f) {
        for (int c = 0; c < channels; ++c)
            data[static_cast<std::size_t>(f * channels + c)] = sample(f, c);
    }
    sf_writef_float(file, data.data(), frames);
    sf_close(file);
    return path;
}

float wobble(std::int64_t f, int) {
    const auto t = static_cast<double>(f);
    return static_cast<float>(std::sin(t * 0.013) * std::cos(t * 0.0007));
}

}  // namespace

class Waveform : public ::testing::Test {
  protected:
    test::TempDir dir;
    Uuid id = Uuid::generate();
};

TEST_F(Waveform, PeaksMatchABruteForceComputation) {
    const std::int64_t frames = 48000 * 10 + 37;
    const auto media = writeMedia(dir / "m.caf", 48000, 2, frames, wobble);
    auto name = renderWaveform(media, id, dir.path(), 500);
    ASSERT_TRUE(name);
    EXPECT_EQ(*name, id.toString() + ".bin");
    auto peaks = readWaveform(dir / *name);
    ASSERT_TRUE(peaks);
    EXPECT_EQ(peaks->peaksPerSecond, 500);
    ASSERT_EQ(peaks->values.size(), 5000u * 2);  // 10 s at 500 peaks a second, 96 frames each
    for (std::size_t p = 0; p < 5000; ++p) {
        float low = wobble(static_cast<std::int64_t>(p) * 96, 0), high = low;
        for (std::int64_t f = static_cast<std::int64_t>(p) * 96;
             f < static_cast<std::int64_t>(p + 1) * 96; ++f) {
            low = std::min(low, wobble(f, 0));
            high = std::max(high, wobble(f, 0));
        }
        ASSERT_EQ(peaks->values[p * 2], low) << p;
        ASSERT_EQ(peaks->values[p * 2 + 1], high) << p;
    }
    const std::string bytes = test::readFile(dir / *name);
    EXPECT_EQ(bytes.size(), 16u + 8u * 5000u);
    EXPECT_EQ(bytes.substr(0, 4), std::string("\x31\x46\x57\x53", 4));
}

TEST_F(Waveform, EdgeLengthsAndOnlyTheFirstChannel) {
    // Shorter than one peak period: one peak over everything.
    auto shortMedia = writeMedia(dir / "s.caf", 48000, 1, 50, wobble);
    auto one = readWaveform(dir / *renderWaveform(shortMedia, id, dir.path(), 500));
    ASSERT_TRUE(one);
    EXPECT_EQ(one->values.size(), 2u);
    // 1001 frames at 1000 Hz: 500 slices of 2, the last frame not looked at.
    auto odd = writeMedia(dir / "o.caf", 1000, 1, 1001,
                          [](std::int64_t f, int) { return f == 1000 ? 9.0f : 0.5f; });
    auto five = readWaveform(dir / *renderWaveform(odd, id, dir.path(), 500));
    ASSERT_TRUE(five);
    EXPECT_EQ(five->values.size(), 1000u);
    EXPECT_EQ(*std::max_element(five->values.begin(), five->values.end()), 0.5f);
    // A loud right channel and a silent left one: flat zeros.
    auto right = writeMedia(dir / "r.caf", 48000, 2, 4800,
                            [](std::int64_t, int c) { return c == 1 ? 0.9f : 0.0f; });
    auto flat = readWaveform(dir / *renderWaveform(right, id, dir.path(), 500));
    ASSERT_TRUE(flat);
    for (const float v : flat->values)
        ASSERT_EQ(v, 0.0f);
    EXPECT_FALSE(renderWaveform(dir / "missing.caf", id, dir.path(), 500));
}

TEST_F(Waveform, ReadingRefusesDamagedFiles) {
    auto header = [](std::uint32_t magic, std::uint32_t version, std::uint32_t count) {
        std::string bytes(16, '\0');
        const std::uint32_t fields[4] = {magic, version, 500, count};
        std::memcpy(bytes.data(), fields, 16);
        return bytes;
    };
    test::writeFile(dir / "empty.bin", header(kWaveformMagic, 1, 0));
    auto empty = readWaveform(dir / "empty.bin");
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->values.empty());
    EXPECT_EQ(empty->peaksPerSecond, 500);
    test::writeFile(dir / "v2.bin", header(kWaveformMagic, 2, 0));
    test::writeFile(dir / "magic.bin", header(0x12345678, 1, 0));
    test::writeFile(dir / "claims.bin", header(kWaveformMagic, 1, 3) + std::string(16, '\0'));
    test::writeFile(dir / "short.bin", "SWF1");
    for (const char* name : {"v2.bin", "magic.bin", "claims.bin", "short.bin"}) {
        auto read = readWaveform(dir / name);
        ASSERT_FALSE(read) << name;
        EXPECT_EQ(read.error().code, WaveformError::Code::unreadableSource) << name;
    }
    EXPECT_EQ(readWaveform(dir / "missing.bin").error().code, WaveformError::Code::io);
}

}  // namespace brellow::media
