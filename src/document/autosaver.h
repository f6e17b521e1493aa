#pragma once
// Saves a show in place a second after its last change, checking twice a second on the main
// context. A failed save is reported (log line and `onSaveFailed`) and tried again with a
// growing pause, 2 s doubling up to a minute, whether or not anything changes meanwhile: a USB
// stick put back or space freed is picked up without the user doing anything.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include <glib.h>

#include "base/log.h"
#include "document/show_document.h"

namespace brellow {

class Autosaver {
  public:
    Autosaver(std::shared_ptr<ShowDocument> document, std::filesystem::path destination);
    ~Autosaver();
    Autosaver(const Autosaver&) = delete;
    Autosaver& operator=(const Autosaver&) = delete;

    /// Saves now if anything is unsaved; answers whether the show is saved afterwards.
    bool saveNow();
    /// Where the next saves go (after Save As).
    void setDestination(std::filesystem::path destination);
    /// Called when an edit is first noticed and after each save, to show the edited state.
    std::function<void()> onChange;
    /// Called after each failed save with its reason.
    std::function<void(const DocumentError&)> onSaveFailed;
    /// Why the last save failed; empty after a successful one.
    const std::optional<DocumentError>& lastFailure() const { return lastFailure_; }

    /// One check, as the timer makes it; `nowUs` is the monotonic clock.
    void check(std::int64_t nowUs);

    static constexpr guint kCheckIntervalMs = 500;
    static constexpr std::int64_t kQuietPeriodUs = 1'000'000;
    static constexpr std::int64_t kFirstRetryUs = 2'000'000;
    static constexpr std::int64_t kLongestRetryUs = 60'000'000;

  private:
    bool save(std::int64_t nowUs);

    std::shared_ptr<ShowDocument> document_;
    std::filesystem::path destination_;
    guint timer_ = 0;
    std::uint64_t seenChange_ = 0;
    std::int64_t changedAtUs_ = 0;
    std::int64_t retryAtUs_ = 0;
    std::int64_t retryPauseUs_ = 0;  // zero while saves succeed
    std::optional<DocumentError> lastFailure_;
    Logger log_{"ShowDocument"};
};

}  // namespace brellow
