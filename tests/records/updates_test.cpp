// The update checker against a real HTTP server on the loopback address, started here.
#include <gtest/gtest.h>
#include <libsoup/soup.h>

#include <map>

#include "support/test_support.h"
#include "updates/update_checker.h"
#include "updates/updater_controller.h"

namespace brellow::updates {

namespace {

std::string item(const std::string& version, const std::string& extra = "") {
    return "<item><title>Brellow " + version + "</title><sparkle:version>" + version +
           "</sparkle:version><sparkle:shortVersionString>" + version +
           "</sparkle:shortVersionString>"
           "<sparkle:releaseNotesLink>https://brellow.org/notes/" +
           version + "</sparkle:releaseNotesLink>" + extra +
           "<enclosure url=\"https://brellow.org/Brellow-" + version +
           ".tar.gz\" length=\"1\"/></item>";
}

std::string appcast(const std::string& items) {
    return R"(<?xml version="1.0" encoding="utf-8"?><rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel><title>Brellow</title>)" +
           items + "</channel></rss>";
}

// Serves fixed documents by path; "/silent" never answers.
class FeedServer {
  public:
    FeedServer() {
        server_ = soup_server_new(nullptr, nullptr);
        soup_server_add_handler(
            server_, nullptr,
            [](SoupServer*, SoupServerMessage* message, const char* path, GHashTable*,
               gpointer data) {
                auto& served = *static_cast<std::map<std::string, std::string>*>(data);
                if (std::string(path) == "/silent") {
                    soup_server_message_pause(message);  // never answers
                    return;
                }
                const auto it = served.find(path);
                if (it == served.end()) {
                    soup_server_message_set_status(message, 404, nullptr);
                    return;
                }
                soup_server_message_set_status(message, 200, nullptr);
                soup_server_message_set_response(message, "application/xml", SOUP_MEMORY_COPY,
                                                 it->second.data(), it->second.size());
            },
            &documents, nullptr);
        GError* error = nullptr;
        soup_server_listen_local(server_, 0, SOUP_SERVER_LISTEN_IPV4_ONLY, &error);
        GSList* uris = soup_server_get_uris(server_);
        gchar* address = g_uri_to_string(static_cast<GUri*>(uris->data));
        base_ = address;
        g_free(address);
        g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
        if (base_.back() == '/') base_.pop_back();
    }
    ~FeedServer() { g_object_unref(server_); }
    std::string url(const std::string& path) const { return base_ + path; }
    std::map<std::string, std::string> documents;

