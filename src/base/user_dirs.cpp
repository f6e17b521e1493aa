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

}  // namespace brellow
