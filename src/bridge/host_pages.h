#pragma once
// What every host of the pages (the desktop window, the browser host) says to them and reads
// from them besides the bridge's commands: the tour start, the settings page's initial state,
// the silent-output notice, and the small pages' {"action": ...} messages.
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace brellow::bridge {

/// Starts the show page's welcome tour; does nothing in a page without one.
inline constexpr const char* kStartTourScript =
    "window.__brwTour && window.__brwTour.startWelcome();";

/// Gives the settings page the current statistics switch and, from a host that checks for
/// updates, the automatic-check switch (the page shows that setting only then).
std::string preferencesInitScript(bool telemetryEnabled,
                                  std::optional<bool> automaticUpdates = std::nullopt);

/// The event that tells the show page it plays to no audio output at all.
nlohmann::ordered_json silentOutputEvent();

/// The "action" of a small page's message: only an object with a string "action" counts.
std::optional<std::string> pageAction(const nlohmann::json& body);

/// The "value" of a "setTelemetry" or "setAutomaticUpdates" message: only a real boolean
/// counts, anything else is off.
bool telemetryValue(const nlohmann::json& body);

}  // namespace brellow::bridge
