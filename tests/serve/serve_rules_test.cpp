// The browser host's rules that stand between the network and the show: keys, origins, paths,
// upload names, the command line, and where the transport goes into a page.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "serve/access_guard.h"
#include "serve/page_assets.h"
#include "serve/serve_options.h"
#include "support/test_support.h"

namespace brellow::serve {
namespace {

TEST(AccessGuard, TokensAreLongRandomAndComparedWhole) {
    const auto a = makeAccessToken();
    EXPECT_EQ(a.size(), 64U);
    EXPECT_NE(a, makeAccessToken());
    EXPECT_TRUE(sameToken(a, a));
    EXPECT_FALSE(sameToken(a.substr(0, 63), a));
    EXPECT_FALSE(sameToken("", ""));
    EXPECT_FALSE(sameToken(std::string(64, '0'), a));
}

TEST(AccessGuard, CookiesAndOrigins) {
    EXPECT_EQ(cookieValue("a=1; brellow_token=abc; b=2", "brellow_token"), "abc");
    EXPECT_EQ(cookieValue("brellow_token=abc", "brellow_token"), "abc");
    EXPECT_FALSE(cookieValue("xbrellow_token=abc", "brellow_token"));
    EXPECT_FALSE(cookieValue("", "brellow_token"));
    EXPECT_TRUE(originMatchesHost("http://127.0.0.1:8731", "127.0.0.1:8731"));
    EXPECT_TRUE(originMatchesHost("http://192.168.1.20:8731", "192.168.1.20:8731"));
    EXPECT_FALSE(originMatchesHost("http://evil.example", "127.0.0.1:8731"));
    EXPECT_FALSE(originMatchesHost("http://127.0.0.1:8731.evil.example", "127.0.0.1:8731"));
    EXPECT_FALSE(originMatchesHost("null", "127.0.0.1:8731"));
    EXPECT_FALSE(originMatchesHost("http://", ""));
}

TEST(AccessGuard, FilesAreServedOnlyFromInsideTheFolder) {
    test::TempDir dir;
    const auto web = dir.path() / "Web";
    std::filesystem::create_directories(web / "scripts");
    std::ofstream(web / "index.html") << "<html>";
    std::ofstream(web / "scripts" / "main.js") << "1";
    std::ofstream(dir.path() / "secret.txt") << "secret";
    std::filesystem::create_symlink(dir.path() / "secret.txt", web / "escape.txt");

    EXPECT_EQ(fileUnderRoot(web, "/")->filename(), "index.html");
    EXPECT_EQ(fileUnderRoot(web, "/scripts/main.js")->filename(), "main.js");
    EXPECT_EQ(fileUnderRoot(web, "//scripts//main.js")->filename(), "main.js");
    EXPECT_FALSE(fileUnderRoot(web, "/../secret.txt"));
    EXPECT_FALSE(fileUnderRoot(web, "/scripts/../../secret.txt"));
    EXPECT_FALSE(fileUnderRoot(web, "/scripts/..\\..\\secret.txt"));
    EXPECT_FALSE(fileUnderRoot(web, "/escape.txt"));  // a link out of the folder
    EXPECT_FALSE(fileUnderRoot(web, "/scripts"));     // a folder
    EXPECT_FALSE(fileUnderRoot(web, "/missing.js"));
    EXPECT_FALSE(fileUnderRoot(web, "relative.html"));
}

TEST(AccessGuard, UploadNamesKeepOnlyTheirLastPart) {
    EXPECT_EQ(safeUploadName("Door Bell.wav"), "Door Bell.wav");
    EXPECT_EQ(safeUploadName("../../etc/cron.d/x.wav"), "x.wav");
    EXPECT_EQ(safeUploadName("C:\\Users\\me\\take.flac"), "take.flac");
    EXPECT_EQ(safeUploadName("bad\nname\x01.mp3"), "badname.mp3");
    EXPECT_EQ(safeUploadName("..hidden.wav"), "hidden.wav");
    EXPECT_FALSE(safeUploadName(""));
    EXPECT_FALSE(safeUploadName("../"));
    EXPECT_FALSE(safeUploadName(std::string(300, 'a') + ".wav"));
}

TEST(PageAssets, TheTransportGoesFirstInTheHead) {
    EXPECT_EQ(injectIntoHead("<html><head><title>x</title></head>", "<script></script>"),
              "<html><head><script></script><title>x</title></head>");
    EXPECT_EQ(injectIntoHead("<HTML><HEAD lang=en>", "<s>"), "<HTML><HEAD lang=en><s>");
    EXPECT_EQ(injectIntoHead("<header>no head</header>", "<s>"), "<s><header>no head</header>");
    EXPECT_EQ(std::string(contentTypeFor("main.js")), "text/javascript; charset=utf-8");
    EXPECT_EQ(std::string(contentTypeFor("show.json")), "application/json");
    EXPECT_EQ(std::string(contentTypeFor("take.caf")), "application/octet-stream");
}

TEST(ServeOptions, CommandLine) {
    auto plain = parseServeArguments({});
    ASSERT_TRUE(plain);
    EXPECT_FALSE(plain->package);
    EXPECT_EQ(plain->listen, (ListenAddress{"127.0.0.1", kDefaultPort}));

    auto full = parseServeArguments(
        {"Gala.stingshow", "--listen", "0.0.0.0:9000", "--upload-limit-mb", "16"});
    ASSERT_TRUE(full);
    EXPECT_EQ(full->package, "Gala.stingshow");
    EXPECT_EQ(full->listen, (ListenAddress{"0.0.0.0", 9000}));
    EXPECT_EQ(full->uploadLimitBytes, 16U * 1024 * 1024);
    EXPECT_FALSE(full->outputDevice);
    auto onDevice = parseServeArguments({"--device", "pulse:hdmi", "Gala.stingshow"});
    ASSERT_TRUE(onDevice);
    EXPECT_EQ(onDevice->outputDevice, "pulse:hdmi");
    EXPECT_EQ(onDevice->package, "Gala.stingshow");  // the identifier is not taken for the show
    EXPECT_FALSE(parseServeArguments({"--device"}));

    EXPECT_EQ(parseListenAddress("[::1]:8080")->host, "::1");
    for (const char* bad : {"8731", ":8731", "host:", "host:70000", "::1:80", "[::1:80", "h:8x"})
        EXPECT_FALSE(parseListenAddress(bad)) << bad;
    EXPECT_FALSE(parseServeArguments({"a.stingshow", "b.stingshow"}));
    EXPECT_FALSE(parseServeArguments({"--listen"}));
    EXPECT_FALSE(parseServeArguments({"--upload-limit-mb", "0"}));
    EXPECT_FALSE(parseServeArguments({"--verbose"}));
}

}  // namespace
}  // namespace brellow::serve
