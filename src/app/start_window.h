#pragma once
// The small window that is the running application's visible home while no show is open:
// New Show, Open Show… and the recent shows. Closing it quits, so Brellow never lingers
// unseen after its last show window closes.
#include <filesystem>
#include <functional>
#include <vector>

#include <gtk/gtk.h>

namespace brellow::app {

class StartWindow {
  public:
    struct Actions {
        std::function<void()> newShow;
        std::function<void()> openShow;
        std::function<void(const std::filesystem::path&)> openRecent;
        std::function<void()> closed;  // the user closed the window
    };

    StartWindow(GtkApplication* application, const std::vector<std::filesystem::path>& recent,
                Actions actions);
    /// Takes the window away without counting as the user closing it.
    ~StartWindow();
    StartWindow(const StartWindow&) = delete;
    StartWindow& operator=(const StartWindow&) = delete;

    GtkWindow* window() const { return window_; }
    void present();

  private:
    static gboolean onDeleteEvent(GtkWidget*, GdkEvent*, StartWindow* self);

    GtkWindow* window_;
    Actions actions_;
    std::vector<std::filesystem::path> recent_;
};

}  // namespace brellow::app
