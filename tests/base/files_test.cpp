#include "base/files.h"

#include <sys/stat.h>
#include <sys/statfs.h>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

TEST(Files, ReplaceAtomicallyLeavesOnlyTheNewContents) {
    test::TempDir dir;
    const fs::path file = dir / "state.json";
    ASSERT_TRUE(replaceFileAtomically(file, "one"));
    ASSERT_TRUE(replaceFileAtomically(file, "two"));
    EXPECT_EQ(test::readFile(file), "two");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

TEST(Files, ReadRefusesSymbolicLinksAndOversizedFiles) {
    test::TempDir dir;
    test::writeFile(dir / "real", "12345");
    fs::create_symlink(dir / "real", dir / "link");
    EXPECT_EQ(readRegularFile(dir / "real", 5).value(), "12345");
    EXPECT_FALSE(readRegularFile(dir / "link", 100));
    EXPECT_FALSE(readRegularFile(dir / "real", 4));
    EXPECT_FALSE(readRegularFile(dir.path(), 100));
}

TEST(Files, CloneHardLinksOnOneFileSystemAndReplacesTheTarget) {
    test::TempDir dir;
    test::writeFile(dir / "a.caf", "audio");
    test::writeFile(dir / "b.caf", "stale");
    const auto method = cloneFile(dir / "a.caf", dir / "b.caf");
    ASSERT_TRUE(method);
    EXPECT_EQ(*method, CloneMethod::hardLink);
    EXPECT_EQ(test::inodeOf(dir / "a.caf"), test::inodeOf(dir / "b.caf"));
    EXPECT_EQ(test::readFile(dir / "b.caf"), "audio");
}

TEST(Files, CloneCopiesAcrossFileSystems) {
    // /dev/shm is a tmpfs on every Linux system; the temporary folder usually is not.
    struct statfs shm {
    }, tmp{};
    test::TempDir dir;
    if (::statfs("/dev/shm", &shm) != 0 || ::statfs(dir.path().c_str(), &tmp) != 0 ||
        shm.f_fsid.__val[0] == tmp.f_fsid.__val[0]) {
        GTEST_SKIP() << "no second file system here";
    }
    const fs::path source = fs::path("/dev/shm") / ("brellow-clone-" + Uuid::generate().toString());
    std::string big(3 << 20, 'x');
    big[12345] = 'y';
    test::writeFile(source, big);
    const auto method = cloneFile(source, dir / "copy.caf");
    fs::remove(source);
    ASSERT_TRUE(method) << method.error().message;
    EXPECT_NE(*method, CloneMethod::hardLink);
    EXPECT_EQ(test::readFile(dir / "copy.caf"), big);
}

TEST(Files, CloneOfAMissingFileFailsWithTheReason) {
    test::TempDir dir;
    const auto method = cloneFile(dir / "missing.caf", dir / "out.caf");
    ASSERT_FALSE(method);
    EXPECT_EQ(method.error().errorNumber, ENOENT);
    EXPECT_FALSE(fs::exists(dir / "out.caf"));
}

}  // namespace brellow
