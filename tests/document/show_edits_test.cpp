#include <gtest/gtest.h>

#include "document/show_document.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

class ShowEdits : public ::testing::Test {
  protected:
    void SetUp() override {
        auto& show = document.mutableShow();
        show.pages[0].stings = {test::makeSting("A", "1"), test::makeSting("B", "q"),
                                test::makeSting("C")};
        for (const Sting& sting : show.pages[0].stings) {
            test::writeFile(document.mediaPath(sting), "media");
            test::writeFile(document.workingDirectory().waveforms() / *sting.waveformFilename, "p");
        }
        Page second;
        second.id = Uuid::generate();
        second.name = "Two";
        second.stings = {test::makeSting("D", "q")};
        show.pages.push_back(second);
    }
    const Sting& sting(std::size_t page, std::size_t index) const {
        return document.show().pages[page].stings[index];
    }
    std::vector<std::string> stingNames(std::size_t page) const {
        std::vector<std::string> names;
        for (const auto& s : document.show().pages[page].stings)
            names.push_back(s.name);
        return names;
    }
    std::vector<std::string> pageNames() const {
        std::vector<std::string> names;
        for (const auto& p : document.show().pages)
            names.push_back(p.name);
        return names;
    }
    test::TempDir dir;
    ShowDocument document{dir.path()};
};

TEST_F(ShowEdits, EachChangeMarksTheDocumentAndUnknownIdentifiersChangeNothing) {
    const Uuid a = sting(0, 0).id;
    EXPECT_TRUE(document.setTrim(a, std::nullopt, 3.5));
    EXPECT_FALSE(sting(0, 0).trimInSec);
    EXPECT_EQ(sting(0, 0).trimOutSec, 3.5);
    EXPECT_TRUE(document.setLoop(a, true));
    EXPECT_TRUE(sting(0, 0).loop);
    EXPECT_TRUE(document.setSoloMode(false));
    EXPECT_FALSE(document.show().soloMode);
    EXPECT_EQ(document.changeCount(), 3u);
    EXPECT_TRUE(document.isEdited());

    const Show before = document.show();
    const Uuid unknown = Uuid::generate();
    EXPECT_FALSE(document.setTrim(unknown, 1, 2));
    EXPECT_FALSE(document.setLoop(unknown, true));
    EXPECT_FALSE(document.setFade(unknown, 1, 1));
    EXPECT_FALSE(document.setHotkey(unknown, "x"));
    EXPECT_FALSE(document.removeSting(unknown));
    EXPECT_FALSE(document.reorder(unknown, {a}));
    EXPECT_FALSE(document.rename(unknown, "X"));
    EXPECT_FALSE(document.renamePage(unknown, "X"));
    EXPECT_FALSE(document.deletePage(unknown));
    EXPECT_FALSE(document.setActivePage(unknown));
    EXPECT_EQ(document.show(), before);
    EXPECT_EQ(document.changeCount(), 3u);
}

TEST_F(ShowEdits, FadesAreClampedAndAMissingOneIsKept) {
    const Uuid a = sting(0, 0).id;
    document.setFade(a, 75, 2);
    EXPECT_EQ(sting(0, 0).fadeInSec, 60);
    EXPECT_EQ(sting(0, 0).fadeOutSec, 2);
    document.setFade(a, -1, std::nullopt);
    EXPECT_EQ(sting(0, 0).fadeInSec, 0);
    EXPECT_EQ(sting(0, 0).fadeOutSec, 2);
}

TEST_F(ShowEdits, HotkeysAreLowerCasedAndUniqueWithinAPageOnly) {
    const auto change = document.setHotkey(sting(0, 2).id, "Q");
    ASSERT_TRUE(change);
    EXPECT_EQ(sting(0, 2).hotkey, "q");
    EXPECT_FALSE(sting(0, 1).hotkey);
    EXPECT_EQ(change->clearedStingIDs, std::vector<Uuid>{sting(0, 1).id});
    EXPECT_EQ(sting(1, 0).hotkey, "q");  // another page keeps its key

    ASSERT_TRUE(document.setHotkey(sting(0, 0).id, ""));
    EXPECT_FALSE(sting(0, 0).hotkey);
    EXPECT_EQ(nextFreeHotkey(document.show(), 0), "1");
    ASSERT_TRUE(document.setHotkey(sting(0, 2).id, "q"));  // same key again clears no one
}

