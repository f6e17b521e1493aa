#include "app/app_delegate.h"

#include <glib-unix.h>

#include <csignal>
#include <ctime>

#include "app/action_table.h"
#include "app/update_presenter.h"
#include "base/main_context.h"
#include "base/user_dirs.h"
#include "updates/update_checker.h"

namespace brellow::app {

namespace {

constexpr const char* kStyle = R"css(
#show-window, #utility-window { background-color: #1a1c1f; }
#title-strip, #title-strip box { background: transparent; }
#document-title { color: #9aa1a9; font-size: 12px; }
#title-strip button { min-height: 22px; min-width: 22px; padding: 2px; margin: 0 2px;
                      border-radius: 11px; color: #c8ccd1; }
)css";

// Without a session bus there is nobody to hand files to: run as a single process.
bool sessionBusReachable() {
    if (g_getenv("DBUS_SESSION_BUS_ADDRESS") != nullptr) return true;
    const char* runtime = g_getenv("XDG_RUNTIME_DIR");
    if (runtime == nullptr) return false;
    gchar* socket = g_build_filename(runtime, "bus", nullptr);
    const bool exists = g_file_test(socket, G_FILE_TEST_EXISTS);
    g_free(socket);
    return exists;
}

}  // namespace

AppDelegate::AppDelegate() {
    const auto flags = GApplicationFlags(G_APPLICATION_HANDLES_OPEN |
                                         (sessionBusReachable() ? 0 : G_APPLICATION_NON_UNIQUE));
    application_ = gtk_application_new(kBundleIdentifier, flags);
    g_signal_connect_swapped(application_, "startup",
                             G_CALLBACK(+[](AppDelegate* self) { self->startup(); }), this);
    g_signal_connect_swapped(application_, "activate",
                             G_CALLBACK(+[](AppDelegate* self) { self->activate(); }), this);
    g_signal_connect(
        application_, "open",
        G_CALLBACK(+[](GApplication*, GFile** files, gint count, gchar*, AppDelegate* self) {
            std::vector<std::filesystem::path> paths;
            for (gint i = 0; i < count; ++i) {
                gchar* path = g_file_get_path(files[i]);
                if (path != nullptr) paths.emplace_back(path);
                g_free(path);
            }
            self->open(paths);
        }),
        this);
}

AppDelegate::~AppDelegate() {
    home_.reset();
    documents_.reset();
    eulaViewer_.reset();
    preferences_.reset();
    screenResilience_.reset();
    updater_.reset();
    if (context_.mainMenu != nullptr) g_object_unref(context_.mainMenu);
    g_object_unref(application_);
}

int AppDelegate::run(int argc, char** argv) {
    return g_application_run(G_APPLICATION(application_), argc, argv);
}

bool AppDelegate::shouldOpenUntitledFile() const {
    return !onboarding::EULAGate::needsAcceptance(kAgreementVersion, context_.agreements->load());
}

void AppDelegate::startup() {
    g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", TRUE, nullptr);
    GtkCssProvider* style = gtk_css_provider_new();
    gtk_css_provider_load_from_data(style, kStyle, -1, nullptr);
    gtk_style_context_add_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(style),
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(style);

    const auto support = userConfigDirectory();
    context_.application = application_;
    context_.mainMenu = buildMainMenu();
    context_.agreements = std::make_shared<onboarding::FileAgreementStore>(support);
    context_.onboarding = std::make_shared<onboarding::FileOnboardingStore>(support);
    context_.telemetry = std::make_shared<telemetry::TelemetryController>(
        std::make_shared<telemetry::FileTelemetryStore>(support),
        std::make_shared<telemetry::NoopTelemetryProvider>());
    context_.webFolder = resourceDirectory("Web");
    context_.demoFolder = resourceDirectory("Demo");
    documents_ = std::make_unique<ShowDocumentController>(context_);

    installActions();
    // The application stays when its last window closes; Quit ends it.
    g_application_hold(G_APPLICATION(application_));
    // The session ending (or Ctrl+C in a terminal) asks nothing: what cannot be saved where
    // it belongs is kept as a recovery copy.
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        g_unix_signal_add(
            signal,
            [](gpointer self) {
                static_cast<AppDelegate*>(self)->endOfSession();
                return G_SOURCE_REMOVE;
            },
            this);
    }
    log_.notice("Brellow will finish launching");
}

