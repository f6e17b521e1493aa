#pragma once
// One save of a package as a transaction: build a hidden staging package beside the
// destination, check it, flush it, swap it in with one rename, flush again. Any failure before
// the swap removes the staging package and leaves the destination exactly as it was.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "document/document_error.h"
#include "document/file_layer.h"

namespace brellow {

/// Called after each step that changes the disk; tests use it to stop a save part-way.
using SaveCheckpoint = std::function<void(std::string_view step)>;

/// Everything a save puts into the package, decided before any file is touched.
struct PackageContents {
    std::string showJson;
    /// The working copy: every regular file of these folders goes into the package.
    std::filesystem::path workingMedia;
    std::filesystem::path workingWaveforms;
    /// Files that show.json names, by folder.
    std::set<std::string> namedMedia;
    std::set<std::string> namedWaveforms;
    /// Packages that may hold named files the working copy lacks (a file's name identifies
    /// its contents: media never change once written). The destination is always searched.
    std::vector<std::filesystem::path> fallbackPackages;
    /// Named files that were already missing when the show was opened: a save cannot make
    /// them come back, so their absence does not fail it.
    std::set<std::string> knownMissing;
};

/// What a save did with the files; the benchmarks and tests read it.
struct SaveReport {
    std::size_t reusedFromOldPackage = 0;  // hard-linked from the package being replaced
    std::size_t fromWorkingCopy = 0;       // hard-linked, reflinked or copied from working
    std::size_t copied = 0;                // of those, copied byte by byte
    std::uint64_t copiedBytes = 0;
    std::size_t fromFallback = 0;  // named files the working copy lacked
    bool versionKept = false;
};

Result<SaveReport, DocumentError> savePackage(const PackageContents& contents,
                                              const std::filesystem::path& destination,
                                              FileLayer& files, const SaveCheckpoint& checkpoint);

/// Tidies what a crashed save left beside `package`, putting back a package that was moved
/// aside and not yet replaced, and the versions of one that was. Saving does this itself;
/// opening calls it first.
void recoverInterruptedSave(const std::filesystem::path& package);

}  // namespace brellow
