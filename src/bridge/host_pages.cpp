#include "bridge/host_pages.h"

namespace brellow::bridge {

std::string preferencesInitScript(bool telemetryEnabled, std::optional<bool> automaticUpdates) {
    std::string settings = std::string("{telemetry:") + (telemetryEnabled ? "true" : "false");
    if (automaticUpdates)
        settings += std::string(",automaticUpdates:") + (*automaticUpdates ? "true" : "false");
    return "window.__brwPrefsInit && window.__brwPrefsInit(" + settings + "});";
}

nlohmann::ordered_json silentOutputEvent() {
    return {{"type", "deviceChanged"},
            {"deviceUID", ""},
            {"deviceName", "no audio output (silent)"},
            {"fellBack", true}};
}

std::optional<std::string> pageAction(const nlohmann::json& body) {
    if (!body.is_object()) return std::nullopt;
    const auto action = body.find("action");
    if (action == body.end() || !action->is_string()) return std::nullopt;
    return action->get<std::string>();
}

bool telemetryValue(const nlohmann::json& body) {
    if (!body.is_object()) return false;
    const auto value = body.find("value");
    return value != body.end() && value->is_boolean() && value->get<bool>();
}

}  // namespace brellow::bridge
