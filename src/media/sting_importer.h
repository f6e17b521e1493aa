#pragma once
// Turns an audio file a user drops into a sting: decoded with FFmpeg, written as a 32-bit
// float CAF at the source's own rate and channel count into the working "Media" folder,
// streamed in blocks so that no source is ever read into memory whole.
#include <filesystem>
#include <string>
#include <string_view>

#include "base/result.h"
#include "model/show.h"

namespace brellow::media {

struct ImportError {
    enum class Code {
        writeFailed,
        unreadableSource,
        unsupportedFormat,
        mediaDirectoryUnavailable,
        io
    };
    Code code = Code::unreadableSource;
    std::string message;

    /// For log lines.
    std::string description() const;
};

/// Frames per block read and written.
inline constexpr int kImportBlockFrames = 65536;

/// The new sting (no hotkey or waveform yet) whose media file now lies in `mediaFolder`.
/// A failed import leaves no file behind.
Result<Sting, ImportError> importSting(const std::filesystem::path& source,
                                       const std::filesystem::path& mediaFolder);

/// File name extensions (lower case, without the dot) of the audio formats the importer is
/// made for: WAV, AIFF, FLAC, MP3, AAC/M4A, Ogg Vorbis, Opus, CAF and a few relatives.
bool isImportableExtension(std::string_view extension);

}  // namespace brellow::media
