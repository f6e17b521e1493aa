#include "app/application_home.h"

#include "app/recent_shows.h"
#include "app/show_documents.h"

namespace brellow::app {

namespace {

constexpr std::size_t kRecentShowsListed = 10;

}  // namespace

ApplicationHome::ApplicationHome(GtkApplication* application, ShowDocumentController& documents,
                                 StartWindow::Actions actions)
    : application_(application), documents_(documents), actions_(std::move(actions)) {
    // Windows come and go inside the document controller's operations (a show closing is
    // erased from its list while its window is destroyed): look once things have settled.
    auto changed = +[](GtkApplication*, GtkWindow* window, ApplicationHome* self) {
        self->watch(window);
        self->scheduleRefresh();
    };
    addedHandler_ = g_signal_connect(application_, "window-added", G_CALLBACK(changed), this);
    removedHandler_ = g_signal_connect(application_, "window-removed", G_CALLBACK(changed), this);
    for (GList* window = gtk_application_get_windows(application_); window != nullptr;
         window = window->next)
        watch(GTK_WINDOW(window->data));
}

ApplicationHome::~ApplicationHome() {
    if (pendingRefresh_ != 0) g_source_remove(pendingRefresh_);
    g_signal_handler_disconnect(application_, addedHandler_);
    g_signal_handler_disconnect(application_, removedHandler_);
    for (GList* window = gtk_application_get_windows(application_); window != nullptr;
         window = window->next)
        g_signal_handlers_disconnect_by_data(window->data, this);
    startWindow_.reset();
}

void ApplicationHome::watch(GtkWindow* window) {
    // A show saved under a new name changes its window's title: remember the new package.
    g_signal_handlers_disconnect_by_data(window, this);
    g_signal_connect_swapped(window, "notify::title",
                             G_CALLBACK(+[](ApplicationHome* self) { self->scheduleRefresh(); }),
                             this);
}

void ApplicationHome::scheduleRefresh() {
    if (pendingRefresh_ != 0) return;
    pendingRefresh_ = g_idle_add(
        [](gpointer data) {
            auto* self = static_cast<ApplicationHome*>(data);
            self->pendingRefresh_ = 0;
            self->refresh();
            return G_SOURCE_REMOVE;
        },
        this);
}

void ApplicationHome::refresh() {
    // Each package goes to the top of the list when it opens (or is saved under a new name).
    std::set<std::string> open;
    for (const auto& show : documents_.shows()) {
        if (!show->file) continue;
        open.insert(show->file->string());
        if (!remembered_.contains(show->file->string())) rememberRecentShow(*show->file);
    }
    remembered_ = std::move(open);
    if (!documents_.shows().empty()) {
        startWindow_.reset();
        return;
    }
    if (startWindow_) return;
    const auto recent = recentShows(kRecentShowsListed);
    startWindow_ = std::make_unique<StartWindow>(application_, recent, actions_);
    startWindow_->present();
    log_.notice("No show open: start window shown with %zu recent show(s)", recent.size());
}

void ApplicationHome::presentStartWindow() {
    if (startWindow_) startWindow_->present();
}

}  // namespace brellow::app
