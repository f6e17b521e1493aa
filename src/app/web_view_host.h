#pragma once
// WebKitGTK as the page's host: script message handlers on the view's user content manager,
// start-of-document user scripts, and script evaluation.
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <webkit2/webkit2.h>

#include "bridge/web_host.h"

namespace brellow::app {

/// A web view with the window colour behind the page, no context menu of its own, scripts
/// not allowed to open windows, and ES modules allowed to load from the page's folder.
WebKitWebView* createWebView();

class WebKitWebHost final : public bridge::WebHost {
  public:
    explicit WebKitWebHost(WebKitWebView* view);
    ~WebKitWebHost() override;
    WebKitWebHost(const WebKitWebHost&) = delete;
    WebKitWebHost& operator=(const WebKitWebHost&) = delete;

    void addScriptMessageHandler(const std::string& name,
                                 bridge::ScriptMessageHandler handler) override;
    void addUserScript(const std::string& source) override;
    void evaluateScript(const std::string& script) override;
    /// Evaluates `script` and reports its error message, if it raised one.
    void evaluateScript(const std::string& script,
                        std::function<void(std::optional<std::string> error)> done);

    WebKitWebView* view() const { return view_; }

  private:
    struct Channel {
        WebKitWebHost* host;
        std::string name;
        bridge::ScriptMessageHandler handler;
        gulong signal = 0;
    };
    static void onMessage(WebKitUserContentManager* manager, WebKitJavascriptResult* result,
                          gpointer channel);

    WebKitWebView* view_;  // cleared by GObject when the view is finalised
    WebKitUserContentManager* manager_;
    std::vector<std::unique_ptr<Channel>> channels_;
};

/// The file URI of `path`, optionally with a query ("mode=gate&v=1").
std::string fileURI(const std::string& path, const std::string& query = {});

}  // namespace brellow::app
