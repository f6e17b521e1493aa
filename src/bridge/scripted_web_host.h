#pragma once
// A page host without a page: messages are posted to it by hand and the scripts the bridge
// evaluates are kept (and shown). The protocol console and the tests use it; time for its
// tick timers is virtual.
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bridge/web_host.h"

namespace brellow::bridge {

class ScriptedWebHost final : public WebHost {
  public:
    void addScriptMessageHandler(const std::string& name, ScriptMessageHandler handler) override;
    void addUserScript(const std::string& source) override { userScripts.push_back(source); }
    void evaluateScript(const std::string& script) override;

    /// Delivers a message as the page's `webkit.messageHandlers.<name>.postMessage(body)` would;
    /// false when no handler has that name.
    bool post(const std::string& name, const nlohmann::json& body);

    std::vector<std::string> userScripts;
    std::vector<std::string> scripts;                  // every evaluated script, in order
    std::function<void(const std::string&)> onScript;  // called for each as it comes

  private:
    std::map<std::string, ScriptMessageHandler> handlers_;
};

/// Timers whose deadlines pass only when `fireDue` is called with the time moved on.
class ManualTickTimers final : public TickTimers {
  public:
    explicit ManualTickTimers(std::function<std::uint64_t()> now) : now_(std::move(now)) {}
    unsigned start(unsigned intervalMs, std::function<void()> tick) override;
    void cancel(unsigned timer) override { timers_.erase(timer); }
    /// Fires every timer whose deadline has passed, as often as it has passed, in order.
    void fireDue();
    std::size_t active() const { return timers_.size(); }

  private:
    struct Timer {
        std::uint64_t due;
        std::uint64_t interval;
        std::function<void()> tick;
    };
    std::function<std::uint64_t()> now_;
    std::map<unsigned, Timer> timers_;
    unsigned next_ = 1;
};

}  // namespace brellow::bridge
