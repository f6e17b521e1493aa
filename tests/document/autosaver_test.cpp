// Autosave retries a failed save with a growing pause until it works again.
#include <gtest/gtest.h>

#include "document/autosaver.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

// Fails every new file while `broken` is set, as a full disk would.
class SwitchableLayer : public FileLayer {
  public:
    bool broken = true;
    int attempts = 0;
    Result<void, IoError> writeNewFile(const fs::path& path, std::string_view bytes) override {
        ++attempts;
        if (broken) return fail(IoError::fromErrno("write", path, ENOSPC));
        return FileLayer::writeNewFile(path, bytes);
    }
};

constexpr std::int64_t kSecond = 1'000'000;

}  // namespace

TEST(Autosaver, RetriesAFailedSaveWithAGrowingPauseAndReportsEachFailure) {
    test::TempDir dir;
    auto document = std::make_shared<ShowDocument>(dir / "scratch");
    SwitchableLayer layer;
    document->setFileLayer(layer);
    Autosaver autosaver(document, dir / "Show.stingshow");
    std::vector<std::string> reasons;
    autosaver.onSaveFailed = [&](const DocumentError& error) { reasons.push_back(error.message); };

    document->markChanged();
    autosaver.check(0);  // notices the change
    autosaver.check(1 * kSecond);
    EXPECT_EQ(layer.attempts, 1);
    ASSERT_EQ(reasons.size(), 1u);
    EXPECT_NE(reasons[0].find("No space left on device"), std::string::npos);
    ASSERT_TRUE(autosaver.lastFailure());
    EXPECT_EQ(autosaver.lastFailure()->code, ENOSPC);

    autosaver.check(2 * kSecond);  // within the first pause of 2 s
    EXPECT_EQ(layer.attempts, 1);
    autosaver.check(3 * kSecond);
    EXPECT_EQ(layer.attempts, 2);
    autosaver.check(6 * kSecond);  // the pause is now 4 s
    EXPECT_EQ(layer.attempts, 2);
    autosaver.check(7 * kSecond);
    EXPECT_EQ(layer.attempts, 3);
    EXPECT_TRUE(document->isEdited());

    layer.broken = false;  // space was freed: the next retry saves without a new edit
    autosaver.check(15 * kSecond);
    EXPECT_EQ(layer.attempts, 4);
    EXPECT_FALSE(document->isEdited());
    EXPECT_FALSE(autosaver.lastFailure());
    EXPECT_TRUE(fs::exists(dir / "Show.stingshow" / "show.json"));
}

}  // namespace brellow
