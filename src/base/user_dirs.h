#pragma once
// Per-user folders, read from the environment on every call so tests can redirect them.
#include <filesystem>
#include <string>

namespace brellow {

inline constexpr const char* kBundleIdentifier = "org.brellow.Brellow";

/// $XDG_CACHE_HOME/org.brellow.Brellow (or ~/.cache/...): scratch space on the user's disk.
std::filesystem::path userCacheDirectory();

/// $XDG_CONFIG_HOME/org.brellow.Brellow (or ~/.config/...): the per-user records.
std::filesystem::path userConfigDirectory();
/// $XDG_DATA_HOME/org.brellow.Brellow (or ~/.local/share/...): kept user data, such as the
/// recovery copies of unsaved shows.
std::filesystem::path userDataDirectory();
/// Where untitled shows are kept until they are saved: userDataDirectory()/Recovery.
std::filesystem::path recoveryFolder();
/// The program's resource folder `name` ("Web", "Demo"): under $BRELLOW_RESOURCES when set,
/// else share/brellow beside the installed program, else the source tree's resources.
std::filesystem::path resourceDirectory(const std::string& name);

}  // namespace brellow
