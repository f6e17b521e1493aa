#pragma once
// What a show window does when its web process ends unexpectedly: reload the page (the show and
// its playback live in this process, so nothing else is lost), unless the page has already
// died so often in the last minute that reloading would only loop; then the window explains.
#include <chrono>
#include <cstddef>
#include <deque>
#include <string>

namespace brellow::app {

class PageRecovery {
  public:
    using Clock = std::chrono::steady_clock;

    /// Crashes within `window` beyond `reloadsAllowed` get the explanation instead of a reload.
    static constexpr std::size_t kReloadsAllowed = 2;
    static constexpr std::chrono::seconds kWindow{60};

    enum class Action { reload, explain };

    /// Records a crash at `now` and says what to do about it.
    Action crashed(Clock::time_point now);
    /// The user asked for the page again: the count starts afresh.
    void reset() { crashes_.clear(); }

  private:
    std::deque<Clock::time_point> crashes_;
};

/// A short page, in the window's colours, saying that the show page keeps stopping, that the
/// show and its playback carry on, what still works, and offering to try again (a link to
/// `retryURI`).
std::string pageCrashExplanation(const std::string& retryURI, const std::string& reason);

}  // namespace brellow::app
