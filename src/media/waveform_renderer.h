#pragma once
// Waveform peak files: the lowest and highest sample of the first channel per slice of time,
// stored little-endian after a 16-byte header (magic 0x53574631, version 1, peaks per second,
// peak count).
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "base/result.h"
#include "base/uuid.h"

namespace brellow::media {

struct WaveformError {
    enum class Code { writeFailed, unreadableSource, io };
    Code code = Code::unreadableSource;
    std::string message;
};

struct Peaks {
    std::int32_t peaksPerSecond = 0;
    std::vector<float> values;  // min, max, min, max, ... in time order
};

inline constexpr std::uint32_t kWaveformMagic = 0x53574631;
inline constexpr std::uint32_t kImportPeaksPerSecond = 500;

/// Renders the waveform of `media` into "<stingID>.bin" in `waveformsFolder`, replacing any
/// earlier file atomically; returns the file name.
Result<std::string, WaveformError> renderWaveform(const std::filesystem::path& media,
                                                  const Uuid& stingID,
                                                  const std::filesystem::path& waveformsFolder,
                                                  std::uint32_t peaksPerSecond);

/// Reads a waveform file back; bytes beyond the peaks it declares are ignored.
Result<Peaks, WaveformError> readWaveform(const std::filesystem::path& file);

}  // namespace brellow::media
