#include "updates/updater_controller.h"

#include <glib.h>

#include <ctime>

namespace brellow::updates {

namespace {
std::int64_t now() {
    return static_cast<std::int64_t>(std::time(nullptr));
}
}  // namespace

UpdaterController::UpdaterController(UpdatesConfig config,
                                     std::shared_ptr<UpdatePresenter> presenter,
                                     const std::filesystem::path& supportFolder)
    : config_(std::move(config)),
      presenter_(std::move(presenter)),
      state_(supportFolder, "updates.json") {}

UpdaterController::~UpdaterController() {
    *alive_ = false;
    if (timer_ != 0) g_source_remove(timer_);
}

bool UpdaterController::automaticallyChecksForUpdates() const {
    const auto state = state_.load();
    const auto automatic = state ? requiredBool(*state, "automaticallyChecks") : std::nullopt;
    return automatic.value_or(false);
}

bool UpdaterController::hasAutomaticChecksAnswer() const {
    const auto state = state_.load();
    return state && requiredBool(*state, "automaticallyChecks").has_value();
}

void UpdaterController::setAutomaticallyChecksForUpdates(bool enabled) {
    auto state = state_.load().value_or(nlohmann::json::object());
    state["automaticallyChecks"] = enabled;
    state_.save(state);
}

void UpdaterController::start() {
    if (timer_ != 0) return;
    auto state = state_.load().value_or(nlohmann::json::object());
    const std::int64_t launches = requiredInteger(state, "launchCount").value_or(0) + 1;
    state["launchCount"] = launches;
    state_.save(state);
    if (launches >= kAskOnLaunch && !hasAutomaticChecksAnswer()) {
        std::weak_ptr<bool> alive = alive_;
        presenter_->askAboutAutomaticChecks([this, alive](bool enabled) {
            if (alive.expired()) return;
            setAutomaticallyChecksForUpdates(enabled);
            if (enabled) checkIfDue();
        });
    }
    // Looked at hourly, so a machine that sleeps through the due time checks soon after waking.
    timer_ = g_timeout_add_seconds(
        3600,
        [](gpointer data) -> gboolean {
            static_cast<UpdaterController*>(data)->checkIfDue();
            return G_SOURCE_CONTINUE;
        },
        this);
    checkIfDue();
}

void UpdaterController::checkIfDue() {
    if (!automaticallyChecksForUpdates()) return;
    const auto state = state_.load();
    const auto last = state ? requiredInteger(*state, "lastCheckAt") : std::nullopt;
    if (last && now() - *last < kCheckIntervalSec && now() >= *last) return;
    check(false);
}

void UpdaterController::checkForUpdates() {
    check(true);
}

void UpdaterController::check(bool userInitiated) {
    auto state = state_.load().value_or(nlohmann::json::object());
    state["lastCheckAt"] = now();
    state_.save(state);
    std::weak_ptr<bool> alive = alive_;
    std::weak_ptr<UpdatePresenter> presenter = presenter_;
    checkFeed(config_, [alive, presenter, userInitiated](const UpdateResult& result) {
        auto target = presenter.lock();
        if (alive.expired() || !target) return;
        if (userInitiated || std::holds_alternative<UpdateAvailable>(result)) {
            target->presentUpdateResult(result, userInitiated);
        }
    });
}

}  // namespace brellow::updates
