#include "document/file_layer.h"

#include <sys/stat.h>

#include <cerrno>

namespace brellow {

Result<void, IoError> FileLayer::makeDirectory(const std::filesystem::path& path) {
    if (::mkdir(path.c_str(), 0755) != 0) return fail(IoError::fromErrno("mkdir", path, errno));
    return {};
}

Result<void, IoError> FileLayer::writeNewFile(const std::filesystem::path& path,
                                              std::string_view bytes) {
    return writeNewFileSynced(path, bytes);
}

Result<CloneMethod, IoError> FileLayer::clone(const std::filesystem::path& from,
                                              const std::filesystem::path& to) {
    return cloneFile(from, to);
}

Result<std::uint64_t, IoError> FileLayer::size(const std::filesystem::path& path) {
    return regularFileSize(path);
}

Result<void, IoError> FileLayer::syncFile(const std::filesystem::path& path) {
    return brellow::syncFile(path);
}

Result<void, IoError> FileLayer::syncDirectory(const std::filesystem::path& path) {
    return brellow::syncDirectory(path);
}

FileLayer& systemFileLayer() {
    static FileLayer layer;
    return layer;
}

}  // namespace brellow
