#pragma once
// The licence agreement and settings windows: small windows whose whole content is a page
// talking to the native side through one message handler ("brwEula", "brwPrefs").
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gtk/gtk.h>
#include <nlohmann/json.hpp>

#include "app/app_context.h"
#include "app/web_view_host.h"

namespace brellow::app {

class AgreementWindow {
  public:
    enum class Mode { gate, view };
    AgreementWindow(AppContext& context, Mode mode, const std::string& agreementVersion);
    ~AgreementWindow();
    AgreementWindow(const AgreementWindow&) = delete;
    AgreementWindow& operator=(const AgreementWindow&) = delete;

    /// Shows the window modally until the page says "agree" or "quit"; answers whether the
    /// user agreed. Without its page, a plain dialog asks the same question.
    bool runGate();
    /// Ends a running gate as if the user had chosen Quit (a quit from the menu or a signal).
    void dismiss();
    /// Shows the agreement for reading (mode view), or brings the gate to the front.
    void show();
    bool agreed() const { return agreed_; }

  private:
    void onMessage(const nlohmann::json& body);

    Mode mode_;
    bool agreed_ = false;
    bool pageFound_ = false;
    GtkWindow* window_;
    std::unique_ptr<WebKitWebHost> host_;
    GMainLoop* modalLoop_ = nullptr;
    GtkDialog* fallbackDialog_ = nullptr;  // the plain question while it is asked
};

class PreferencesWindow {
  public:
    explicit PreferencesWindow(AppContext& context);
    ~PreferencesWindow();
    PreferencesWindow(const PreferencesWindow&) = delete;
    PreferencesWindow& operator=(const PreferencesWindow&) = delete;

    std::function<void(bool)> onSetTelemetry;
    std::function<void()> onReplayTutorial;
    std::function<bool()> telemetryEnabledProvider;
    std::function<void(bool)> onSetAutomaticUpdates;
    /// Unset: the page does not show the automatic-check setting.
    std::function<bool()> automaticUpdatesProvider;

    void show();
    void sendInitialState();

  private:
    void onMessage(const nlohmann::json& body);

    GtkWindow* window_;
    std::unique_ptr<WebKitWebHost> host_;
};

}  // namespace brellow::app
