#pragma once
// How the desktop application tells the operator about updates without ever interrupting a
// show: a found update from a background check is a desktop notification, which never takes
// the keyboard focus (the next hotkey still fires its sting); clicking it asks for the details,
// and only a check the user asked for opens a dialog. The question about automatic checks is a
// window that appears without taking the focus.
#include <gtk/gtk.h>

#include "base/log.h"
#include "updates/updater_controller.h"

namespace brellow::app {

class DesktopUpdatePresenter final : public updates::UpdatePresenter {
  public:
    /// `checkAction` is the application action that runs a check the user asked for.
    DesktopUpdatePresenter(GtkApplication* application, const char* checkAction)
        : application_(application), checkAction_(checkAction) {}

    void presentUpdateResult(const updates::UpdateResult& result, bool userInitiated) override;
    void askAboutAutomaticChecks(std::function<void(bool)> answer) override;

    /// The identifier of the update notification, to withdraw or replace it.
    static constexpr const char* kNotificationID = "update-available";

  private:
    GtkApplication* application_;
    const char* checkAction_;
    Logger log_{"Updates"};
};

}  // namespace brellow::app
