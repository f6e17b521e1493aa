#pragma once
// The headless mode: one show with its engine and bridge, served to browsers. GET serves the
// pages (with the transport in front of their scripts), /ws carries the bridge, /upload takes
// audio files into the import flow. The same start-up rules as the window apply: the licence
// gate, the tour on a run's first show page, autosave in place.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <libsoup/soup.h>

#include "audio/engine/live_engine.h"
#include "base/log.h"
#include "base/result.h"
#include "bridge/brellow_bridge.h"
#include "document/autosaver.h"
#include "document/show_document.h"
#include "onboarding/onboarding.h"
#include "serve/serve_options.h"
#include "serve/web_socket_host.h"
#include "telemetry/telemetry.h"

namespace brellow::serve {

class ShowServer {
  public:
    explicit ShowServer(ServeOptions options);
    ~ShowServer();
    ShowServer(const ShowServer&) = delete;
    ShowServer& operator=(const ShowServer&) = delete;

    /// Opens the show and starts listening; answers the address to open, token included.
    Result<std::string, std::string> start();
    /// Saves the show where it belongs.
    void save();
    /// Called when the program should end (the licence page's Quit).
    std::function<void()> onQuit;

  private:
    static void handleFile(SoupServer*, SoupServerMessage* message, const char* path,
                           GHashTable* query, gpointer self);
    static void handleUpload(SoupServer*, SoupServerMessage* message, const char* path,
                             GHashTable* query, gpointer self);
    static void handleHostScript(SoupServer*, SoupServerMessage* message, const char* path,
                                 GHashTable* query, gpointer self);
    static void handleWebSocket(SoupServer*, SoupServerMessage* message, const char* path,
                                SoupWebsocketConnection* connection, gpointer self);
    static void authorize(SoupServer*, SoupServerMessage* message, const char* path,
                          GHashTable* query, gpointer self);

    Result<void, std::string> openShow();
    void installBridge();
    void onPageMessage(SoupWebsocketConnection* connection, PageKind kind, const std::string& name,
                       const nlohmann::json& body);
    void onPageReady();
    bool agreementAccepted() const;

    ServeOptions options_;
    std::string token_;
    std::filesystem::path webFolder_;
    std::filesystem::path demoFolder_;
    std::filesystem::path savePath_;
    std::shared_ptr<ShowDocument> document_;
    audio::LiveEngine engine_;
    std::shared_ptr<WebSocketHost> host_ = std::make_shared<WebSocketHost>();
    bridge::GLibTickTimers timers_;
    std::shared_ptr<bridge::BrellowBridge> bridge_;
    std::unique_ptr<Autosaver> autosaver_;
    std::shared_ptr<onboarding::AgreementStore> agreements_;
    std::shared_ptr<onboarding::OnboardingStore> onboarding_;
    std::shared_ptr<telemetry::TelemetryController> telemetry_;
    bool tourOfferedThisRun_ = false;
    SoupServer* server_ = nullptr;
    Logger log_{"Serve"};
};

/// Runs the headless mode until Ctrl+C (or the licence page's Quit); the exit status.
int runServe(const std::vector<std::string>& args);

}  // namespace brellow::serve
