#pragma once
// Saves a show in place a second after its last change, checking twice a second on the main
// context. A failed save is logged once and tried again after the next change.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>

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

    static constexpr guint kCheckIntervalMs = 500;
    static constexpr std::int64_t kQuietPeriodUs = 1'000'000;

  private:
    void check();

    std::shared_ptr<ShowDocument> document_;
    std::filesystem::path destination_;
    guint timer_ = 0;
    std::uint64_t seenChange_ = 0;
    std::int64_t changedAtUs_ = 0;
    std::uint64_t failedChange_ = UINT64_MAX;
    Logger log_{"ShowDocument"};
};

}  // namespace brellow
