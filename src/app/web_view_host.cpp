#include "app/web_view_host.h"

#include <nlohmann/json.hpp>

namespace brellow::app {

namespace {

constexpr GdkRGBA kWindowBackground{0.102, 0.11, 0.122, 1.0};

gboolean suppressContextMenu(WebKitWebView*, WebKitContextMenu*, GdkEvent*, WebKitHitTestResult*,
                             gpointer) {
    return TRUE;  // no "Reload" or "Back" in the middle of a show
}

nlohmann::json jsonFromResult(WebKitJavascriptResult* result) {
    JSCValue* value = webkit_javascript_result_get_js_value(result);
    if (value == nullptr || jsc_value_is_undefined(value)) return nullptr;
    gchar* text = jsc_value_to_json(value, 0);
    if (text == nullptr) return nullptr;
    auto parsed = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    g_free(text);
    return parsed.is_discarded() ? nlohmann::json(nullptr) : parsed;
}

}  // namespace

WebKitWebView* createWebView() {
    auto* view = WEBKIT_WEB_VIEW(webkit_web_view_new());
    WebKitSettings* settings = webkit_web_view_get_settings(view);
    webkit_settings_set_allow_file_access_from_file_urls(settings, TRUE);
    webkit_settings_set_javascript_can_open_windows_automatically(settings, FALSE);
    webkit_settings_set_enable_developer_extras(settings, FALSE);
    // The page's console on standard output, for tests and for finding faults in the field.
    if (g_getenv("BRELLOW_WEB_CONSOLE") != nullptr)
        webkit_settings_set_enable_write_console_messages_to_stdout(settings, TRUE);
    webkit_web_view_set_background_color(view, &kWindowBackground);
    g_signal_connect(view, "context-menu", G_CALLBACK(suppressContextMenu), nullptr);
    return view;
}

WebKitWebHost::WebKitWebHost(WebKitWebView* view)
    : view_(view), manager_(webkit_web_view_get_user_content_manager(view)) {
    g_object_add_weak_pointer(G_OBJECT(view_), reinterpret_cast<gpointer*>(&view_));
    g_object_ref(manager_);
}

WebKitWebHost::~WebKitWebHost() {
    for (const auto& channel : channels_) {
        g_signal_handler_disconnect(manager_, channel->signal);
        webkit_user_content_manager_unregister_script_message_handler(manager_,
                                                                      channel->name.c_str());
    }
    g_object_unref(manager_);
    if (view_ != nullptr) {
        g_object_remove_weak_pointer(G_OBJECT(view_), reinterpret_cast<gpointer*>(&view_));
    }
}

void WebKitWebHost::addScriptMessageHandler(const std::string& name,
                                            bridge::ScriptMessageHandler handler) {
    auto channel = std::make_unique<Channel>(Channel{this, name, std::move(handler)});
    const std::string signal = "script-message-received::" + name;
    channel->signal =
        g_signal_connect(manager_, signal.c_str(), G_CALLBACK(onMessage), channel.get());
    webkit_user_content_manager_register_script_message_handler(manager_, name.c_str());
    channels_.push_back(std::move(channel));
}

void WebKitWebHost::onMessage(WebKitUserContentManager*, WebKitJavascriptResult* result,
                              gpointer data) {
    auto* channel = static_cast<Channel*>(data);
    channel->handler(channel->name, jsonFromResult(result));
}

void WebKitWebHost::addUserScript(const std::string& source) {
    WebKitUserScript* script =
        webkit_user_script_new(source.c_str(), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                               WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, nullptr, nullptr);
    webkit_user_content_manager_add_script(manager_, script);
    webkit_user_script_unref(script);
}

void WebKitWebHost::evaluateScript(const std::string& script) {
    if (view_ == nullptr) return;
    webkit_web_view_evaluate_javascript(view_, script.c_str(), -1, nullptr, nullptr, nullptr,
                                        nullptr, nullptr);
}

void WebKitWebHost::evaluateScript(const std::string& script,
                                   std::function<void(std::optional<std::string>)> done) {
    if (view_ == nullptr) return;
    auto* callback = new std::function<void(std::optional<std::string>)>(std::move(done));
    webkit_web_view_evaluate_javascript(
        view_, script.c_str(), -1, nullptr, nullptr, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            std::unique_ptr<std::function<void(std::optional<std::string>)>> finish(
                static_cast<std::function<void(std::optional<std::string>)>*>(data));
            GError* error = nullptr;
            JSCValue* value =
                webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), result, &error);
            if (value != nullptr) g_object_unref(value);
            std::optional<std::string> message;
            if (error != nullptr) {
                message = error->message;
                g_error_free(error);
            }
            (*finish)(message);
        },
        callback);
}

std::string fileURI(const std::string& path, const std::string& query) {
    gchar* uri = g_filename_to_uri(path.c_str(), nullptr, nullptr);
    std::string text = uri != nullptr ? uri : "";
    g_free(uri);
    if (!query.empty() && !text.empty()) text += "?" + query;
    return text;
}

}  // namespace brellow::app
