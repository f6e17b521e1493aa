#pragma once
// What every window of the application shares: the per-user records, the telemetry switch, the
// main menu, the playhead timers, and the rule that the tour starts by itself once per run.
#include <filesystem>
#include <memory>

#include <gtk/gtk.h>

#include "bridge/web_host.h"
#include "onboarding/onboarding.h"
#include "telemetry/telemetry.h"

namespace brellow::app {

struct AppContext {
    GtkApplication* application = nullptr;
    GMenuModel* mainMenu = nullptr;
    std::shared_ptr<onboarding::AgreementStore> agreements;
    std::shared_ptr<onboarding::OnboardingStore> onboarding;
    std::shared_ptr<telemetry::TelemetryController> telemetry;
    std::filesystem::path webFolder;
    std::filesystem::path demoFolder;
    bridge::GLibTickTimers timers;
    /// Set when a show window has started the tour by itself; later windows of this run
    /// leave it alone.
    bool tourOfferedThisRun = false;
};

/// The window background: the same colour as the pages'.
inline constexpr const char* kWindowBackgroundCSS = "#1a1c1f";

}  // namespace brellow::app
