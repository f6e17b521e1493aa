#pragma once
// An audio file opened for reading through libsndfile. Its processing format is 32-bit float,
// non-interleaved, at the file's rate and channel count.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "audio/graph/audio_error.h"
#include "audio/graph/audio_format.h"
#include "audio/graph/pcm_buffer.h"
#include "base/result.h"

typedef struct sf_private_tag SNDFILE;

namespace brellow::audio {

class AudioFile {
  public:
    static Result<std::unique_ptr<AudioFile>, AudioError> open(const std::filesystem::path& path);
    ~AudioFile();
    AudioFile(const AudioFile&) = delete;
    AudioFile& operator=(const AudioFile&) = delete;

    const std::filesystem::path& path() const { return path_; }
    const AudioFormat& processingFormat() const { return format_; }
    std::int64_t length() const { return frames_; }

    /// Reads from the start into `buffer` up to its capacity; sets its frame length.
    Result<void, AudioError> readInto(PcmBuffer& buffer);

    /// Reads `frames` frames starting at `startFrame` into per-channel arrays `channels`.
    /// Returns the frames read (fewer at the end of the file). Not thread-safe: one reader.
    Result<std::int64_t, AudioError> readRange(std::int64_t startFrame, std::int64_t frames,
                                               float* const* channels);

  private:
    AudioFile(std::filesystem::path path, SNDFILE* file, AudioFormat format, std::int64_t frames);

    std::filesystem::path path_;
    SNDFILE* file_;
    AudioFormat format_;
    std::int64_t frames_;
    std::vector<float> interleaved_;
};

}  // namespace brellow::audio
