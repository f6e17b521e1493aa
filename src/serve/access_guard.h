#pragma once
// Who may use a served show: requests must carry the access token printed at start (in the
// URL once, then as a cookie), WebSockets and uploads must come from the page's own origin,
// and files are served only from inside the page folder.
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace brellow::serve {

inline constexpr const char* kTokenCookie = "brellow_token";
inline constexpr const char* kTokenQuery = "token";

/// 32 random bytes as 64 hexadecimal digits.
std::string makeAccessToken();

/// Compares in time independent of where the texts differ.
bool sameToken(std::string_view presented, std::string_view expected);

/// The value of cookie `name` in a Cookie header, if present.
std::optional<std::string> cookieValue(std::string_view cookieHeader, std::string_view name);

/// A browser's Origin for a page served from `host` (the Host header) is "http://" + host.
bool originMatchesHost(std::string_view origin, std::string_view host);

/// The file under `root` that a request path names, or nothing when the path is malformed,
/// leaves `root` (.., symbolic links out) or names no regular file. "/" names index.html.
std::optional<std::filesystem::path> fileUnderRoot(const std::filesystem::path& root,
                                                   std::string_view requestPath);

/// A file name safe to create in a private folder: the last component of `name`, without
/// control characters or separators; nothing when nothing usable is left.
std::optional<std::string> safeUploadName(std::string_view name);

}  // namespace brellow::serve
