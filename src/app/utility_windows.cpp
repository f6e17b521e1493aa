#include "app/utility_windows.h"

#include "bridge/host_pages.h"

namespace brellow::app {

namespace {

constexpr int kAgreementWidth = 580;
constexpr int kAgreementHeight = 640;
constexpr int kPreferencesWidth = 460;
constexpr int kPreferencesHeight = 360;

struct UtilityWindow {
    GtkWindow* window;
    WebKitWebView* view;
};

// A window that is only its page; closing it hides it, so it can be shown again.
UtilityWindow makeUtilityWindow(AppContext& context, const char* title, int width, int height,
                                bool closable) {
    auto* window = GTK_WINDOW(gtk_window_new(GTK_WINDOW_TOPLEVEL));
    gtk_window_set_application(window, context.application);
    gtk_window_set_title(window, title);
    gtk_window_set_default_size(window, width, height);
    gtk_window_set_resizable(window, FALSE);
    gtk_window_set_deletable(window, closable ? TRUE : FALSE);
    gtk_window_set_type_hint(window, GDK_WINDOW_TYPE_HINT_DIALOG);
    gtk_widget_set_name(GTK_WIDGET(window), "utility-window");
    g_signal_connect(window, "delete-event",
                     G_CALLBACK(+[](GtkWidget* self, GdkEvent*, gpointer closes) {
                         if (GPOINTER_TO_INT(closes) != 0) gtk_widget_hide(self);
                         return TRUE;
                     }),
                     GINT_TO_POINTER(closable ? 1 : 0));
    WebKitWebView* view = createWebView();
    gtk_container_add(GTK_CONTAINER(window), GTK_WIDGET(view));
    gtk_widget_show(GTK_WIDGET(view));
    return {window, view};
}

void bringToFront(GtkWindow* window) {
    gtk_window_set_position(window, GTK_WIN_POS_CENTER);
    gtk_window_present(window);
}

}  // namespace

AgreementWindow::AgreementWindow(AppContext& context, Mode mode,
                                 const std::string& agreementVersion)
    : mode_(mode) {
    const UtilityWindow made =
        makeUtilityWindow(context, "Brellow Licence Agreement", kAgreementWidth, kAgreementHeight,
                          mode == Mode::view);
    window_ = made.window;
    host_ = std::make_unique<WebKitWebHost>(made.view);
    host_->addScriptMessageHandler(
        "brwEula", [this](const std::string&, const nlohmann::json& body) { onMessage(body); });
    const auto page = context.webFolder / "EULA.html";
    std::error_code error;
    pageFound_ = std::filesystem::is_regular_file(page, error);
    if (pageFound_) {
        gchar* version = g_uri_escape_string(agreementVersion.c_str(), nullptr, FALSE);
        const std::string query =
            std::string("mode=") + (mode == Mode::gate ? "gate" : "view") + "&v=" + version;
        g_free(version);
        webkit_web_view_load_uri(made.view, fileURI(page.string(), query).c_str());
    }
}

AgreementWindow::~AgreementWindow() {
    if (modalLoop_ != nullptr) g_main_loop_quit(modalLoop_);
    host_.reset();
    gtk_widget_destroy(GTK_WIDGET(window_));
}

void AgreementWindow::onMessage(const nlohmann::json& body) {
    const auto action = bridge::pageAction(body);
    if (!action) return;
    if (*action == "agree" || *action == "quit") {
        agreed_ = *action == "agree";
        if (mode_ == Mode::gate && modalLoop_ != nullptr) g_main_loop_quit(modalLoop_);
    } else if (*action == "close") {
        gtk_window_close(window_);  // refused by the gate's window, which has no close button
    }
}

bool AgreementWindow::runGate() {
    if (!pageFound_) {
        // Without the page the user must still be able to agree or leave.
        GtkWidget* dialog = gtk_message_dialog_new(
            nullptr, GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE,
            "Do you agree to the Brellow Licence Agreement?");
        gtk_message_dialog_format_secondary_text(
            GTK_MESSAGE_DIALOG(dialog),
            "The agreement's page could not be found in this installation. It is also "
            "available from Help ▸ Licence Agreement once it is installed.");
        gtk_dialog_add_buttons(GTK_DIALOG(dialog), "Quit", GTK_RESPONSE_CANCEL, "Agree",
                               GTK_RESPONSE_ACCEPT, nullptr);
        fallbackDialog_ = GTK_DIALOG(dialog);
        agreed_ = gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_ACCEPT;
        fallbackDialog_ = nullptr;
        gtk_widget_destroy(dialog);
        return agreed_;
    }
    gtk_window_set_modal(window_, TRUE);
    bringToFront(window_);
    modalLoop_ = g_main_loop_new(nullptr, FALSE);
    g_main_loop_run(modalLoop_);
    g_main_loop_unref(modalLoop_);
    modalLoop_ = nullptr;
    gtk_widget_hide(GTK_WIDGET(window_));
    return agreed_;
}

void AgreementWindow::dismiss() {
    agreed_ = false;
    if (modalLoop_ != nullptr) g_main_loop_quit(modalLoop_);
    if (fallbackDialog_ != nullptr) gtk_dialog_response(fallbackDialog_, GTK_RESPONSE_CANCEL);
}

void AgreementWindow::show() {
    if (fallbackDialog_ != nullptr) {
        gtk_window_present(GTK_WINDOW(fallbackDialog_));
        return;
    }
    bringToFront(window_);
}

PreferencesWindow::PreferencesWindow(AppContext& context) {
    const UtilityWindow made =
        makeUtilityWindow(context, "Brellow Settings", kPreferencesWidth, kPreferencesHeight,
                          /*closable=*/true);
    window_ = made.window;
    host_ = std::make_unique<WebKitWebHost>(made.view);
    host_->addScriptMessageHandler(
        "brwPrefs", [this](const std::string&, const nlohmann::json& body) { onMessage(body); });
    const auto page = context.webFolder / "preferences.html";
    std::error_code error;
    if (std::filesystem::is_regular_file(page, error))
        webkit_web_view_load_uri(made.view, fileURI(page.string()).c_str());
    // A first showing can come before the page has its hook; tell it again once it loaded.
    g_signal_connect(
        made.view, "load-changed",
        G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, PreferencesWindow* self) {
            if (event == WEBKIT_LOAD_FINISHED) self->sendInitialState();
        }),
        this);
}

void PreferencesWindow::sendInitialState() {
    const bool enabled = telemetryEnabledProvider ? telemetryEnabledProvider() : false;
    std::optional<bool> updates;
    if (automaticUpdatesProvider) updates = automaticUpdatesProvider();
    host_->evaluateScript(bridge::preferencesInitScript(enabled, updates));
}

PreferencesWindow::~PreferencesWindow() {
    host_.reset();
    gtk_widget_destroy(GTK_WIDGET(window_));
}

void PreferencesWindow::show() {
    bringToFront(window_);
    sendInitialState();
}

void PreferencesWindow::onMessage(const nlohmann::json& body) {
    const auto action = bridge::pageAction(body);
    if (!action) return;
    if (*action == "setTelemetry") {
        if (onSetTelemetry) onSetTelemetry(bridge::telemetryValue(body));
    } else if (*action == "ready") {
        sendInitialState();  // what was sent before the page's script ran was lost
    } else if (*action == "setAutomaticUpdates") {
        if (onSetAutomaticUpdates) onSetAutomaticUpdates(bridge::telemetryValue(body));
    } else if (*action == "replayTutorial") {
        if (onReplayTutorial) onReplayTutorial();
    }
}

}  // namespace brellow::app
