#pragma once
// One show's window: the page in a web view filling the window, the title strip over its top,
// file drops, the page's alert and confirm as native dialogs, the first-load steps (engine
// events, playhead ticks, the tour) and the window's saved size.
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtk/gtk.h>

#include "app/app_context.h"
#include "app/page_recovery.h"
#include "app/web_view_host.h"
#include "audio/engine/live_engine.h"
#include "base/log.h"
#include "bridge/brellow_bridge.h"
#include "document/show_document.h"

namespace brellow::app {

class ShowWindow;

/// The document controller's side of a show window.
class ShowWindowDelegate {
  public:
    virtual ~ShowWindowDelegate() = default;
    virtual void windowWantsClose(ShowWindow& window) = 0;
    virtual void windowWantsSave(ShowWindow& window) = 0;
    virtual void windowWantsSaveAs(ShowWindow& window) = 0;
};

class ShowWindow {
  public:
    ShowWindow(AppContext& context, ShowWindowDelegate& delegate,
               std::weak_ptr<ShowDocument> document, audio::LiveEngine engine);
    ~ShowWindow();
    ShowWindow(const ShowWindow&) = delete;
    ShowWindow& operator=(const ShowWindow&) = delete;

    GtkWindow* window() const { return window_; }
    std::shared_ptr<bridge::BrellowBridge> bridge() const { return bridge_; }
    const std::shared_ptr<audio::AudioEngineService>& engine() const { return engine_.engine; }

    void present();
    /// The document's name as the window shows it, with a mark while edits are unsaved.
    void setDocumentTitle(const std::string& name, bool edited);
    /// Seeds an empty show with the demonstration stings, then starts the page's tour.
    void startTutorial();
    void importFiles(std::vector<std::filesystem::path> files);
    void stopAll();

  private:
    void buildWindow();
    void installActions();
    void loadPage();
    void pageFinishedLoading();
    void onTourEvent(bool skipped);
    /// Runs `job` once the page listens for events (now, if it already does). The web view
    /// can report a finished load before the page's module scripts have run.
    void whenPageReady(std::function<void()> job);
    void pageReady();
    void saveFrame();

    static gboolean onDeleteEvent(GtkWidget*, GdkEvent*, ShowWindow* self);
    static void onLoadChanged(WebKitWebView*, WebKitLoadEvent event, ShowWindow* self);
    static gboolean onLoadFailed(WebKitWebView*, WebKitLoadEvent event, gchar* uri, GError* error,
                                 ShowWindow* self);
    static gboolean onScriptDialog(WebKitWebView*, WebKitScriptDialog* dialog, ShowWindow* self);
    static void onWebProcessTerminated(WebKitWebView*, WebKitWebProcessTerminationReason reason,
                                       ShowWindow* self);
    void recoverFromWebProcessEnd(const char* reason);

    AppContext& context_;
    ShowWindowDelegate& delegate_;
    std::weak_ptr<ShowDocument> document_;
    audio::LiveEngine engine_;
    GtkWindow* window_ = nullptr;
    WebKitWebView* webView_ = nullptr;
    GtkLabel* title_ = nullptr;
    std::shared_ptr<WebKitWebHost> host_;
    std::shared_ptr<bridge::BrellowBridge> bridge_;
    bool pageDidFinish_ = false;
    bool pageReady_ = false;
    std::vector<std::function<void()>> waitingForPage_;
    PageRecovery recovery_;
    bool explainingCrash_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    Logger log_{"ShowWindowController"};
    Logger webLog_{"WebViewController"};
};

}  // namespace brellow::app
