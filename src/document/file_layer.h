#pragma once
// The file operations a save performs, behind one interface so that tests can make any one of
// them fail (no space, I/O error, permission) without a special file system.
#include <cstdint>
#include <filesystem>
#include <string_view>

#include "base/files.h"
#include "base/result.h"

namespace brellow {

class FileLayer {
  public:
    virtual ~FileLayer() = default;

    virtual Result<void, IoError> makeDirectory(const std::filesystem::path& path);
    /// Writes a new file and flushes it to disk; fails if the file exists.
    virtual Result<void, IoError> writeNewFile(const std::filesystem::path& path,
                                               std::string_view bytes);
    /// Hard link, reflink or copy of a file that never changes (see cloneFile).
    virtual Result<CloneMethod, IoError> clone(const std::filesystem::path& from,
                                               const std::filesystem::path& to);
    virtual Result<std::uint64_t, IoError> size(const std::filesystem::path& path);
    virtual Result<void, IoError> syncFile(const std::filesystem::path& path);
    virtual Result<void, IoError> syncDirectory(const std::filesystem::path& path);
};

/// The real file system.
FileLayer& systemFileLayer();

}  // namespace brellow
