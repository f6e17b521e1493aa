#include "media/waveform_renderer.h"

#include <algorithm>
#include <cstring>

#include <sndfile.h>

#include "base/files.h"
#include "base/log.h"

namespace brellow::media {

namespace {

void appendLittleEndian32(std::string& bytes, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<char>((value >> shift) & 0xFF));
}

std::uint32_t readLittleEndian32(const std::string& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i) {
        value =
            (value << 8) | static_cast<unsigned char>(bytes[offset + static_cast<std::size_t>(i)]);
    }
    return value;
}

WaveformError unreadable(const std::string& why) {
    return {WaveformError::Code::unreadableSource, why};
}

}  // namespace

Result<std::string, WaveformError> renderWaveform(const std::filesystem::path& media,
                                                  const Uuid& stingID,
                                                  const std::filesystem::path& waveformsFolder,
                                                  std::uint32_t peaksPerSecond) {
    SF_INFO info{};
    SNDFILE* file = sf_open(media.c_str(), SFM_READ, &info);
    if (file == nullptr) return fail(unreadable("cannot open " + media.filename().string()));
    const std::int64_t length = info.frames;
    if (length < 1 || info.samplerate <= 0 || info.channels <= 0) {
        sf_close(file);
        return fail(unreadable(media.filename().string() + " holds no audio"));
    }
    const auto target =
        static_cast<std::int64_t>(static_cast<double>(length) / info.samplerate * peaksPerSecond);
    const std::int64_t peakCount = std::max<std::int64_t>(target, 1);
    const std::int64_t framesPerPeak = std::max<std::int64_t>(length / peakCount, 1);
    const std::int64_t bufferFrames = std::min<std::int64_t>(framesPerPeak * 64, 65536);
    const auto channels = static_cast<std::size_t>(info.channels);
    std::vector<float> buffer(static_cast<std::size_t>(bufferFrames) * channels);

    std::vector<float> peaks;
    peaks.reserve(static_cast<std::size_t>(peakCount) * 2);
    float low = 0, high = 0;
    std::int64_t inSlice = 0, position = 0;
    while (position < length && static_cast<std::int64_t>(peaks.size() / 2) < peakCount) {
        const sf_count_t got = sf_readf_float(file, buffer.data(), bufferFrames);
        if (got <= 0) break;
        position += got;
        for (sf_count_t i = 0; i < got; ++i) {
            const float sample =
                buffer[static_cast<std::size_t>(i) * channels];  // first channel only
            if (inSlice == 0) {
                low = high = sample;
            } else {
                low = std::min(low, sample);
                high = std::max(high, sample);
            }
            if (++inSlice < framesPerPeak) continue;
            peaks.push_back(low);
            peaks.push_back(high);
            inSlice = 0;
            if (static_cast<std::int64_t>(peaks.size() / 2) >= target) break;
        }
    }
    sf_close(file);
    if (inSlice > 0 && static_cast<std::int64_t>(peaks.size() / 2) < peakCount) {
        peaks.push_back(low);
        peaks.push_back(high);
    }

    std::string bytes;
    bytes.reserve(16 + peaks.size() * 4);
    appendLittleEndian32(bytes, kWaveformMagic);
    appendLittleEndian32(bytes, 1);
    appendLittleEndian32(bytes, peaksPerSecond);
    appendLittleEndian32(bytes, static_cast<std::uint32_t>(peaks.size() / 2));
    for (const float value : peaks) {
        std::uint32_t raw = 0;
        std::memcpy(&raw, &value, sizeof raw);
        appendLittleEndian32(bytes, raw);
    }
    const std::string name = stingID.toString() + ".bin";
    if (auto written = replaceFileAtomically(waveformsFolder / name, bytes); !written) {
        return fail(WaveformError{WaveformError::Code::writeFailed, written.error().message});
    }
    Logger("Waveform")
        .notice("Wrote waveform %s peaks=%ld", name.c_str(), static_cast<long>(peaks.size() / 2));
    return name;
}

Result<Peaks, WaveformError> readWaveform(const std::filesystem::path& file) {
    // A waveform of an hour at 500 peaks a second is 14 MB; anything far larger is not one.
    auto bytes = readRegularFile(file, std::size_t{256} << 20);
    if (!bytes) return fail(WaveformError{WaveformError::Code::io, bytes.error().message});
    const std::string& data = *bytes;
    if (data.size() < 16) return fail(unreadable("waveform file too short"));
    if (readLittleEndian32(data, 0) != kWaveformMagic)
        return fail(unreadable("not a waveform file"));
    if (readLittleEndian32(data, 4) != 1) return fail(unreadable("unknown waveform version"));
    Peaks peaks;
    peaks.peaksPerSecond = static_cast<std::int32_t>(readLittleEndian32(data, 8));
    const auto count = static_cast<std::int32_t>(readLittleEndian32(data, 12));
    if (count < 0 || data.size() < 16 + std::size_t{8} * static_cast<std::size_t>(count)) {
        return fail(unreadable("waveform file shorter than its peaks"));
    }
    peaks.values.resize(static_cast<std::size_t>(count) * 2);
    for (std::size_t i = 0; i < peaks.values.size(); ++i) {
        const std::uint32_t raw = readLittleEndian32(data, 16 + i * 4);
        std::memcpy(&peaks.values[i], &raw, sizeof raw);
    }
    return peaks;
}

}  // namespace brellow::media
