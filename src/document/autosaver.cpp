#include "document/autosaver.h"

namespace brellow {

Autosaver::Autosaver(std::shared_ptr<ShowDocument> document, std::filesystem::path destination)
    : document_(std::move(document)),
      destination_(std::move(destination)),
      seenChange_(document_->changeCount()) {
    timer_ = g_timeout_add(
        kCheckIntervalMs,
        [](gpointer self) -> gboolean {
            static_cast<Autosaver*>(self)->check();
            return G_SOURCE_CONTINUE;
        },
        this);
}

Autosaver::~Autosaver() {
    g_source_remove(timer_);
}

void Autosaver::check() {
    const std::uint64_t change = document_->changeCount();
    const std::int64_t now = g_get_monotonic_time();
    if (change != seenChange_) {
        seenChange_ = change;
        changedAtUs_ = now;
        if (onChange) onChange();
        return;
    }
    if (document_->isEdited() && change != failedChange_ && now - changedAtUs_ >= kQuietPeriodUs)
        saveNow();
}

bool Autosaver::saveNow() {
    if (!document_->isEdited()) return true;
    std::error_code ignored;  // a missing parent folder is reported by the save itself
    std::filesystem::create_directories(destination_.parent_path(), ignored);
    if (auto saved = document_->save(destination_); !saved) {
        if (failedChange_ != document_->changeCount()) {
            log_.error("Saving %s failed: %s", destination_.c_str(), saved.error().message.c_str());
        }
        failedChange_ = document_->changeCount();
        return false;
    }
    if (onChange) onChange();
    return true;
}

void Autosaver::setDestination(std::filesystem::path destination) {
    destination_ = std::move(destination);
    failedChange_ = UINT64_MAX;
}

}  // namespace brellow
