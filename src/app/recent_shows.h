#pragma once
// The shows used lately, kept in the desktop's shared list of recently used files (GTK's
// recently-used.xbel), so file managers and the start window see the same list.
#include <cstddef>
#include <filesystem>
#include <vector>

namespace brellow::app {

inline constexpr const char* kShowMimeType = "application/x-brellow-show";

/// Adds `package` to the recently used list (or moves it to the top).
void rememberRecentShow(const std::filesystem::path& package);

/// Up to `limit` show packages from the recently used list, most recent first; packages that
/// no longer exist are left out.
std::vector<std::filesystem::path> recentShows(std::size_t limit);

}  // namespace brellow::app