void AppDelegate::installActions() {
    static constexpr ActionEntry<AppDelegate> kEntries[] = {
        {"about", [](AppDelegate& self) { self.showAbout(); }},
        {"preferences", [](AppDelegate& self) { self.showPreferences(); }},
        {"check-updates", [](AppDelegate& self) { self.checkForUpdates(); }},
        {"quit", [](AppDelegate& self) { self.quit(); }},
        {"new", [](AppDelegate& self) { self.newUntitled(); }},
        {"open",
         [](AppDelegate& self) {
             if (self.gate_ != nullptr) return self.gate_->show();
             if (self.documents_)
                 self.documents_->chooseAndOpen(
                     gtk_application_get_active_window(self.application_));
         }},
        {"stop-all", [](AppDelegate& self) { self.stopAll(); }},
        {"revert",
         [](AppDelegate& self) {
             if (OpenShow* show = self.documents_->current()) self.documents_->revertToSaved(*show);
         }},
        {"browse-versions",
         [](AppDelegate& self) {
             if (OpenShow* show = self.documents_->current())
                 self.documents_->browseVersions(*show);
         }},
        {"licence", [](AppDelegate& self) { self.showLicenceAgreement(); }},
    };
    addActions<AppDelegate>(G_ACTION_MAP(application_), kEntries, *this);
    for (const auto& [action, accelerator] : menuAccelerators()) {
        const char* accelerators[] = {accelerator, nullptr};
        gtk_application_set_accels_for_action(application_, action, accelerators);
    }
}

void AppDelegate::activate() {
    if (!launched_) {
        finishLaunching({});
        return;
    }
    if (gate_ != nullptr) return gate_->show();
    if (!documents_) return;  // quitting
    if (OpenShow* show = documents_->current()) {
        show->window->present();
    } else if (!documents_->shows().empty()) {
        documents_->shows().front()->window->present();
    } else if (shouldOpenUntitledFile()) {
        documents_->newUntitled();
    }
}

void AppDelegate::open(const std::vector<std::filesystem::path>& files) {
    if (!launched_) {
        finishLaunching(files);
    } else if (gate_ != nullptr) {
        // A second launch (or the file manager) during the gate: after agreement, not before.
        filesAfterGate_.insert(filesAfterGate_.end(), files.begin(), files.end());
        gate_->show();
    } else {
        openFiles(files);
    }
}

void AppDelegate::finishLaunching(const std::vector<std::filesystem::path>& files) {
    launched_ = true;
    log_.notice("Brellow launched; docs=%ld windows=%ld",
                static_cast<long>(documents_->shows().size()),
                static_cast<long>(g_list_length(gtk_application_get_windows(application_))));
    if (!shouldOpenUntitledFile()) {
        AgreementWindow gate(context_, AgreementWindow::Mode::gate, kAgreementVersion);
        gate_ = &gate;
        const bool agreed = gate.runGate();
        gate_ = nullptr;
        if (!agreed) {
            log_.notice("Licence not agreed; quitting");
            quit();
            return;
        }
        context_.agreements->save(
            {kAgreementVersion, static_cast<std::int64_t>(std::time(nullptr))});
    }
    documents_->offerRecoveredShows();
    auto wanted = files;
    wanted.insert(wanted.end(), filesAfterGate_.begin(), filesAfterGate_.end());
    filesAfterGate_.clear();
    openFiles(wanted);
    if (documents_->shows().empty() || untitledAfterGate_) documents_->newUntitled();
    untitledAfterGate_ = false;
    StartWindow::Actions home;
    home.newShow = [this] { newUntitled(); };
    home.openShow = [this] {
        documents_->chooseAndOpen(gtk_application_get_active_window(application_));
    };
    home.openRecent = [this](const std::filesystem::path& package) { openFiles({package}); };
    home.closed = [this] { quit(); };
    home_ = std::make_unique<ApplicationHome>(application_, *documents_, std::move(home));
    home_->refresh();
    context_.telemetry->startIfEnabled();
    screenResilience_ = std::make_unique<ScreenResilience>(application_);
    screenResilience_->onWake = [this] { handleWake(); };

    updates::UpdatesConfig config;
    config.currentVersion = BRELLOW_VERSION;
    config.systemVersion = updates::systemVersion();
    if (const char* feed = g_getenv("BRELLOW_UPDATE_FEED")) config.feedURL = feed;
    updater_ = std::make_unique<updates::UpdaterController>(
        config, std::make_shared<DesktopUpdatePresenter>(application_, "app.check-updates"),
        userConfigDirectory());
    updater_->start();
}

