#pragma once
// Update feeds: appcasts (RSS 2.0 with sparkle elements), and how versions compare.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace brellow::updates {

struct AppcastItem {
    std::string title;
    std::string version;                 // sparkle:version (or the enclosure's attribute)
    std::string shortVersion;            // sparkle:shortVersionString, for people
    std::optional<std::string> channel;  // sparkle:channel; none is the default channel
    std::optional<std::string> minimumSystemVersion;
    std::string releaseNotesLink;
    std::string downloadURL;  // the enclosure's url; offered, never fetched
};

/// Largest feed accepted, and deepest nesting.
inline constexpr std::size_t kMaxFeedBytes = 2 << 20;
inline constexpr int kMaxFeedDepth = 32;

/// The items of an appcast; an error text for anything that is not one.
Result<std::vector<AppcastItem>, std::string> parseAppcast(std::string_view xml);

/// Compares dotted versions segment by segment as numbers ("1.10" > "1.9", "2" == "2.0");
/// negative, zero or positive.
int compareVersions(std::string_view a, std::string_view b);

}  // namespace brellow::updates
