#include "app/screen_resilience.h"

#include <vector>

#include "app/window_geometry.h"

namespace brellow::app {

namespace {

Rect rectOf(const GdkRectangle& area) {
    return {area.x, area.y, area.width, area.height};
}

void displayChanged(GdkDisplay*, GdkMonitor*, ScreenResilience* self) {
    self->recoverOffscreenWindows();
}

}  // namespace

ScreenResilience::ScreenResilience(GtkApplication* application)
    : application_(application),
      display_(gdk_display_get_default()),
      cancellable_(g_cancellable_new()) {
    if (display_ != nullptr) {
        g_signal_connect(display_, "monitor-added", G_CALLBACK(displayChanged), this);
        g_signal_connect(display_, "monitor-removed", G_CALLBACK(displayChanged), this);
    }
    // No system bus (a container, a test machine) simply means no wake events.
    g_bus_get(G_BUS_TYPE_SYSTEM, cancellable_, onBusReady, this);
}

ScreenResilience::~ScreenResilience() {
    g_cancellable_cancel(cancellable_);
    g_object_unref(cancellable_);
    if (display_ != nullptr) g_signal_handlers_disconnect_by_data(display_, this);
    if (systemBus_ != nullptr) {
        g_dbus_connection_signal_unsubscribe(systemBus_, sleepSubscription_);
        g_object_unref(systemBus_);
    }
}

void ScreenResilience::onBusReady(GObject*, GAsyncResult* result, gpointer data) {
    GDBusConnection* bus = g_bus_get_finish(result, nullptr);
    if (bus == nullptr) return;  // cancelled (we are gone) or no bus
    auto* self = static_cast<ScreenResilience*>(data);
    self->systemBus_ = bus;
    self->sleepSubscription_ = g_dbus_connection_signal_subscribe(
        bus, "org.freedesktop.login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
        "/org/freedesktop/login1", nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
           GVariant* parameters, gpointer resilience) {
            gboolean goingToSleep = TRUE;
            if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(b)")))
                g_variant_get(parameters, "(b)", &goingToSleep);
            if (!goingToSleep) static_cast<ScreenResilience*>(resilience)->wake();
        },
        self, nullptr);
}

void ScreenResilience::wake() {
    recoverOffscreenWindows();
    if (onWake) onWake();
}

void ScreenResilience::recoverOffscreenWindows() {
    if (display_ == nullptr) return;
    std::vector<Rect> monitors;
    const int count = gdk_display_get_n_monitors(display_);
    for (int i = 0; i < count; ++i) {
        GdkRectangle geometry;
        gdk_monitor_get_geometry(gdk_display_get_monitor(display_, i), &geometry);
        monitors.push_back(rectOf(geometry));
    }
    if (monitors.empty()) return;
    GdkMonitor* target = gdk_display_get_primary_monitor(display_);
    if (target == nullptr) target = gdk_display_get_monitor(display_, 0);
    GdkRectangle workArea;
    gdk_monitor_get_workarea(target, &workArea);

    for (GList* item = gtk_application_get_windows(application_); item != nullptr;
         item = item->next) {
        auto* window = GTK_WINDOW(item->data);
        if (!gtk_widget_get_visible(GTK_WIDGET(window))) continue;
        Rect frame;
        gtk_window_get_position(window, &frame.x, &frame.y);
        gtk_window_get_size(window, &frame.width, &frame.height);
        const auto moved = recoveredFrame(frame, monitors, rectOf(workArea));
        if (!moved) continue;
        gtk_window_move(window, moved->x, moved->y);
        const char* title = gtk_window_get_title(window);
        log_.notice("Brellow: recovered off-screen window '%s' after display change",
                    title != nullptr ? title : "");
    }
}

}  // namespace brellow::app
