#pragma once
// Which file names a package may use for media and waveforms: a UUID with the expected
// extension, and nothing that could name another folder.
#include <string_view>

#include "model/show.h"

namespace brellow {

inline constexpr std::string_view kMediaExtension = "caf";
inline constexpr std::string_view kWaveformExtension = "bin";

/// True when `name` is "<UUID>.<extension>" (either letter case) and holds no path separator.
bool isSafeFilename(std::string_view name, std::string_view extension);

class Logger;

/// Clears unsafe waveform names and drops stings with unsafe media names, page by page,
/// logging each at error level. Pages are never removed.
void sanitizeShow(Show& show, const Logger& log);

}  // namespace brellow
