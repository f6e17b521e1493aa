#include "app/show_window.h"

#include "app/action_table.h"
#include "app/drop_target.h"
#include "app/title_strip.h"
#include "app/window_geometry.h"
#include "base/main_context.h"
#include "base/user_dirs.h"
#include "bridge/host_pages.h"
#include "document/sting_import.h"

namespace brellow::app {

namespace {

Rect primaryWorkArea(GtkWindow* window) {
    GdkDisplay* display = gtk_widget_get_display(GTK_WIDGET(window));
    GdkMonitor* monitor = gdk_display_get_primary_monitor(display);
    if (monitor == nullptr && gdk_display_get_n_monitors(display) > 0)
        monitor = gdk_display_get_monitor(display, 0);
    if (monitor == nullptr) return {};
    GdkRectangle area;
    gdk_monitor_get_workarea(monitor, &area);
    return {area.x, area.y, area.width, area.height};
}

void runEditingCommand(GSimpleAction*, GVariant*, gpointer data) {
    auto* view = static_cast<WebKitWebView*>(g_object_get_data(G_OBJECT(data), "web-view"));
    const auto* command = static_cast<const char*>(g_object_get_data(G_OBJECT(data), "command"));
    if (view != nullptr && command != nullptr)
        webkit_web_view_execute_editing_command(view, command);
}

}  // namespace

ShowWindow::ShowWindow(AppContext& context, ShowWindowDelegate& delegate,
                       std::weak_ptr<ShowDocument> document, audio::LiveEngine engine)
    : context_(context),
      delegate_(delegate),
      document_(std::move(document)),
      engine_(std::move(engine)) {
    buildWindow();
    installActions();
    log_.notice("ShowWindowController init complete");
    loadPage();
}

ShowWindow::~ShowWindow() {
    *alive_ = false;
    saveFrame();
    bridge_.reset();
    host_.reset();
    gtk_widget_destroy(GTK_WIDGET(window_));
}

void ShowWindow::buildWindow() {
    window_ = GTK_WINDOW(gtk_application_window_new(context_.application));
    gtk_application_window_set_show_menubar(GTK_APPLICATION_WINDOW(window_), FALSE);
    gtk_window_set_title(window_, "Brellow");
    gtk_widget_set_name(GTK_WIDGET(window_), "show-window");
    // A titlebar that is never shown: the page fills the window and the strip lies over it.
    gtk_window_set_titlebar(window_, gtk_fixed_new());

    const auto saved = WindowFrameStore(userConfigDirectory()).load(kShowWindowFrameName);
    const Rect size = showWindowSize(saved, primaryWorkArea(window_));
    gtk_window_set_default_size(window_, size.width, size.height);
    GdkGeometry hints{};
    hints.min_width = kShowWindowMinWidth;
    hints.min_height = kShowWindowMinHeight;
    gtk_window_set_geometry_hints(window_, nullptr, &hints, GDK_HINT_MIN_SIZE);
    gtk_window_set_position(window_, GTK_WIN_POS_CENTER);

    GtkWidget* overlay = gtk_overlay_new();
    webView_ = createWebView();
    gtk_container_add(GTK_CONTAINER(overlay), GTK_WIDGET(webView_));
    const TitleStrip strip = createTitleStrip(window_, context_.mainMenu);
    title_ = strip.title;
    gtk_overlay_add_overlay(GTK_OVERLAY(overlay), strip.widget);
    gtk_container_add(GTK_CONTAINER(window_), overlay);

    g_signal_connect(window_, "delete-event", G_CALLBACK(onDeleteEvent), this);
    g_signal_connect(webView_, "load-changed", G_CALLBACK(onLoadChanged), this);
    g_signal_connect(webView_, "load-failed", G_CALLBACK(onLoadFailed), this);
    g_signal_connect(webView_, "script-dialog", G_CALLBACK(onScriptDialog), this);
    g_signal_connect(webView_, "web-process-terminated", G_CALLBACK(onWebProcessTerminated), this);

    host_ = std::make_shared<WebKitWebHost>(webView_);
    if (auto document = document_.lock()) {
        bridge_ = bridge::BrellowBridge::create(host_, document_, engine_.engine, context_.timers);
        std::weak_ptr<bool> alive = alive_;
        bridge_->onTourEvent = [this, alive](bool skipped) {
            if (!alive.expired()) onTourEvent(skipped);
        };
        bridge_->onPageReady = [this, alive] {
            if (!alive.expired()) pageReady();
        };
        bridge_->listOutputDevices = audio::listOutputDevices;
        bridge_->installHandlers(*host_);
        attachDropTarget(webView_, [this, alive](std::vector<std::filesystem::path> files) {
            if (!alive.expired()) importFiles(std::move(files));
        });
    }
    gtk_widget_show_all(overlay);
}

void ShowWindow::installActions() {
    static constexpr ActionEntry<ShowWindow> kEntries[] = {
        {"save", [](ShowWindow& w) { w.delegate_.windowWantsSave(w); }},
        {"save-as", [](ShowWindow& w) { w.delegate_.windowWantsSaveAs(w); }},
        {"close", [](ShowWindow& w) { gtk_window_close(w.window_); }},
        {"tutorial", [](ShowWindow& w) { w.startTutorial(); }},
        {"minimize", [](ShowWindow& w) { gtk_window_iconify(w.window_); }},
        {"zoom",
         [](ShowWindow& w) {
             if (gtk_window_is_maximized(w.window_)) {
                 gtk_window_unmaximize(w.window_);
             } else {
                 gtk_window_maximize(w.window_);
             }
         }},
    };
    addActions<ShowWindow>(G_ACTION_MAP(window_), kEntries, *this);
    // The Edit menu acts on the page's text fields.
    static constexpr std::pair<const char*, const char*> kEditing[] = {
        {"undo", WEBKIT_EDITING_COMMAND_UNDO},   {"redo", WEBKIT_EDITING_COMMAND_REDO},
        {"cut", WEBKIT_EDITING_COMMAND_CUT},     {"copy", WEBKIT_EDITING_COMMAND_COPY},
        {"paste", WEBKIT_EDITING_COMMAND_PASTE}, {"select-all", WEBKIT_EDITING_COMMAND_SELECT_ALL},
    };
    for (const auto& [name, command] : kEditing) {
        GSimpleAction* action = g_simple_action_new(name, nullptr);
        g_object_set_data(G_OBJECT(action), "web-view", webView_);
        g_object_set_data(G_OBJECT(action), "command", const_cast<char*>(command));
        g_signal_connect(action, "activate", G_CALLBACK(runEditingCommand), action);
        g_action_map_add_action(G_ACTION_MAP(window_), G_ACTION(action));
        g_object_unref(action);
    }
}

void ShowWindow::loadPage() {
    const auto index = context_.webFolder / "index.html";
    std::error_code error;
    if (!std::filesystem::is_regular_file(index, error)) {
        webLog_.error("index.html not found in Resources/Web");
        return;
    }
    webkit_web_view_load_uri(webView_, fileURI(index.string()).c_str());
}

void ShowWindow::present() {
    log_.notice("showWindow called");
    gtk_window_present(window_);
}

void ShowWindow::setDocumentTitle(const std::string& name, bool edited) {
    gtk_window_set_title(window_, (name + " — Brellow").c_str());
    gtk_label_set_text(title_, edited ? (name + " — Edited").c_str() : name.c_str());
}

void ShowWindow::pageFinishedLoading() {
    webLog_.info("WebView first paint complete");
    if (bridge_) {
        std::weak_ptr<bridge::BrellowBridge> weak = bridge_;
        postToMainContext([weak] {
            if (auto bridge = weak.lock()) bridge->registerEngineObserver();
        });
        bridge_->startPlayheadTimer();
        std::weak_ptr<bool> alive = alive_;
        engine_.checkOutput([this, alive, weak](bool silent) {
            if (!silent || alive.expired()) return;
            // No sound server or device: the show runs silently, and the operator must know.
            whenPageReady([weak] {
                if (auto bridge = weak.lock()) {
                    bridge->sendEvent(bridge::silentOutputEvent());
                }
            });
        });
    }
    pageDidFinish_ = true;
    if (!context_.tourOfferedThisRun && !context_.onboarding->load()) {
        context_.tourOfferedThisRun = true;
        startTutorial();
    }
}

void ShowWindow::startTutorial() {
    std::weak_ptr<bool> alive = alive_;
    auto start = [this, alive] {
        if (alive.expired()) return;
        whenPageReady([this, alive] {
            host_->evaluateScript(bridge::kStartTourScript,
                                  [this, alive](std::optional<std::string> error) {
                                      if (error && !alive.expired())
                                          webLog_.error("startTour failed: %s", error->c_str());
                                  });
        });
    };
    if (document_.expired()) {
        start();
        return;
    }
    seedDemoStings({document_, engine_.engine, bridge_}, context_.demoFolder, start);
}

void ShowWindow::whenPageReady(std::function<void()> job) {
    // A window without a bridge never hears "ready"; its page gets the job at once.
    if (pageReady_ || !bridge_) {
        job();
    } else {
        waitingForPage_.push_back(std::move(job));
    }
}

void ShowWindow::pageReady() {
    pageReady_ = true;
    auto jobs = std::move(waitingForPage_);
    waitingForPage_.clear();
    for (auto& job : jobs)
        job();
}

void ShowWindow::onTourEvent(bool skipped) {
    context_.onboarding->save({"1", !skipped, skipped});
    context_.telemetry->record(skipped ? "tour_skipped" : "tour_completed");
}

void ShowWindow::importFiles(std::vector<std::filesystem::path> files) {
    importStingFiles({document_, engine_.engine, bridge_}, std::move(files));
}

void ShowWindow::stopAll() {
    engine_.engine->stopAll(false);
}

void ShowWindow::saveFrame() {
    if (window_ == nullptr || !gtk_widget_get_visible(GTK_WIDGET(window_))) return;
    if (gtk_window_is_maximized(window_)) return;  // keep the size to come back to
    Rect frame;
    gtk_window_get_position(window_, &frame.x, &frame.y);
    gtk_window_get_size(window_, &frame.width, &frame.height);
    WindowFrameStore(userConfigDirectory()).save(kShowWindowFrameName, frame);
}

gboolean ShowWindow::onDeleteEvent(GtkWidget*, GdkEvent*, ShowWindow* self) {
    self->saveFrame();
    self->delegate_.windowWantsClose(*self);  // the controller decides, and destroys us
    return TRUE;
}

void ShowWindow::onLoadChanged(WebKitWebView* view, WebKitLoadEvent event, ShowWindow* self) {
    if (event == WEBKIT_LOAD_STARTED) {
        self->pageReady_ = false;  // a new page must say so again
        // Leaving the explanation ("Try the page again") is the user asking: count afresh.
        const char* uri = webkit_web_view_get_uri(view);
        if (self->explainingCrash_ && uri != nullptr && g_str_has_suffix(uri, "/index.html")) {
            self->explainingCrash_ = false;
            self->recovery_.reset();
        }
    }
    if (self->explainingCrash_) return;  // the explanation is not the show page
    if (event == WEBKIT_LOAD_FINISHED) self->pageFinishedLoading();
}

gboolean ShowWindow::onLoadFailed(WebKitWebView*, WebKitLoadEvent event, gchar*, GError* error,
                                  ShowWindow* self) {
    const char* message = error != nullptr ? error->message : "unknown error";
    if (event == WEBKIT_LOAD_STARTED) {
        self->webLog_.error("Provisional nav failed: %s", message);
    } else {
        self->webLog_.error("Nav failed: %s", message);
    }
    return TRUE;  // no error page, no retry
}

void ShowWindow::onWebProcessTerminated(WebKitWebView*, WebKitWebProcessTerminationReason reason,
                                        ShowWindow* self) {
    switch (reason) {
        case WEBKIT_WEB_PROCESS_CRASHED:
            self->recoverFromWebProcessEnd("crashed");
            break;
        case WEBKIT_WEB_PROCESS_EXCEEDED_MEMORY_LIMIT:
            self->recoverFromWebProcessEnd("exceeded its memory limit");
            break;
        case WEBKIT_WEB_PROCESS_TERMINATED_BY_API:
            break;  // we ended it ourselves
    }
}

void ShowWindow::recoverFromWebProcessEnd(const char* reason) {
    const auto action = recovery_.crashed(PageRecovery::Clock::now());
    // The engine runs in this process: say what is still sounding, for the record.
    std::weak_ptr<bool> alive = alive_;
    engine_.engine->currentPositions([alive, log = webLog_,
                                      reason](const std::vector<audio::StingPosition>& positions) {
        postToMainContext([alive, log, reason, playing = positions.size()] {
            if (!alive.expired())
                log.error("Web content process %s; %zu sting(s) still playing", reason, playing);
        });
    });
    pageDidFinish_ = false;
    pageReady_ = false;
    if (action == PageRecovery::Action::reload) {
        webLog_.notice("Reloading the show page after its web process %s", reason);
        loadPage();  // the page asks for the whole state again when it is ready
        return;
    }
    webLog_.error(
        "The show page's web process ended %zu times within %lld s; showing an "
        "explanation instead of reloading",
        PageRecovery::kReloadsAllowed + 1, static_cast<long long>(PageRecovery::kWindow.count()));
    explainingCrash_ = true;
    const auto index = context_.webFolder / "index.html";
    const std::string html = pageCrashExplanation(fileURI(index.string()), reason);
    webkit_web_view_load_html(webView_, html.c_str(),
                              fileURI((context_.webFolder / "").string()).c_str());
}

gboolean ShowWindow::onScriptDialog(WebKitWebView*, WebKitScriptDialog* dialog, ShowWindow* self) {
    const auto type = webkit_script_dialog_get_dialog_type(dialog);
    const bool confirm = type == WEBKIT_SCRIPT_DIALOG_CONFIRM;
    if (type != WEBKIT_SCRIPT_DIALOG_ALERT && !confirm) return FALSE;
    GtkWidget* box = gtk_message_dialog_new(
        self->window_, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
        confirm ? GTK_MESSAGE_WARNING : GTK_MESSAGE_INFO, GTK_BUTTONS_NONE, "%s",
        webkit_script_dialog_get_message(dialog));
    gtk_dialog_add_button(GTK_DIALOG(box), "OK", GTK_RESPONSE_OK);
    if (confirm) gtk_dialog_add_button(GTK_DIALOG(box), "Cancel", GTK_RESPONSE_CANCEL);
    gtk_dialog_set_default_response(GTK_DIALOG(box), GTK_RESPONSE_OK);
    webkit_script_dialog_ref(dialog);
    g_signal_connect(
        box, "response",
        G_CALLBACK(+[](GtkDialog* shown, gint response, WebKitScriptDialog* asked) {
            if (webkit_script_dialog_get_dialog_type(asked) == WEBKIT_SCRIPT_DIALOG_CONFIRM) {
                webkit_script_dialog_confirm_set_confirmed(asked, response == GTK_RESPONSE_OK);
            }
            webkit_script_dialog_close(asked);
            webkit_script_dialog_unref(asked);
            gtk_widget_destroy(GTK_WIDGET(shown));
        }),
        dialog);
    gtk_widget_show(box);
    return TRUE;
}

}  // namespace brellow::app
