#pragma once
// Writes a show and its working folder as a ".stingshow" package through a save transaction
// (save_transaction.h): all or nothing, crash-safe, keeping the replaced package as a version.
// Media never change once written, so they are hard-linked (or reflinked) rather than copied,
// and a file the replaced package already holds is linked from there.
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "document/document_error.h"
#include "document/file_layer.h"
#include "document/save_transaction.h"
#include "document/working_directory.h"
#include "model/show.h"

namespace brellow {

/// Where files missing from the working folder may still be found (see PackageContents).
struct SaveSources {
    std::vector<std::filesystem::path> fallbackPackages;
    std::set<std::string> knownMissing;
};

Result<SaveReport, DocumentError> writePackage(const Show& show, const WorkingDirectory& working,
                                               const std::filesystem::path& destination,
                                               const SaveSources& sources = {},
                                               FileLayer& files = systemFileLayer(),
                                               const SaveCheckpoint& checkpoint = {});

/// The media and waveform file names a show refers to.
std::set<std::string> namedMediaFiles(const Show& show);
std::set<std::string> namedWaveformFiles(const Show& show);

/// The package name for a display name: kept when it ends with ".stingshow", else extended.
std::string preferredPackageName(std::string_view displayName);

inline constexpr std::string_view kPackageExtension = ".stingshow";

}  // namespace brellow
