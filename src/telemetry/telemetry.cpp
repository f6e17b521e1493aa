#include "telemetry/telemetry.h"

namespace brellow::telemetry {

std::optional<TelemetrySettings> FileTelemetryStore::load() const {
    const auto object = file_.load();
    if (!object) return std::nullopt;
    const auto enabled = requiredBool(*object, "enabled");
    if (!enabled) return std::nullopt;
    return TelemetrySettings{*enabled};
}

bool TelemetryController::isEnabled() const {
    const auto settings = store_->load();
    return settings && settings->enabled;
}

void TelemetryController::setEnabled(bool enabled) {
    store_->save({enabled});
    if (enabled == started_) return;
    started_ = enabled;
    if (enabled) {
        provider_->start();
    } else {
        provider_->stop();
    }
}

void TelemetryController::startIfEnabled() {
    if (!isEnabled() || started_) return;
    started_ = true;
    provider_->start();
}

void TelemetryController::record(const std::string& event) {
    if (isEnabled()) provider_->record(event);
}

}  // namespace brellow::telemetry