void AppDelegate::openFiles(const std::vector<std::filesystem::path>& files) {
    for (const auto& file : files) {
        if (auto opened = documents_->openPackage(file); !opened) {
            log_.error("openDocument failed: %s", opened.error().c_str());
            ShowDocumentController::showError(
                gtk_application_get_active_window(application_),
                "The show “" + packageDisplayName(file) + "” could not be opened.", opened.error());
        }
    }
}

void AppDelegate::newUntitled() {
    if (gate_ != nullptr) {
        untitledAfterGate_ = true;
        gate_->show();
    } else if (documents_) {
        documents_->newUntitled();
    }
}

void AppDelegate::quit() {
    // At the gate, quitting answers the gate; finishLaunching then quits for real.
    if (gate_ != nullptr) return gate_->dismiss();
    if (documents_ && !documents_->saveAllForQuit()) return;  // the user cancelled
    shutDown();
}

void AppDelegate::endOfSession() {
    if (gate_ != nullptr) return gate_->dismiss();
    if (documents_) documents_->keepEverythingForSessionEnd();
    shutDown();
}

void AppDelegate::shutDown() {
    home_.reset();  // windows closing from here on are the quit, not a reason for a home
    documents_.reset();
    eulaViewer_.reset();
    preferences_.reset();
    g_application_quit(G_APPLICATION(application_));
}

void AppDelegate::stopAll() {
    if (!documents_) return;
    if (OpenShow* show = documents_->current()) show->window->stopAll();
}

void AppDelegate::showPreferences() {
    if (!preferences_) {
        preferences_ = std::make_unique<PreferencesWindow>(context_);
        auto telemetry = context_.telemetry;
        auto onboardingStore = context_.onboarding;
        preferences_->telemetryEnabledProvider = [telemetry] { return telemetry->isEnabled(); };
        preferences_->onSetTelemetry = [telemetry](bool enabled) {
            telemetry->setEnabled(enabled);
        };
        preferences_->onReplayTutorial = [onboardingStore] { onboardingStore->clear(); };
        preferences_->automaticUpdatesProvider = [this] {
            return updater_ && updater_->automaticallyChecksForUpdates();
        };
        preferences_->onSetAutomaticUpdates = [this](bool enabled) {
            if (updater_) updater_->setAutomaticallyChecksForUpdates(enabled);
        };
    }
    preferences_->show();
}

void AppDelegate::showLicenceAgreement() {
    if (!eulaViewer_) {
        eulaViewer_ = std::make_unique<AgreementWindow>(context_, AgreementWindow::Mode::view,
                                                        kAgreementVersion);
    }
    eulaViewer_->show();
}

void AppDelegate::checkForUpdates() {
    if (updater_) updater_->checkForUpdates();
}

void AppDelegate::handleWake() {
    if (!documents_) return;
    for (const auto& show : documents_->shows()) {
        show->engine.engine->recoverAfterWake();
        std::weak_ptr<bridge::BrellowBridge> bridge = show->window->bridge();
        postToMainContext([bridge] {
            if (auto alive = bridge.lock()) alive->sendStateSnapshot();
        });
    }
}

void AppDelegate::showAbout() {
    gtk_show_about_dialog(gtk_application_get_active_window(application_), "program-name",
                          "Brellow", "version", BRELLOW_VERSION, "comments",
                          "Live sound cues for theatre, radio and events.", "logo-icon-name",
                          kBundleIdentifier, nullptr);
}

}  // namespace brellow::app
