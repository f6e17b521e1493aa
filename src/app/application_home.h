#pragma once
// Keeps the start window up exactly while no show window is open, and the shows in use in the
// recently used list. It watches the application's windows, so the document controller needs
// to know nothing of it.
#include <memory>
#include <set>
#include <string>

#include <gtk/gtk.h>

#include "app/start_window.h"
#include "base/log.h"

namespace brellow::app {

class ShowDocumentController;

class ApplicationHome {
  public:
    ApplicationHome(GtkApplication* application, ShowDocumentController& documents,
                    StartWindow::Actions actions);
    /// Takes the start window away, if it is up, without quitting.
    ~ApplicationHome();
    ApplicationHome(const ApplicationHome&) = delete;
    ApplicationHome& operator=(const ApplicationHome&) = delete;

    /// Brings the start window up now if no show is open (used at start-up).
    void refresh();
    bool startWindowShown() const { return startWindow_ != nullptr; }
    void presentStartWindow();

  private:
    void scheduleRefresh();
    void watch(GtkWindow* window);

    GtkApplication* application_;
    ShowDocumentController& documents_;
    StartWindow::Actions actions_;
    std::unique_ptr<StartWindow> startWindow_;
    std::set<std::string> remembered_;
    gulong addedHandler_ = 0;
    gulong removedHandler_ = 0;
    guint pendingRefresh_ = 0;
    Logger log_{"AppDelegate"};
};

}  // namespace brellow::app
