#include "base/user_dirs.h"

#include <cstdlib>

namespace brellow {

namespace {

std::filesystem::path xdgDirectory(const char* variable, const char* fallbackBelowHome) {
    // The environment is only read here, never written by the program.
    const char* value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe)
    if (value != nullptr && value[0] == '/') {
        return std::filesystem::path(value) / kBundleIdentifier;
    }
    const char* home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe)
    const std::filesystem::path base =
        home != nullptr && home[0] != '\0' ? std::filesystem::path(home) : "/tmp";
    return base / fallbackBelowHome / kBundleIdentifier;
}

}  // namespace

std::filesystem::path userCacheDirectory() {
    return xdgDirectory("XDG_CACHE_HOME", ".cache");
}

std::filesystem::path userConfigDirectory() {
    return xdgDirectory("XDG_CONFIG_HOME", ".config");
}

std::filesystem::path userDataDirectory() {
    return xdgDirectory("XDG_DATA_HOME", ".local/share");
}

std::filesystem::path recoveryFolder() {
    return userDataDirectory() / "Recovery";
}

std::filesystem::path resourceDirectory(const std::string& name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): read only, never written by the program
    if (const char* root = std::getenv("BRELLOW_RESOURCES"); root != nullptr && *root != '\0') {
        return std::filesystem::path(root) / name;
    }
    // Installed beside the program in share/brellow; in the build tree, the source's.
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    auto installed = self.parent_path().parent_path() / "share/brellow" / name;
    if (!error && std::filesystem::is_directory(installed, error)) return installed;
    return std::filesystem::path(BRELLOW_SOURCE_RESOURCES) / name;
}

}  // namespace brellow
