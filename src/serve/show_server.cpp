#include "serve/show_server.h"

#include <glib/gstdio.h>

#include <ctime>
#include <fstream>

#include "base/files.h"
#include "base/main_context.h"
#include "base/text.h"
#include "base/user_dirs.h"
#include "base/uuid.h"
#include "bridge/host_pages.h"
#include "document/sting_import.h"
#include "document/sting_loading.h"
#include "media/sting_importer.h"
#include "serve/access_guard.h"
#include "serve/page_assets.h"

namespace brellow::serve {

namespace {

constexpr const char* kAgreementVersion = "1";
constexpr const char* kGatePage = "/EULA.html?mode=gate&v=1";

void respond(SoupServerMessage* message, guint status, const std::string& text) {
    soup_server_message_set_status(message, status, nullptr);
    soup_server_message_set_response(message, "text/plain; charset=utf-8", SOUP_MEMORY_COPY,
                                     text.data(), text.size());
}

const char* header(SoupServerMessage* message, const char* name) {
    return soup_message_headers_get_one(soup_server_message_get_request_headers(message), name);
}

std::string queryValue(GHashTable* query, const char* key) {
    if (query == nullptr) return {};
    const auto* value = static_cast<const char*>(g_hash_table_lookup(query, key));
    return value != nullptr ? value : "";
}

std::optional<std::string> readFile(const std::filesystem::path& path) {
    constexpr std::size_t kPageFileLimit = std::size_t{16} * 1024 * 1024;
    auto content = readRegularFile(path, kPageFileLimit);
    if (!content) return std::nullopt;
    return std::move(content).value();
}

}  // namespace

ShowServer::ShowServer(ServeOptions options)
    : options_(std::move(options)),
      token_(makeAccessToken()),
      webFolder_(resourceDirectory("Web")),
      demoFolder_(resourceDirectory("Demo")) {
    const auto support = userConfigDirectory();
    agreements_ = std::make_shared<onboarding::FileAgreementStore>(support);
    onboarding_ = std::make_shared<onboarding::FileOnboardingStore>(support);
    telemetry_ = std::make_shared<telemetry::TelemetryController>(
        std::make_shared<telemetry::FileTelemetryStore>(support),
        std::make_shared<telemetry::NoopTelemetryProvider>());
}

ShowServer::~ShowServer() {
    if (server_ != nullptr) {
        soup_server_disconnect(server_);
        g_object_unref(server_);
    }
    bridge_.reset();
    host_.reset();
}

bool ShowServer::agreementAccepted() const {
    return !onboarding::EULAGate::needsAcceptance(kAgreementVersion, agreements_->load());
}

Result<void, std::string> ShowServer::openShow() {
    document_ = std::make_shared<ShowDocument>();
    engine_ = audio::makeLiveEngine();
    if (options_.package) {
        loadStingsOnOpen(*document_, engine_.engine);
        if (auto read = document_->read(*options_.package); !read) {
            return fail("cannot open " + options_.package->string() + ": " + read.error().message);
        }
        savePath_ = *options_.package;
    } else {
        // Like an untitled window: kept as a recovery copy until saved elsewhere.
        savePath_ = recoveryFolder() / (Uuid::generate().toString() + ".stingshow");
    }
    // After the show's own device was chosen on reading it: this run's choice wins.
    if (options_.outputDevice) engine_.engine->setOutputDevice(*options_.outputDevice);
    autosaver_ = std::make_unique<Autosaver>(document_, savePath_);
    return {};
}

void ShowServer::installBridge() {
    bridge_ = bridge::BrellowBridge::create(host_, document_, engine_.engine, timers_);
    bridge_->onTourEvent = [this](bool skipped) {
        onboarding_->save({"1", !skipped, skipped});
        telemetry_->record(skipped ? "tour_skipped" : "tour_completed");
    };
    bridge_->onPageReady = [this] { onPageReady(); };
    bridge_->listOutputDevices = audio::listOutputDevices;
    bridge_->installHandlers(*host_);
    // There is no first navigation to wait for: events and ticks go to whoever is connected.
    bridge_->registerEngineObserver();
    bridge_->startPlayheadTimer();
    host_->onOtherMessage = [this](SoupWebsocketConnection* connection, PageKind kind,
                                   const std::string& name, const nlohmann::json& body) {
        onPageMessage(connection, kind, name, body);
    };
    host_->onOpen = [this](SoupWebsocketConnection* connection, PageKind kind) {
        if (kind != PageKind::preferences) return;
        host_->evaluateOn(
            connection, std::string("window.__brwPrefsInit && window.__brwPrefsInit({telemetry:") +
                            (telemetry_->isEnabled() ? "true" : "false") + "});");
    };
}

void ShowServer::onPageReady() {
    std::weak_ptr<bridge::BrellowBridge> weak = bridge_;
    engine_.checkOutput([weak](bool silent) {
        auto bridge = weak.lock();
        if (!bridge || !silent) return;
        bridge->sendEvent(bridge::silentOutputEvent());
    });
    if (tourOfferedThisRun_ || onboarding_->load()) return;
    tourOfferedThisRun_ = true;
    std::weak_ptr<WebSocketHost> host = host_;
    seedDemoStings({document_, engine_.engine, bridge_}, demoFolder_, [host] {
        if (auto alive = host.lock()) alive->evaluateScript(bridge::kStartTourScript);
    });
}

void ShowServer::onPageMessage(SoupWebsocketConnection* connection, PageKind kind,
                               const std::string& name, const nlohmann::json& body) {
    const auto action = bridge::pageAction(body);
    if (!action) return;
    if (kind == PageKind::agreement && name == "brwEula") {
        if (*action == "agree") {
            agreements_->save({kAgreementVersion, static_cast<std::int64_t>(std::time(nullptr))});
            log_.notice("Agreement accepted from a browser");
            host_->evaluateOn(connection, "location.replace('/');");
        } else if (*action == "quit") {
            if (onQuit) onQuit();
        } else if (*action == "close") {
            host_->evaluateOn(connection, "location.replace('/');");
        }
    } else if (kind == PageKind::preferences && name == "brwPrefs") {
        if (*action == "setTelemetry") {
            telemetry_->setEnabled(bridge::telemetryValue(body));
        } else if (*action == "replayTutorial") {
            onboarding_->clear();
            tourOfferedThisRun_ = false;  // the next show page to load starts it
        }
    }
}

Result<std::string, std::string> ShowServer::start() {
    if (auto opened = openShow(); !opened) return fail(opened.error());
    installBridge();

    server_ = soup_server_new("server-header", "Brellow", nullptr);
    for (const char* path : {"/", "/ws", "/upload", "/__brellow"})
        soup_server_add_early_handler(server_, path, authorize, this, nullptr);
    soup_server_add_handler(server_, "/", handleFile, this, nullptr);
    soup_server_add_handler(server_, "/upload", handleUpload, this, nullptr);
    soup_server_add_handler(server_, "/__brellow", handleHostScript, this, nullptr);
    soup_server_add_websocket_handler(server_, "/ws", nullptr, nullptr, handleWebSocket, this,
                                      nullptr);

    GInetAddress* address = g_inet_address_new_from_string(options_.listen.host.c_str());
    if (address == nullptr) return fail("--listen: not an IP address: " + options_.listen.host);
    GSocketAddress* socket =
        g_inet_socket_address_new(address, static_cast<guint16>(options_.listen.port));
    g_object_unref(address);
    GError* error = nullptr;
    const bool listening = soup_server_listen(server_, socket, SoupServerListenOptions(0), &error);
    g_object_unref(socket);
    if (!listening) {
        std::string message = error != nullptr ? error->message : "unknown error";
        g_clear_error(&error);
        return fail("cannot listen on " + options_.listen.host + ":" +
                    std::to_string(options_.listen.port) + ": " + message);
    }
    GSList* uris = soup_server_get_uris(server_);
    std::string url = uris != nullptr ? g_uri_to_string(static_cast<GUri*>(uris->data)) : "";
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
    if (!url.empty() && url.back() != '/') url += '/';
    log_.notice("Serving on %s", url.c_str());
    return url + "?" + kTokenQuery + "=" + token_;
}

void ShowServer::save() {
    if (autosaver_) autosaver_->saveNow();
}

// Every request: the access token (query or cookie); for WebSockets and uploads also the
// page's own origin; for uploads a size within the limit. A refusal ends the request here.
void ShowServer::authorize(SoupServer*, SoupServerMessage* message, const char* path,
                           GHashTable* query, gpointer data) {
    auto* self = static_cast<ShowServer*>(data);
    const std::string presented = queryValue(query, kTokenQuery);
    const char* cookies = header(message, "Cookie");
    const auto cookie = cookies != nullptr ? cookieValue(cookies, kTokenCookie) : std::nullopt;
    if (!sameToken(presented, self->token_) && !(cookie && sameToken(*cookie, self->token_))) {
        respond(message, SOUP_STATUS_UNAUTHORIZED,
                "Open the address Brellow printed when it started; it carries the access key.");
        return;
    }
    const std::string_view route = path;
    if (route == "/ws" || route == "/upload") {
        const char* origin = header(message, "Origin");
        const char* host = header(message, "Host");
        if (origin == nullptr || host == nullptr || !originMatchesHost(origin, host)) {
            respond(message, SOUP_STATUS_FORBIDDEN, "Requests must come from Brellow's own page.");
            return;
        }
    }
    if (route == "/upload") {
        const goffset length = soup_message_headers_get_content_length(
            soup_server_message_get_request_headers(message));
        if (length < 0 || static_cast<std::uint64_t>(length) > self->options_.uploadLimitBytes) {
            respond(message, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE,
                    "The file is too large to upload.");
            soup_message_headers_append(soup_server_message_get_response_headers(message),
                                        "Connection", "close");
        }
    }
}

void ShowServer::handleFile(SoupServer*, SoupServerMessage* message, const char* path,
                            GHashTable* query, gpointer data) {
    auto* self = static_cast<ShowServer*>(data);
    const std::string method = soup_server_message_get_method(message);
    if (method != "GET" && method != "HEAD") {
        respond(message, SOUP_STATUS_METHOD_NOT_ALLOWED, "Not allowed.");
        return;
    }
    const std::string_view route = path;
    if (!queryValue(query, kTokenQuery).empty()) {
        // The key moves from the address into a cookie, so it is not left in the address bar.
        const std::string cookie =
            std::string(kTokenCookie) + "=" + self->token_ + "; Path=/; HttpOnly; SameSite=Strict";
        soup_message_headers_append(soup_server_message_get_response_headers(message), "Set-Cookie",
                                    cookie.c_str());
        soup_server_message_set_redirect(message, SOUP_STATUS_SEE_OTHER, path);
        return;
    }
    const bool showPage = route == "/" || route == "/index.html";
    if (showPage && !self->agreementAccepted()) {
        soup_server_message_set_redirect(message, SOUP_STATUS_FOUND, kGatePage);
        return;
    }
    const auto file = fileUnderRoot(self->webFolder_, route);
    auto body = file ? readFile(*file) : std::nullopt;
    if (!body) {
        respond(message, SOUP_STATUS_NOT_FOUND, "Not found.");
        return;
    }
    const std::string name = file->filename().string();
    const char* kind = name == "index.html"         ? "show"
                       : name == "EULA.html"        ? "eula"
                       : name == "preferences.html" ? "prefs"
                                                    : nullptr;
    std::string content = std::move(*body);
    if (kind != nullptr) {
        std::string tags =
            std::string("<script src=\"/__brellow/transport.js?page=") + kind + "\"></script>";
        if (std::string_view(kind) == "show")
            tags += "<script src=\"/__brellow/bootstrap.js\"></script>";
        content = injectIntoHead(content, tags);
    }
    auto* headers = soup_server_message_get_response_headers(message);
    soup_message_headers_append(headers, "Cache-Control", "no-store");
    soup_message_headers_append(headers, "X-Content-Type-Options", "nosniff");
    soup_message_headers_append(headers, "Referrer-Policy", "no-referrer");
    soup_server_message_set_status(message, SOUP_STATUS_OK, nullptr);
    soup_server_message_set_response(message, contentTypeFor(name), SOUP_MEMORY_COPY,
                                     content.data(), content.size());
}

void ShowServer::handleHostScript(SoupServer*, SoupServerMessage* message, const char* path,
                                  GHashTable*, gpointer data) {
    auto* self = static_cast<ShowServer*>(data);
    const std::string_view route = path;
    std::string script;
    if (route == "/__brellow/transport.js") {
        script = transportScript();
    } else if (route == "/__brellow/bootstrap.js") {
        script = self->host_->userScripts();
    } else {
        respond(message, SOUP_STATUS_NOT_FOUND, "Not found.");
        return;
    }
    soup_message_headers_append(soup_server_message_get_response_headers(message), "Cache-Control",
                                "no-store");
    soup_server_message_set_status(message, SOUP_STATUS_OK, nullptr);
    soup_server_message_set_response(message, "text/javascript; charset=utf-8", SOUP_MEMORY_COPY,
                                     script.data(), script.size());
}

void ShowServer::handleUpload(SoupServer*, SoupServerMessage* message, const char*,
                              GHashTable* query, gpointer data) {
    auto* self = static_cast<ShowServer*>(data);
    if (std::string_view(soup_server_message_get_method(message)) != "POST") {
        respond(message, SOUP_STATUS_METHOD_NOT_ALLOWED, "Upload with POST.");
        return;
    }
    const auto name = safeUploadName(queryValue(query, "name"));
    const std::string extension =
        name ? toLowerUnicode(std::filesystem::path(*name).extension().string()) : "";
    if (!name || extension.size() < 2 || !media::isImportableExtension(extension.substr(1))) {
        respond(message, SOUP_STATUS_UNSUPPORTED_MEDIA_TYPE, "not an audio file Brellow imports");
        return;
    }
    GBytes* bytes = soup_message_body_flatten(soup_server_message_get_request_body(message));
    gsize size = 0;
    const auto* content = static_cast<const char*>(g_bytes_get_data(bytes, &size));
    if (size > self->options_.uploadLimitBytes) {
        g_bytes_unref(bytes);
        respond(message, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, "The file is too large to upload.");
        return;
    }
    gchar* folder = g_dir_make_tmp("brellow-upload-XXXXXX", nullptr);
    if (folder == nullptr) {
        g_bytes_unref(bytes);
        respond(message, SOUP_STATUS_INSUFFICIENT_STORAGE, "no room for the upload");
        return;
    }
    const std::filesystem::path directory(folder);
    g_free(folder);
    const auto file = directory / *name;
    std::ofstream out(file, std::ios::binary);
    out.write(content, static_cast<std::streamsize>(size));
    out.close();
    g_bytes_unref(bytes);
    if (!out) {
        removeTreeQuietly(directory);
        respond(message, SOUP_STATUS_INSUFFICIENT_STORAGE, "no room for the upload");
        return;
    }
    // Only the importer reads the file; it goes when the import is done.
    importStingFiles({self->document_, self->engine_.engine, self->bridge_}, {file},
                     [directory](std::size_t) { removeTreeQuietly(directory); });
    respond(message, SOUP_STATUS_ACCEPTED, "importing");
}

void ShowServer::handleWebSocket(SoupServer*, SoupServerMessage* message, const char*,
                                 SoupWebsocketConnection* connection, gpointer data) {
    auto* self = static_cast<ShowServer*>(data);
    const char* query = g_uri_get_query(soup_server_message_get_uri(message));
    GHashTable* form = query != nullptr ? soup_form_decode(query) : nullptr;
    const auto kind = pageKindFromName(queryValue(form, "page"));
    if (form != nullptr) g_hash_table_unref(form);
    // The show itself is only for browsers past the licence gate.
    if (!kind || (*kind == PageKind::show && !self->agreementAccepted())) {
        soup_websocket_connection_close(connection, SOUP_WEBSOCKET_CLOSE_POLICY_VIOLATION, nullptr);
        return;
    }
    self->host_->adopt(connection, *kind);
}

}  // namespace brellow::serve
