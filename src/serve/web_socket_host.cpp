#include "serve/web_socket_host.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace brellow::serve {

std::optional<PageKind> pageKindFromName(const std::string& name) {
    if (name == "show") return PageKind::show;
    if (name == "eula") return PageKind::agreement;
    if (name == "prefs") return PageKind::preferences;
    return std::nullopt;
}

WebSocketHost::~WebSocketHost() {
    for (const auto& client : clients_) {
        g_signal_handlers_disconnect_by_data(client->connection, client.get());
        if (soup_websocket_connection_get_state(client->connection) == SOUP_WEBSOCKET_STATE_OPEN)
            soup_websocket_connection_close(client->connection, SOUP_WEBSOCKET_CLOSE_GOING_AWAY,
                                            nullptr);
        g_object_unref(client->connection);
    }
}

void WebSocketHost::addScriptMessageHandler(const std::string& name,
                                            bridge::ScriptMessageHandler handler) {
    handlers_[name] = std::move(handler);
}

void WebSocketHost::addUserScript(const std::string& source) {
    userScripts_.push_back(source);
}

std::string WebSocketHost::userScripts() const {
    std::string joined;
    for (const auto& script : userScripts_)
        joined += script + "\n";
    return joined;
}

void WebSocketHost::evaluateScript(const std::string& script) {
    for (const auto& client : clients_) {
        if (client->kind == PageKind::show) evaluateOn(client->connection, script);
    }
}

void WebSocketHost::evaluateOn(SoupWebsocketConnection* connection, const std::string& script) {
    if (soup_websocket_connection_get_state(connection) != SOUP_WEBSOCKET_STATE_OPEN) return;
    soup_websocket_connection_send_text(connection, script.c_str());
}

void WebSocketHost::adopt(SoupWebsocketConnection* connection, PageKind kind) {
    g_object_ref(connection);
    auto client = std::make_unique<Client>(Client{this, connection, kind});
    g_signal_connect(connection, "message", G_CALLBACK(onMessage), client.get());
    g_signal_connect(connection, "closed", G_CALLBACK(onClosed), client.get());
    clients_.push_back(std::move(client));
    if (onOpen) onOpen(connection, kind);
}

void WebSocketHost::onMessage(SoupWebsocketConnection*, gint type, GBytes* message,
                              Client* client) {
    if (type != SOUP_WEBSOCKET_DATA_TEXT) return;  // the transport sends text only
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_bytes_get_data(message, &size));
    client->host->deliver(*client, std::string(data, size));
}

void WebSocketHost::deliver(Client& client, const std::string& text) {
    // A malformed frame is dropped, as the web view drops what it cannot deliver.
    auto frame = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!frame.is_object()) return;
    const auto name = frame.find("name");
    if (name == frame.end() || !name->is_string()) return;
    const std::string handlerName = name->get<std::string>();
    const auto body = frame.find("body");
    const nlohmann::json value = body == frame.end() ? nlohmann::json(nullptr) : *body;
    if (client.kind == PageKind::show) {
        if (const auto handler = handlers_.find(handlerName); handler != handlers_.end()) {
            handler->second(handlerName, value);
            return;
        }
    }
    if (onOtherMessage) onOtherMessage(client.connection, client.kind, handlerName, value);
}

void WebSocketHost::onClosed(SoupWebsocketConnection* connection, Client* client) {
    WebSocketHost* host = client->host;
    g_signal_handlers_disconnect_by_data(connection, client);
    const auto it = std::find_if(host->clients_.begin(), host->clients_.end(),
                                 [client](const auto& held) { return held.get() == client; });
    if (it == host->clients_.end()) return;
    auto keep = std::move(*it);
    host->clients_.erase(it);
    g_object_unref(connection);
}

}  // namespace brellow::serve
