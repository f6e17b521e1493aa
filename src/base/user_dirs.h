#pragma once
// Per-user folders, read from the environment on every call so tests can redirect them.
#include <filesystem>

namespace brellow {

inline constexpr const char* kBundleIdentifier = "org.brellow.Brellow";

/// $XDG_CACHE_HOME/org.brellow.Brellow (or ~/.cache/...): scratch space on the user's disk.
std::filesystem::path userCacheDirectory();

/// $XDG_CONFIG_HOME/org.brellow.Brellow (or ~/.config/...): the per-user records.
std::filesystem::path userConfigDirectory();

}  // namespace brellow