TEST_F(ShowEdits, RemovingAStingDeletesItsWorkingFiles) {
    const Sting b = sting(0, 1);
    ASSERT_TRUE(document.removeSting(b.id));
    EXPECT_EQ(stingNames(0), (std::vector<std::string>{"A", "C"}));
    EXPECT_FALSE(fs::exists(document.mediaPath(b)));
    EXPECT_FALSE(fs::exists(document.workingDirectory().waveforms() / *b.waveformFilename));
}

TEST_F(ShowEdits, ReorderPutsNamedStingsFirstAndKeepsTheRest) {
    const Uuid a = sting(0, 0).id, c = sting(0, 2).id;
    const Uuid page = document.show().pages[0].id;
    ASSERT_TRUE(document.reorder(page, {c, Uuid::generate(), a, c}));
    EXPECT_EQ(stingNames(0), (std::vector<std::string>{"C", "A", "B"}));
    ASSERT_TRUE(document.reorder(page, {}));
    EXPECT_EQ(stingNames(0), (std::vector<std::string>{"C", "A", "B"}));
    EXPECT_EQ(stingNames(1), (std::vector<std::string>{"D"}));
}

TEST_F(ShowEdits, RenamesAreTrimmedAndBlankNamesChangeNothing) {
    EXPECT_TRUE(document.rename(sting(0, 0).id, "  Door slam\n"));
    EXPECT_EQ(sting(0, 0).name, "Door slam");
    EXPECT_FALSE(document.rename(sting(0, 0).id, " \t\n"));
    EXPECT_EQ(sting(0, 0).name, "Door slam");
    const Uuid page = document.show().pages[1].id;
    EXPECT_TRUE(document.renamePage(page, " Act 2 "));
    EXPECT_FALSE(document.renamePage(page, "   "));
    EXPECT_EQ(pageNames(), (std::vector<std::string>{"Main", "Act 2"}));
    EXPECT_EQ(document.changeCount(), 2u);
}

TEST_F(ShowEdits, CreatePageGoesAfterTheActivePageAndBecomesActive) {
    const Uuid created = document.createPage("   ");
    EXPECT_EQ(pageNames(), (std::vector<std::string>{"Main", "Untitled", "Two"}));
    EXPECT_EQ(document.show().activePageID, created);
    document.mutableShow().activePageID = Uuid::generate();  // no page active
    document.createPage("Encore");
    EXPECT_EQ(pageNames(), (std::vector<std::string>{"Main", "Encore", "Untitled", "Two"}));
}

TEST_F(ShowEdits, DeletePageNeverRemovesTheLastAndMovesTheActivePage) {
    const Uuid main = document.show().pages[0].id;
    const Uuid two = document.show().pages[1].id;
    const Uuid third = document.createPage("Three");  // Main, Three, Two
    ASSERT_TRUE(document.setActivePage(two));
    const auto removed = document.deletePage(two);  // active last page
    ASSERT_TRUE(removed);
    EXPECT_EQ(removed->size(), 1u);
    EXPECT_EQ(document.show().activePageID, third);
    ASSERT_TRUE(document.setActivePage(main));
    const Sting a = sting(0, 0);
    ASSERT_TRUE(document.deletePage(main));  // active first page
    EXPECT_EQ(document.show().activePageID, third);
    EXPECT_FALSE(fs::exists(document.mediaPath(a)));
    EXPECT_FALSE(document.deletePage(third));
    EXPECT_EQ(document.show().pages.size(), 1u);
}

TEST_F(ShowEdits, ReorderPagesMergesLikeStings) {
    const Uuid main = document.show().pages[0].id;
    const Uuid two = document.show().pages[1].id;
    document.createPage("Three");  // Main, Three, Two
    ASSERT_TRUE(document.reorderPages({two, two, Uuid::generate()}));
    EXPECT_EQ(pageNames(), (std::vector<std::string>{"Two", "Main", "Three"}));
    EXPECT_EQ(document.show().pages[1].id, main);
}

}  // namespace brellow
