#pragma once
// Keeps windows reachable when monitors come and go, and tells the application when the
// computer wakes from sleep (logind's PrepareForSleep(false) on the system bus).
#include <functional>

#include <gtk/gtk.h>

#include "base/log.h"

namespace brellow::app {

class ScreenResilience {
  public:
    explicit ScreenResilience(GtkApplication* application);
    ~ScreenResilience();
    ScreenResilience(const ScreenResilience&) = delete;
    ScreenResilience& operator=(const ScreenResilience&) = delete;

    std::function<void()> onWake;

    /// Moves every visible window that lies on no monitor to the middle of the primary
    /// monitor's work area, keeping its size.
    void recoverOffscreenWindows();

  private:
    void wake();
    static void onBusReady(GObject* source, GAsyncResult* result, gpointer self);

    GtkApplication* application_;
    GdkDisplay* display_;
    GCancellable* cancellable_;
    GDBusConnection* systemBus_ = nullptr;
    guint sleepSubscription_ = 0;
    Logger log_{"General"};
};

}  // namespace brellow::app
