#pragma once
// File-system operations with typed errors: whole-file reads, crash-safe replacement, cheap
// cloning of files that never change (hard link, then reflink, then copy), and fsync helpers.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "base/result.h"

namespace brellow {

struct IoError {
    int errorNumber = 0;  // errno value
    std::string message;  // "operation path: reason"

    static IoError fromErrno(std::string_view operation, const std::filesystem::path& path,
                             int errorNumber);
};

/// Reads a regular file (symbolic links are refused) of at most `maxBytes` bytes.
Result<std::string, IoError> readRegularFile(const std::filesystem::path& path,
                                             std::size_t maxBytes);

/// Writes `bytes` to a new file and syncs it; fails if the file exists.
Result<void, IoError> writeNewFileSynced(const std::filesystem::path& path, std::string_view bytes);

/// Replaces `path` so that a reader sees either the old or the new contents, never a mix:
/// writes a temporary file beside it, syncs it, renames it over `path`, syncs the folder.
Result<void, IoError> replaceFileAtomically(const std::filesystem::path& path,
                                            std::string_view bytes);

/// How `cloneFile` produced the copy.
enum class CloneMethod { hardLink, reflink, copy };

/// Makes `destination` hold the contents of the regular file `source`, replacing any file
/// there. Hard-links when possible, reflinks across hard-link boundaries, and copies only
/// when neither works (another file system). Only for files that are never modified in place.
Result<CloneMethod, IoError> cloneFile(const std::filesystem::path& source,
                                       const std::filesystem::path& destination);

Result<void, IoError> syncDirectory(const std::filesystem::path& path);

/// Flushes a file's data and metadata to disk.
Result<void, IoError> syncFile(const std::filesystem::path& path);

/// The size of a regular file, without following a symbolic link (which is an error).
Result<std::uint64_t, IoError> regularFileSize(const std::filesystem::path& path);

/// Removes a whole tree without following symbolic links; errors are ignored.
void removeTreeQuietly(const std::filesystem::path& path) noexcept;

/// True when `path` is a regular file (not a symbolic link to one).
bool isRegularFileNoFollow(const std::filesystem::path& path);

}  // namespace brellow
