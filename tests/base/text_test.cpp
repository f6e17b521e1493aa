#include "base/text.h"

#include <gtest/gtest.h>

namespace brellow {

TEST(Text, TrimRemovesUnicodeWhiteSpaceAndLineBreaksAtBothEnds) {
    EXPECT_EQ(trimWhitespace("  Act 2 \n"), "Act 2");
    EXPECT_EQ(trimWhitespace("\t\r\n"), "");
    EXPECT_EQ(trimWhitespace("\u00A0\u3000Intro\u2028"), "Intro");
    EXPECT_EQ(trimWhitespace("Two  words"), "Two  words");
    EXPECT_EQ(trimWhitespace("caf\u00E9 "), "caf\u00E9");
}

TEST(Text, TrimLeavesMalformedUtf8Alone) {
    const std::string broken = "\xC3 x \xE2\x82";
    EXPECT_EQ(trimWhitespace(broken), broken);
}

TEST(Text, LowerCasesByUnicodeRules) {
    EXPECT_EQ(toLowerUnicode("Q"), "q");
    EXPECT_EQ(toLowerUnicode("\u00C4F1"), "\u00E4f1");
    EXPECT_EQ(toLowerUnicode("\xFFQ"), "\xFFq");
}

}  // namespace brellow
