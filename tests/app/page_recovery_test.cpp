#include "app/page_recovery.h"

#include <gtest/gtest.h>

namespace brellow::app {

using namespace std::chrono_literals;
using Action = PageRecovery::Action;

TEST(PageRecovery, ReloadsTwiceAMinuteThenExplainsAndForgetsOldCrashes) {
    PageRecovery recovery;
    const auto start = PageRecovery::Clock::time_point{} + 1h;
    EXPECT_EQ(recovery.crashed(start), Action::reload);
    EXPECT_EQ(recovery.crashed(start + 20s), Action::reload);
    EXPECT_EQ(recovery.crashed(start + 59s), Action::explain);  // third within the minute
    EXPECT_EQ(recovery.crashed(start + 61s), Action::explain);  // still three since start+20s
    // A crash a minute after the others is a fresh start, not a loop.
    EXPECT_EQ(recovery.crashed(start + 5min), Action::reload);
    EXPECT_EQ(recovery.crashed(start + 6min + 1s), Action::reload);

    // Occasional crashes, each more than a minute apart from the one before last, always reload.
    PageRecovery spaced;
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(spaced.crashed(start + i * 31s), Action::reload) << i;

    recovery.reset();  // the user asked for the page again
    EXPECT_EQ(recovery.crashed(start + 6min + 2s), Action::reload);
}

TEST(PageRecovery, TheExplanationOffersTheShowPageAgainWithoutScripts) {
    const std::string html =
        pageCrashExplanation("file:///usr/share/brellow/Web/index.html", "crashed");
    EXPECT_NE(html.find(R"(href="file:///usr/share/brellow/Web/index.html")"), std::string::npos);
    EXPECT_NE(html.find("Last reason: crashed"), std::string::npos);
    EXPECT_EQ(html.find("<script"), std::string::npos);
}

}  // namespace brellow::app
