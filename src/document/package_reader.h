#pragma once
// Reads a ".stingshow" package folder into a show and a working folder.
#include <filesystem>

#include <vector>

#include "base/result.h"
#include "document/document_error.h"
#include "document/media_copier.h"
#include "document/working_directory.h"
#include "model/show.h"

namespace brellow {

class Logger;

/// Largest "show.json" accepted; a real show of a thousand stings is about half a megabyte.
inline constexpr std::size_t kMaxShowJsonBytes = std::size_t{64} << 20;

/// Decodes "show.json", sanitises names, assigns missing hotkeys, and links (or copies) the
/// package's safely named media and waveform files into `working`. Nothing outside `working`
/// is written. With `deferred`, files that would have to be copied (the package is on another
/// file system) are listed there instead, for a MediaCopier.
Result<Show, DocumentError> readPackage(const std::filesystem::path& package,
                                        const WorkingDirectory& working, const Logger& log,
                                        std::vector<PendingCopy>* deferred = nullptr);

}  // namespace brellow
