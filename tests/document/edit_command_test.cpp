#include "document/edit_command.h"

#include <gtest/gtest.h>

#include "document/show_document.h"
#include "support/test_support.h"

namespace brellow {

using nlohmann::json;

class EditCommands : public ::testing::Test {
  protected:
    void SetUp() override {
        document.mutableShow().pages[0].stings = {test::makeSting("A", "1"), test::makeSting("B"),
                                                  test::makeSting("C")};
    }
    std::string id(std::size_t index) const {
        return document.show().pages[0].stings[index].id.toString();
    }
    EditOutcome run(const std::string& name, const std::string& body) {
        const auto command = parseEditCommand(name, json::parse(body));
        return command ? applyEditCommand(document, *command) : EditOutcome{};
    }
    test::TempDir dir;
    ShowDocument document{dir.path()};
};

TEST_F(EditCommands, MalformedBodiesAreNoEdit) {
    for (const auto& [name, body] : std::vector<std::pair<std::string, std::string>>{
             {"setTrim", "{}"},
             {"setTrim", "[]"},
             {"setTrim", R"({"stingID":"not-a-uuid"})"},
             {"setLoop", R"({"stingID":")" + id(0) + R"(","enabled":1})"},
             {"rename", R"({"stingID":")" + id(0) + R"("})"},
             {"reorder", R"({"pageID":")" + id(0) + R"(","stingIDs":[")" + id(1) + R"(",3]})"},
             {"reorderPages", R"({"pageIDs":"x"})"},
             {"setSoloMode", R"({"enabled":"true"})"},
             {"play", R"({"stingID":")" + id(0) + R"("})"},
         }) {
        EXPECT_FALSE(parseEditCommand(name, json::parse(body))) << name << " " << body;
    }
    EXPECT_FALSE(parseEditCommand("setSoloMode", json("true")));
    EXPECT_TRUE(isEditCommandName("deletePage"));
    EXPECT_FALSE(isEditCommandName("stopAll"));
}

TEST_F(EditCommands, ArgumentsFollowThePageProtocol) {
    const std::string lowerId = test::toLower(id(0));
    EXPECT_TRUE(
        run("setTrim", R"({"stingID":")" + lowerId + R"(","inSec":null,"outSec":3.5})").changed);
    EXPECT_FALSE(document.show().pages[0].stings[0].trimInSec);
    EXPECT_EQ(document.show().pages[0].stings[0].trimOutSec, 3.5);

    run("setFade", R"({"stingID":")" + id(0) + R"(","fadeInSec":75,"fadeOutSec":"2"})");
    EXPECT_EQ(document.show().pages[0].stings[0].fadeInSec, 60);
    EXPECT_EQ(document.show().pages[0].stings[0].fadeOutSec, 0);

    EXPECT_TRUE(run("setHotkey", R"({"stingID":")" + id(1) + R"(","key":"Q"})").changed);
    EXPECT_EQ(document.show().pages[0].stings[1].hotkey, "q");
    EXPECT_TRUE(run("setHotkey", R"({"stingID":")" + id(1) + R"(","key":7})").changed);
    EXPECT_FALSE(document.show().pages[0].stings[1].hotkey);
    const auto cleared = run("setHotkey", R"({"stingID":")" + id(2) + R"(","key":"1"})");
    EXPECT_EQ(cleared.clearedHotkeyStingIDs,
              std::vector<Uuid>{document.show().pages[0].stings[0].id});

    const std::string page = document.show().pages[0].id.toString();
    run("reorder", R"({"pageID":")" + page + R"(","stingIDs":["junk",")" + id(2) + R"("]})");
    EXPECT_EQ(document.show().pages[0].stings[0].name, "C");

    const std::string removedLater = id(0);
    const auto created = run("createPage", R"({"name":42})");
    ASSERT_TRUE(created.createdPageID);
    EXPECT_EQ(document.show().pages[1].name, "Untitled");
    const auto deleted = run("deletePage", R"({"pageID":")" + page + R"("})");
    EXPECT_EQ(deleted.removedStingIDs.size(), 3u);
    EXPECT_FALSE(run("rename", R"({"stingID":")" + removedLater + R"(","name":"x"})").changed);
}

}  // namespace brellow
