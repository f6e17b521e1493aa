#include "document/autosaver.h"

#include <algorithm>

namespace brellow {

Autosaver::Autosaver(std::shared_ptr<ShowDocument> document, std::filesystem::path destination)
    : document_(std::move(document)),
      destination_(std::move(destination)),
      seenChange_(document_->changeCount()) {
    timer_ = g_timeout_add(
        kCheckIntervalMs,
        [](gpointer self) -> gboolean {
            static_cast<Autosaver*>(self)->check(g_get_monotonic_time());
            return G_SOURCE_CONTINUE;
        },
        this);
}

Autosaver::~Autosaver() {
    g_source_remove(timer_);
}

void Autosaver::check(std::int64_t nowUs) {
    const std::uint64_t change = document_->changeCount();
    if (change != seenChange_) {
        seenChange_ = change;
        changedAtUs_ = nowUs;
        if (onChange) onChange();
        return;
    }
    if (document_->isEdited() && nowUs - changedAtUs_ >= kQuietPeriodUs && nowUs >= retryAtUs_) {
        save(nowUs);
    }
}

bool Autosaver::saveNow() {
    return save(g_get_monotonic_time());
}

bool Autosaver::save(std::int64_t nowUs) {
    if (!document_->isEdited()) return true;
    std::error_code ignored;  // a missing parent folder is reported by the save itself
    std::filesystem::create_directories(destination_.parent_path(), ignored);
    if (auto saved = document_->save(destination_); !saved) {
        // Logged once per reason: the message names a staging folder new on every try.
        if (!lastFailure_ || lastFailure_->kind != saved.error().kind ||
            lastFailure_->code != saved.error().code) {
            log_.error("Saving %s failed: %s", destination_.c_str(), saved.error().message.c_str());
        }
        lastFailure_ = saved.error();
        retryPauseUs_ = std::clamp(retryPauseUs_ * 2, kFirstRetryUs, kLongestRetryUs);
        retryAtUs_ = nowUs + retryPauseUs_;
        if (onSaveFailed) onSaveFailed(saved.error());
        return false;
    }
    if (lastFailure_) log_.info("Saving %s works again", destination_.c_str());
    lastFailure_.reset();
    retryPauseUs_ = 0;
    retryAtUs_ = 0;
    if (onChange) onChange();
    return true;
}

void Autosaver::setDestination(std::filesystem::path destination) {
    destination_ = std::move(destination);
    retryPauseUs_ = 0;
    retryAtUs_ = 0;
}

}  // namespace brellow
