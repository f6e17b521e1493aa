#pragma once
// Earlier versions of a package, kept inside it in a "Versions" folder. Each version is the
// whole package a save replaced (show.json, Media, Waveforms), moved there by rename: on one
// file system it costs no copying, and its media are hard links to the same files as the
// current package's, so it takes about the size of its show.json. Readers that know nothing
// of versions ignore the folder.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "document/document_error.h"

namespace brellow {

inline constexpr std::string_view kVersionsFolder = "Versions";
/// How many earlier versions a package keeps; older ones are removed by the save that
/// adds a new one.
inline constexpr std::size_t kKeptVersions = 20;

struct PackageVersion {
    std::string id;                  // folder name, sortable by time ("20261123T101500.123Z")
    std::int64_t savedAtUnixMs = 0;  // when this version was saved
    std::optional<std::size_t> stingCount;  // absent when its show.json cannot be read
    std::filesystem::path folder;
};

/// The kept versions, newest first. A package without versions has none.
Result<std::vector<PackageVersion>, DocumentError> listVersions(
    const std::filesystem::path& package);

/// A version by its id, or by its position in the list ("1" is the newest).
Result<PackageVersion, DocumentError> findVersion(const std::filesystem::path& package,
                                                  std::string_view idOrPosition);

/// After a save swapped `package` in and moved the replaced one to `replaced`: carries the
/// replaced package's versions over, keeps the replaced package itself as the newest version,
/// and removes versions beyond `kKeptVersions`.
Result<void, DocumentError> keepReplacedPackageAsVersion(const std::filesystem::path& package,
                                                         const std::filesystem::path& replaced);

/// The id a version saved at `unixMs` gets.
std::string versionIdFor(std::int64_t unixMs);

}  // namespace brellow