  private:
    SoupServer* server_ = nullptr;
    std::string base_;
};

UpdateResult check(const std::string& url, const std::string& current,
                   std::optional<std::string> channel = {}, unsigned timeout = 10) {
    UpdatesConfig config;
    config.feedURL = url;
    config.currentVersion = current;
    config.systemVersion = "12";
    config.channel = std::move(channel);
    config.timeoutSec = timeout;
    std::optional<UpdateResult> result;
    checkFeed(config, [&](UpdateResult found) { result = std::move(found); });
    while (!result)
        g_main_context_iteration(nullptr, TRUE);
    return *result;
}

}  // namespace

TEST(Versions, CompareSegmentBySegmentAsNumbers) {
    EXPECT_GT(compareVersions("1.10", "1.9"), 0);
    EXPECT_EQ(compareVersions("2", "2.0.0"), 0);
    EXPECT_LT(compareVersions("0.9.9", "1"), 0);
    EXPECT_GT(compareVersions("120", "99"), 0);
    EXPECT_EQ(compareVersions("1.2b", "1.2"), 0);
}

TEST(UpdateCheck, OffersTheNewestAllowedReleaseAndOnlyANewerOne) {
    FeedServer server;
    server.documents["/appcast.xml"] =
        appcast(item("0.9.0") + item("0.12.0") + item("0.11.0") +
                item("0.20.0", "<sparkle:channel>beta</sparkle:channel>") +
                item("0.30.0", "<sparkle:minimumSystemVersion>13</sparkle:minimumSystemVersion>"));
    const auto newer = check(server.url("/appcast.xml"), "0.10.0");
    ASSERT_TRUE(std::holds_alternative<UpdateAvailable>(newer)) << describe(newer);
    EXPECT_EQ(std::get<UpdateAvailable>(newer).item.version, "0.12.0");
    EXPECT_EQ(std::get<UpdateAvailable>(newer).item.releaseNotesLink,
              "https://brellow.org/notes/0.12.0");
    EXPECT_EQ(describe(newer), "Brellow 0.12.0 is available: https://brellow.org/notes/0.12.0");

    EXPECT_TRUE(std::holds_alternative<UpToDate>(check(server.url("/appcast.xml"), "0.12.0")));
    EXPECT_TRUE(std::holds_alternative<UpToDate>(check(server.url("/appcast.xml"), "1.0")));
    const auto beta = check(server.url("/appcast.xml"), "0.10.0", "beta");
    ASSERT_TRUE(std::holds_alternative<UpdateAvailable>(beta));
    EXPECT_EQ(std::get<UpdateAvailable>(beta).item.version, "0.20.0");
}

TEST(UpdateCheck, BrokenHostileAndSilentFeedsGiveAnErrorNotAHang) {
    FeedServer server;
    server.documents["/broken.xml"] = "<rss><channel><item>";
    server.documents["/html.xml"] = "<html><body>Not here</body></html>";
    server.documents["/huge.xml"] = appcast(std::string(3 << 20, ' '));
    std::string deep;
    for (int i = 0; i < 200; ++i)
        deep += "<a>";
    for (int i = 0; i < 200; ++i)
        deep += "</a>";
    server.documents["/deep.xml"] = appcast("<item>" + deep + "</item>");
    server.documents["/laughs.xml"] =
        R"(<?xml version="1.0"?><!DOCTYPE rss [<!ENTITY a "ha"><!ENTITY b "&a;&a;&a;&a;&a;&a;&a;&a;"><!ENTITY c "&b;&b;&b;&b;&b;&b;&b;&b;">]>)"
        R"(<rss xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel><item><sparkle:version>&c;</sparkle:version></item></channel></rss>)";
    for (const char* path :
         {"/broken.xml", "/html.xml", "/huge.xml", "/deep.xml", "/laughs.xml", "/missing.xml"}) {
        const auto result = check(server.url(path), "0.1.0");
        ASSERT_TRUE(std::holds_alternative<CheckFailed>(result))
            << path << ": " << describe(result);
    }
    // A server that never answers: the check gives up after its one-second limit.
    EXPECT_TRUE(std::holds_alternative<CheckFailed>(
        check(server.url("/silent"), "0.1.0", std::nullopt, 1)));
    EXPECT_TRUE(std::holds_alternative<CheckFailed>(check("not a url", "0.1.0")));
    EXPECT_TRUE(
        std::holds_alternative<CheckFailed>(check("http://127.0.0.1:9/appcast.xml", "0.1.0")));
}

namespace {
struct RecordingPresenter final : UpdatePresenter {
    void presentUpdateResult(const UpdateResult& result, bool userInitiated) override {
        shown.emplace_back(describe(result), userInitiated);
    }
    void askAboutAutomaticChecks(std::function<void(bool)> answer) override {
        ++asked;
        pendingAnswer = std::move(answer);
    }
    std::vector<std::pair<std::string, bool>> shown;
    int asked = 0;
    std::function<void(bool)> pendingAnswer;
};

void spinUntil(const std::function<bool()>& done) {
    for (int i = 0; i < 400 && !done(); ++i)
        g_main_context_iteration(nullptr, FALSE), g_usleep(5000);
}
}  // namespace

TEST(UpdaterController, ChecksInTheBackgroundOncePerDayAndAlwaysWhenAsked) {
    FeedServer server;
    server.documents["/appcast.xml"] = appcast(item("0.9.0"));
    test::TempDir dir;
    UpdatesConfig config;
    config.feedURL = server.url("/appcast.xml");
    config.currentVersion = "1.0";
    auto presenter = std::make_shared<RecordingPresenter>();
    UpdaterController controller(config, presenter, dir.path());
    EXPECT_FALSE(controller.automaticallyChecksForUpdates());  // not before the user agrees
    controller.setAutomaticallyChecksForUpdates(true);
    EXPECT_TRUE(controller.automaticallyChecksForUpdates());
    EXPECT_TRUE(controller.allowedChannels().empty());
    controller.start();  // checks now; up to date, so nothing is shown
    controller.checkForUpdates();
    for (int i = 0; i < 200 && presenter->shown.empty(); ++i)
        g_main_context_iteration(nullptr, TRUE);
    ASSERT_EQ(presenter->shown.size(), 1u);
    EXPECT_EQ(presenter->shown[0],
              (std::pair<std::string, bool>{"Brellow 1.0 is up to date.", true}));
    controller.setAutomaticallyChecksForUpdates(false);
    EXPECT_FALSE(controller.automaticallyChecksForUpdates());
    UpdatesConfig beta = config;
    beta.channel = "beta";
    EXPECT_EQ(UpdaterController(beta, presenter, dir.path()).allowedChannels(),
              std::set<std::string>{"beta"});
}

TEST(UpdaterController, AsksOnceOnTheSecondLaunchAndChecksInTheBackgroundOnlyWithConsent) {
    FeedServer server;
    server.documents["/appcast.xml"] = appcast(item("2.0"));
    UpdatesConfig config;
    config.feedURL = server.url("/appcast.xml");
    config.currentVersion = "1.0";
    auto launch = [&](const std::filesystem::path& dir, RecordingPresenter& presenter) {
        auto shared = std::shared_ptr<RecordingPresenter>(&presenter, [](auto*) {});
        auto controller = std::make_unique<UpdaterController>(config, shared, dir);
        controller->start();
        return controller;
    };

    // Yes on the second launch: the due check runs at once and its find is presented.
    test::TempDir yes;
    RecordingPresenter first, second, third;
    launch(yes.path(), first);
    EXPECT_EQ(first.asked, 0);  // the first launch is for getting to know the program
    spinUntil([] { return false; });
    EXPECT_TRUE(first.shown.empty());  // and nothing is checked without consent
    {
        auto controller = launch(yes.path(), second);
        ASSERT_EQ(second.asked, 1);
        EXPECT_TRUE(second.shown.empty());
        second.pendingAnswer(true);
        spinUntil([&] { return !second.shown.empty(); });
        ASSERT_EQ(second.shown.size(), 1u);
        EXPECT_FALSE(second.shown[0].second);  // a background find, not a user's check
        EXPECT_NE(second.shown[0].first.find("2.0"), std::string::npos);
    }
    launch(yes.path(), third);
    EXPECT_EQ(third.asked, 0);  // asked once only

    // No: never asked again, never checked in the background; the setting can turn it on.
    test::TempDir no;
    RecordingPresenter a, b, c;
    launch(no.path(), a);
    auto declined = launch(no.path(), b);
    ASSERT_EQ(b.asked, 1);
    b.pendingAnswer(false);
    spinUntil([] { return false; });
    EXPECT_TRUE(b.shown.empty());
    EXPECT_TRUE(declined->hasAutomaticChecksAnswer());
    EXPECT_FALSE(declined->automaticallyChecksForUpdates());
    launch(no.path(), c);
    EXPECT_EQ(c.asked, 0);

    // Answered in the settings before the second launch: no question.
    test::TempDir preset;
    RecordingPresenter p1, p2;
    launch(preset.path(), p1)->setAutomaticallyChecksForUpdates(false);
    launch(preset.path(), p2);
    EXPECT_EQ(p2.asked, 0);
}

}  // namespace brellow::updates
