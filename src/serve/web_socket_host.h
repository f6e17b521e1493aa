#pragma once
// The page's host in a browser: every served page keeps a WebSocket to us. Messages the page
// posts arrive as {"name", "body"} text frames and go to the handler registered under that
// name; scripts for the show pages go out as text frames the page's transport runs. Every show
// page receives every script, so several browsers can run one show.
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <libsoup/soup.h>

#include "base/log.h"
#include "bridge/web_host.h"

namespace brellow::serve {

enum class PageKind { show, agreement, preferences };

/// "show", "eula" or "prefs" as the page names itself when it connects.
std::optional<PageKind> pageKindFromName(const std::string& name);

class WebSocketHost final : public bridge::WebHost {
  public:
    WebSocketHost() = default;
    ~WebSocketHost() override;
    WebSocketHost(const WebSocketHost&) = delete;
    WebSocketHost& operator=(const WebSocketHost&) = delete;

    void addScriptMessageHandler(const std::string& name,
                                 bridge::ScriptMessageHandler handler) override;
    void addUserScript(const std::string& source) override;
    /// Sends `script` to every connected show page.
    void evaluateScript(const std::string& script) override;
    void evaluateOn(SoupWebsocketConnection* connection, const std::string& script);

    /// Takes a newly opened WebSocket of a page of `kind`.
    void adopt(SoupWebsocketConnection* connection, PageKind kind);
    std::size_t connectionCount() const { return clients_.size(); }
    /// The scripts to run in show pages before their own.
    std::string userScripts() const;

    /// Messages under names no handler was registered for ("brwEula", "brwPrefs").
    std::function<void(SoupWebsocketConnection*, PageKind, const std::string& name,
                       const nlohmann::json& body)>
        onOtherMessage;
    std::function<void(SoupWebsocketConnection*, PageKind)> onOpen;

  private:
    struct Client {
        WebSocketHost* host;
        SoupWebsocketConnection* connection;
        PageKind kind;
    };
    static void onMessage(SoupWebsocketConnection* connection, gint type, GBytes* message,
                          Client* client);
    static void onClosed(SoupWebsocketConnection* connection, Client* client);
    void deliver(Client& client, const std::string& text);

    std::vector<std::unique_ptr<Client>> clients_;
    std::map<std::string, bridge::ScriptMessageHandler> handlers_;
    std::vector<std::string> userScripts_;
    Logger log_{"Serve"};
};

}  // namespace brellow::serve
