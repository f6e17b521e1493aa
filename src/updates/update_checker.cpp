#include "updates/update_checker.h"

#include <libsoup/soup.h>

#include <fstream>

namespace brellow::updates {

namespace {

// One fetch: the body is read in chunks up to the size limit, and the whole fetch is
// cancelled when its deadline passes. Every pending operation holds a reference, so a
// callback that arrives after the result was delivered still finds the fetch alive.
struct Fetch : std::enable_shared_from_this<Fetch> {
    UpdatesConfig config;
    std::function<void(UpdateResult)> done;
    SoupSession* session = nullptr;
    SoupMessage* message = nullptr;
    GCancellable* cancellable = g_cancellable_new();
    GInputStream* stream = nullptr;
    guint deadline = 0;
    std::string body;
    bool finished = false;

    ~Fetch() {
        if (stream != nullptr) g_object_unref(stream);
        if (message != nullptr) g_object_unref(message);
        if (session != nullptr) g_object_unref(session);
        g_object_unref(cancellable);
    }

    // A reference handed to GLib with an operation; the callback takes it back.
    gpointer hold() { return new std::shared_ptr<Fetch>(shared_from_this()); }
    static std::shared_ptr<Fetch> release(gpointer data) {
        auto* held = static_cast<std::shared_ptr<Fetch>*>(data);
        std::shared_ptr<Fetch> fetch = std::move(*held);
        delete held;
        return fetch;
    }

    void finish(UpdateResult result) {
        if (finished) return;
        finished = true;
        if (deadline != 0) g_source_remove(deadline);
        deadline = 0;
        g_cancellable_cancel(cancellable);
        auto callback = std::move(done);
        callback(std::move(result));
    }

    void failWith(const std::string& why) {
        finish(CheckFailed{"The update check failed: " + why});
    }

    static void onSent(GObject* source, GAsyncResult* result, gpointer data) {
        auto fetch = release(data);
        GError* error = nullptr;
        GInputStream* stream = soup_session_send_finish(SOUP_SESSION(source), result, &error);
        if (stream != nullptr) fetch->stream = stream;
        const std::string why = error != nullptr ? error->message : "no answer";
        if (error != nullptr) g_error_free(error);
        if (fetch->finished) return;  // already timed out
        if (stream == nullptr) {
            fetch->failWith(why);
            return;
        }
        const guint status = soup_message_get_status(fetch->message);
        if (status < 200 || status >= 300) {
            fetch->failWith("the server answered " + std::to_string(status));
            return;
        }
        fetch->readMore();
    }

    void readMore() {
        g_input_stream_read_bytes_async(stream, gsize{64} * 1024, G_PRIORITY_DEFAULT, cancellable,
                                        &Fetch::onRead, hold());
    }

    static void onRead(GObject* source, GAsyncResult* result, gpointer data) {
        auto fetch = release(data);
        GError* error = nullptr;
        GBytes* chunk = g_input_stream_read_bytes_finish(G_INPUT_STREAM(source), result, &error);
        const std::string why = error != nullptr ? error->message : "the answer broke off";
        if (error != nullptr) g_error_free(error);
        if (fetch->finished || chunk == nullptr) {
            if (chunk != nullptr) g_bytes_unref(chunk);
            if (!fetch->finished) fetch->failWith(why);
            return;
        }
        gsize size = 0;
        const auto* bytes = static_cast<const char*>(g_bytes_get_data(chunk, &size));
        fetch->body.append(bytes, size);
        g_bytes_unref(chunk);
        if (size == 0) {
            fetch->parse();
        } else if (fetch->body.size() > kMaxFeedBytes) {
            fetch->failWith("the feed is too large");
        } else {
            fetch->readMore();
        }
    }

    void parse() {
        auto items = parseAppcast(body);
        if (!items) {
            failWith(items.error());
            return;
        }
        finish(chooseUpdate(*items, config));
    }

    static gboolean onDeadline(gpointer data) {
        auto fetch = *static_cast<std::shared_ptr<Fetch>*>(data);
        fetch->deadline = 0;
        fetch->failWith("the update server did not answer in time");
        return G_SOURCE_REMOVE;
    }
};

}  // namespace

std::set<std::string> allowedChannels(const UpdatesConfig& config) {
    if (!config.channel || config.channel->empty()) return {};
    return {*config.channel};
}

UpdateResult chooseUpdate(const std::vector<AppcastItem>& items, const UpdatesConfig& config) {
    const auto allowed = allowedChannels(config);
    const AppcastItem* best = nullptr;
    for (const AppcastItem& item : items) {
        if (item.channel && !item.channel->empty() && allowed.count(*item.channel) == 0) continue;
        if (item.minimumSystemVersion && !config.systemVersion.empty() &&
            compareVersions(*item.minimumSystemVersion, config.systemVersion) > 0) {
            continue;
        }
        if (compareVersions(item.version, config.currentVersion) <= 0) continue;
        if (best == nullptr || compareVersions(item.version, best->version) > 0) best = &item;
    }
    if (best == nullptr) return UpToDate{config.currentVersion};
    return UpdateAvailable{*best};
}

void checkFeed(const UpdatesConfig& config, std::function<void(UpdateResult)> done) {
    auto fetch = std::make_shared<Fetch>();
    fetch->config = config;
    fetch->done = std::move(done);
    fetch->session = soup_session_new_with_options("timeout", config.timeoutSec, "user-agent",
                                                   "Brellow", nullptr);
    fetch->message = soup_message_new("GET", config.feedURL.c_str());
    if (fetch->message == nullptr) {
        fetch->failWith("the feed address is not valid");
        return;
    }
    fetch->deadline =
        g_timeout_add_seconds_full(G_PRIORITY_DEFAULT, config.timeoutSec, &Fetch::onDeadline,
                                   fetch->hold(), [](gpointer data) { Fetch::release(data); });
    soup_session_send_async(fetch->session, fetch->message, G_PRIORITY_DEFAULT, fetch->cancellable,
                            &Fetch::onSent, fetch->hold());
}

std::string systemVersion() {
    std::ifstream release("/etc/os-release");
    std::string line;
    while (std::getline(release, line)) {
        if (line.rfind("VERSION_ID=", 0) != 0) continue;
        std::string value = line.substr(11);
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        return value;
    }
    return {};
}

std::string describe(const UpdateResult& result) {
    if (const auto* available = std::get_if<UpdateAvailable>(&result)) {
        std::string text = "Brellow " + available->item.shortVersion + " is available";
        if (available->item.shortVersion != available->item.version)
            text += " (" + available->item.version + ")";
        if (!available->item.releaseNotesLink.empty())
            text += ": " + available->item.releaseNotesLink;
        return text;
    }
    if (const auto* current = std::get_if<UpToDate>(&result)) {
        return "Brellow " + current->currentVersion + " is up to date.";
    }
    return std::get<CheckFailed>(result).message;
}

}  // namespace brellow::updates
