#include "audio/graph/audio_file.h"

#include <sndfile.h>

#include <algorithm>

namespace brellow::audio {

namespace {

constexpr sf_count_t kChunkFrames = 16384;

AudioError readError(const std::filesystem::path& path, SNDFILE* file) {
    return {AudioError::Code::fileReadFailed,
            "The file “" + path.filename().string() + "” could not be read: " + sf_strerror(file)};
}

}  // namespace

AudioFile::AudioFile(std::filesystem::path path, SNDFILE* file, AudioFormat format,
                     std::int64_t frames)
    : path_(std::move(path)), file_(file), format_(format), frames_(frames) {}

AudioFile::~AudioFile() {
    sf_close(file_);
}

Result<std::unique_ptr<AudioFile>, AudioError> AudioFile::open(const std::filesystem::path& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) {
        return fail(AudioError{AudioError::Code::fileOpenFailed,
                               "The file “" + path.filename().string() +
                                   "” couldn’t be opened: " + sf_strerror(nullptr)});
    }
    if (info.channels <= 0 || info.samplerate <= 0 || info.frames < 0) {
        sf_close(file);
        return fail(AudioError{AudioError::Code::fileOpenFailed,
                               "The file “" + path.filename().string() + "” has no audio"});
    }
    const AudioFormat format{static_cast<double>(info.samplerate),
                             static_cast<std::uint32_t>(info.channels), SampleType::float32};
    return std::unique_ptr<AudioFile>(new AudioFile(path, file, format, info.frames));
}

Result<std::int64_t, AudioError> AudioFile::readRange(std::int64_t startFrame, std::int64_t frames,
                                                      float* const* channels) {
    const std::size_t channelCount = format_.channelCount;
    if (sf_seek(file_, startFrame, SEEK_SET) < 0) return fail(readError(path_, file_));
    interleaved_.resize(static_cast<std::size_t>(kChunkFrames) * channelCount);
    std::int64_t done = 0;
    while (done < frames) {
        const sf_count_t want = std::min<sf_count_t>(kChunkFrames, frames - done);
        const sf_count_t got = sf_readf_float(file_, interleaved_.data(), want);
        if (got < 0) return fail(readError(path_, file_));
        for (std::size_t c = 0; c < channelCount; ++c) {
            float* out = channels[c] + done;
            for (sf_count_t i = 0; i < got; ++i) {
                out[i] = interleaved_[static_cast<std::size_t>(i) * channelCount + c];
            }
        }
        done += got;
        if (got < want) break;
    }
    return done;
}

Result<void, AudioError> AudioFile::readInto(PcmBuffer& buffer) {
    float* const* channels = buffer.floatChannelData();
    if (channels == nullptr || buffer.format().channelCount != format_.channelCount) {
        return fail(AudioError{AudioError::Code::fileReadFailed, "buffer format mismatch"});
    }
    const std::int64_t want = std::min<std::int64_t>(frames_, buffer.frameCapacity());
    auto read = readRange(0, want, channels);
    if (!read) return fail(read.error());
    buffer.setFrameLength(static_cast<std::uint32_t>(*read));
    return {};
}

}  // namespace brellow::audio
