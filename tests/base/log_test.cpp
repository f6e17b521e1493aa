#include "base/log.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace brellow {

TEST(Log, LevelsMapToJournalPriorities) {
    EXPECT_EQ(journalPriority(LogLevel::debug), 7);
    EXPECT_EQ(journalPriority(LogLevel::info), 6);
    EXPECT_EQ(journalPriority(LogLevel::notice), 5);
    EXPECT_EQ(journalPriority(LogLevel::error), 3);
}

TEST(Log, FormatsPrintfStyleIntoEverySinkWithItsCategory) {
    test::CapturedLog log;
    const Logger logger("ShowDocument");
    logger.info("Opened show with %ld page(s), %ld sting(s)", 2L, 7L);
    logger.error("Dropping sting with unsafe mediaFilename: %s", "../x.caf");
    EXPECT_TRUE(log.has(LogLevel::info, "ShowDocument", "Opened show with 2 page(s), 7 sting(s)"));
    EXPECT_TRUE(log.has(LogLevel::error, "ShowDocument",
                        "Dropping sting with unsafe mediaFilename: ../x.caf"));
    EXPECT_EQ(log.sink().records().size(), 2u);
}

TEST(Log, LongMessagesAreKeptWhole) {
    test::CapturedLog log;
    const std::string name(5000, 'n');
    Logger("Importer").notice("%s", name.c_str());
    EXPECT_EQ(log.sink().records().at(0).message, name);
}

}  // namespace brellow
