#pragma once
// What the bridge needs of the page's host: the embedded web view in a window, the WebSocket
// host of the headless mode, or a recording stand-in in tests.
#include <functional>
#include <string>

#include <nlohmann/json.hpp>

namespace brellow::bridge {

/// Called on the main context with the handler's name and the message body the page posted.
using ScriptMessageHandler =
    std::function<void(const std::string& name, const nlohmann::json& body)>;

class WebHost {
  public:
    virtual ~WebHost() = default;
    /// Makes `webkit.messageHandlers.<name>.postMessage(body)` reach `handler`.
    virtual void addScriptMessageHandler(const std::string& name, ScriptMessageHandler handler) = 0;
    /// Runs `source` in the main frame at document start, before the page's own scripts.
    virtual void addUserScript(const std::string& source) = 0;
    /// Evaluates `script` in the main frame; results and errors are ignored.
    virtual void evaluateScript(const std::string& script) = 0;
};

/// Repeating timers on the main context: GLib timeouts, or virtual time in tools and tests.
class TickTimers {
  public:
    virtual ~TickTimers() = default;
    virtual unsigned start(unsigned intervalMs, std::function<void()> tick) = 0;
    virtual void cancel(unsigned timer) = 0;
};

/// GLib timeouts on the default main context.
class GLibTickTimers final : public TickTimers {
  public:
    unsigned start(unsigned intervalMs, std::function<void()> tick) override;
    void cancel(unsigned timer) override;
};

}  // namespace brellow::bridge
