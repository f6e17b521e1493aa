#include "base/uuid.h"

#include <gtest/gtest.h>

namespace brellow {

TEST(Uuid, ParsesEitherCaseAndWritesUpperCase) {
    const auto lower = Uuid::parse("0a1b2c3d-4e5f-6789-abcd-ef0123456789");
    const auto upper = Uuid::parse("0A1B2C3D-4E5F-6789-ABCD-EF0123456789");
    ASSERT_TRUE(lower && upper);
    EXPECT_EQ(*lower, *upper);
    EXPECT_EQ(lower->toString(), "0A1B2C3D-4E5F-6789-ABCD-EF0123456789");
}

TEST(Uuid, RefusesAnythingButTheCanonicalForm) {
    for (const char* text :
         {"", "0A1B2C3D4E5F6789ABCDEF0123456789", "{0A1B2C3D-4E5F-6789-ABCD-EF0123456789}",
          "0A1B2C3D-4E5F-6789-ABCD-EF012345678G", "0A1B2C3D-4E5F-6789-ABCD-EF01234567890",
          "0A1B2C3D-4E5F-6789-ABCDE-F0123456789", "0A1B2C3D-4E5F-6789-ABCD-EF012345678 "}) {
        EXPECT_FALSE(Uuid::parse(text)) << text;
    }
}

TEST(Uuid, GeneratedIdentifiersDifferAndRoundTrip) {
    const Uuid a = Uuid::generate();
    const Uuid b = Uuid::generate();
    EXPECT_NE(a, b);
    EXPECT_FALSE(a.isNil());
    EXPECT_EQ(Uuid::parse(a.toString()), a);
}

}  // namespace brellow
