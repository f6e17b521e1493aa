#pragma once
// Checking the update feed: fetch it over HTTPS with libsoup, read it, and pick the newest
// release on an allowed channel that is newer than this one. Updates are offered, never
// downloaded.
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <variant>

#include "updates/appcast.h"

namespace brellow::updates {

inline constexpr const char* kDefaultFeedURL = "https://updates.brellow.org/appcast.xml";

struct UpdatesConfig {
    std::string feedURL = kDefaultFeedURL;
    std::optional<std::string> channel;  // an extra channel the user may receive
    std::string currentVersion;
    std::string systemVersion;  // compared with an item's minimum system version
    unsigned timeoutSec = 20;   // the whole fetch, however the server behaves
};

/// The channels besides the default one that may be offered.
std::set<std::string> allowedChannels(const UpdatesConfig& config);

struct UpdateAvailable {
    AppcastItem item;
};
struct UpToDate {
    std::string currentVersion;
};
struct CheckFailed {
    std::string message;
};
using UpdateResult = std::variant<UpdateAvailable, UpToDate, CheckFailed>;

/// The newest allowed item newer than the current version, or up to date.
UpdateResult chooseUpdate(const std::vector<AppcastItem>& items, const UpdatesConfig& config);

/// Fetches the feed on the main context and calls `done` there with the result.
void checkFeed(const UpdatesConfig& config, std::function<void(UpdateResult)> done);

/// This system's version for minimum-system-version checks: VERSION_ID of /etc/os-release.
std::string systemVersion();

/// One line saying what a check found, for people.
std::string describe(const UpdateResult& result);

}  // namespace brellow::updates
