#include "bridge/scripted_web_host.h"

#include <algorithm>

namespace brellow::bridge {

void ScriptedWebHost::addScriptMessageHandler(const std::string& name,
                                              ScriptMessageHandler handler) {
    handlers_[name] = std::move(handler);
}

void ScriptedWebHost::evaluateScript(const std::string& script) {
    scripts.push_back(script);
    if (onScript) onScript(script);
}

bool ScriptedWebHost::post(const std::string& name, const nlohmann::json& body) {
    const auto it = handlers_.find(name);
    if (it == handlers_.end()) return false;
    it->second(name, body);
    return true;
}

unsigned ManualTickTimers::start(unsigned intervalMs, std::function<void()> tick) {
    const std::uint64_t interval = std::uint64_t{intervalMs} * 1'000'000;
    timers_[next_] = Timer{now_() + interval, interval, std::move(tick)};
    return next_++;
}

void ManualTickTimers::fireDue() {
    for (;;) {
        const auto earliest = std::min_element(
            timers_.begin(), timers_.end(),
            [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
        if (earliest == timers_.end() || earliest->second.due > now_()) return;
        earliest->second.due += earliest->second.interval;
        auto tick = earliest->second.tick;
        tick();
    }
}

}  // namespace brellow::bridge
