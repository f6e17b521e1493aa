#include <gtest/gtest.h>

#include "model/show.h"
#include "support/test_support.h"

namespace brellow {

namespace {

Page pageWithHotkeys(std::initializer_list<std::optional<std::string>> keys) {
    Page page;
    page.id = Uuid::generate();
    page.name = "P";
    for (const auto& key : keys)
        page.stings.push_back(test::makeSting("s", key));
    return page;
}

}  // namespace

TEST(ShowQueries, NewShowHasOneEmptyActivePageAndSoloOn) {
    const Show show = makeNewShow();
    EXPECT_EQ(show.name, "Untitled Show");
    EXPECT_EQ(show.schemaVersion, 1);
    ASSERT_EQ(show.pages.size(), 1u);
    EXPECT_EQ(show.pages[0].name, "Main");
    EXPECT_EQ(show.activePageID, show.pages[0].id);
    EXPECT_TRUE(show.soloMode);
    EXPECT_FALSE(show.outputDeviceUID);
    EXPECT_NE(makeNewShow().pages[0].id, show.pages[0].id);
}

TEST(ShowQueries, AllStingsAndLocateFollowPageOrder) {
    Show show = makeNewShow();
    show.pages[0] = pageWithHotkeys({"1", "2"});
    show.pages.push_back(pageWithHotkeys({"1"}));
    const auto all = allStings(show);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[2].id, show.pages[1].stings[0].id);
    EXPECT_EQ(locateSting(show, show.pages[1].stings[0].id), (StingLocation{1, 0}));
    EXPECT_EQ(locateSting(show, show.pages[0].stings[1].id), (StingLocation{0, 1}));
    EXPECT_FALSE(locateSting(show, Uuid::generate()));
}

TEST(ShowQueries, NextFreeHotkeyIsTheFirstUnusedDigitOfThatPageOnly) {
    Show show = makeNewShow();
    show.pages[0] = pageWithHotkeys({"1", "3", "q", std::nullopt});
    show.pages.push_back(pageWithHotkeys({"2"}));
    EXPECT_EQ(nextFreeHotkey(show, 0), "2");
    EXPECT_EQ(nextFreeHotkey(show, 1), "1");
    EXPECT_FALSE(nextFreeHotkey(show, 2));
    show.pages[1] = pageWithHotkeys({"1", "2", "3", "4", "5", "6", "7", "8", "9"});
    EXPECT_FALSE(nextFreeHotkey(show, 1));
}

TEST(ShowQueries, AssignMissingHotkeysFillsInStingOrder) {
    Show show = makeNewShow();
    show.pages[0] = pageWithHotkeys({"1", std::nullopt, "3", "", std::nullopt});
    show.pages.push_back(
        pageWithHotkeys({"1", "2", "3", "4", "5", "6", "7", "8", "9", std::nullopt}));
    assignMissingHotkeys(show);
    const auto& first = show.pages[0].stings;
    EXPECT_EQ(first[1].hotkey, "2");
    EXPECT_EQ(first[3].hotkey, "4");
    EXPECT_EQ(first[4].hotkey, "5");
    EXPECT_FALSE(show.pages[1].stings[9].hotkey);
}

}  // namespace brellow
