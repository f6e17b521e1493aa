#pragma once
// The application: one process per user session (a second "brellow FILE" hands the file to
// the running one), the main menu and its shortcuts, the start-up sequence with the licence
// gate, and the actions no single window owns.
#include <filesystem>
#include <memory>
#include <vector>

#include <gtk/gtk.h>

#include "app/app_context.h"
#include "app/application_home.h"
#include "app/screen_resilience.h"
#include "app/show_documents.h"
#include "app/utility_windows.h"
#include "base/log.h"
#include "updates/updater_controller.h"

namespace brellow::app {

inline constexpr const char* kAgreementVersion = "1";

class AppDelegate {
  public:
    AppDelegate();
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    int run(int argc, char** argv);

    /// True only when agreement version "1" has been accepted.
    bool shouldOpenUntitledFile() const;

  private:
    void startup();
    void activate();
    void open(const std::vector<std::filesystem::path>& files);
    void finishLaunching(const std::vector<std::filesystem::path>& files);
    void openFiles(const std::vector<std::filesystem::path>& files);
    void installActions();
    /// Quit from the menu: asks about shows that cannot be saved, and may be cancelled.
    void quit();
    void newUntitled();
    /// SIGTERM, SIGHUP, SIGINT: saves or keeps recovery copies without asking.
    void endOfSession();
    void shutDown();
    void stopAll();
    void showPreferences();
    void showLicenceAgreement();
    void checkForUpdates();
    void handleWake();
    void showAbout();

    GtkApplication* application_;
    AppContext context_;
    std::unique_ptr<ShowDocumentController> documents_;
    std::unique_ptr<AgreementWindow> eulaViewer_;
    std::unique_ptr<PreferencesWindow> preferences_;
    std::unique_ptr<ScreenResilience> screenResilience_;
    std::unique_ptr<updates::UpdaterController> updater_;
    std::unique_ptr<ApplicationHome> home_;  // the start window while no show is open
    bool launched_ = false;
    // While the licence gate is up: what was asked for meanwhile, opened once the user agrees.
    AgreementWindow* gate_ = nullptr;
    std::vector<std::filesystem::path> filesAfterGate_;
    bool untitledAfterGate_ = false;
    Logger log_{"AppDelegate"};
};

/// The main menu: Brellow, File, Edit, Playback, Window and Help.
GMenuModel* buildMainMenu();

/// Keyboard shortcuts of the main menu's actions, as (action, accelerator) pairs.
const std::vector<std::pair<const char*, const char*>>& menuAccelerators();

}  // namespace brellow::app
