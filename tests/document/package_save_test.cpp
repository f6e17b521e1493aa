#include <sys/stat.h>

#include <gtest/gtest.h>

#include "document/show_document.h"
#include "model/show_codec.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

class PackageSave : public ::testing::Test {
  protected:
    void SetUp() override {
        show = makeNewShow();
        show.pages[0].stings = {test::makeSting("A", "1"), test::makeSting("B", "2")};
        test::writePackage(package, show);
    }
    test::TempDir dir;
    fs::path package = dir / "Show.stingshow";
    fs::path scratch = dir / "scratch";
    Show show;
};

TEST_F(PackageSave, ResavingWritesTheSameShowAndLinksMediaInsteadOfCopying) {
    ShowDocument document(scratch);
    ASSERT_TRUE(document.read(package));
    const fs::path copy = dir / "Copy.stingshow";
    ASSERT_TRUE(document.save(copy));

    EXPECT_EQ(test::readFile(copy / "show.json"), encodeShow(show, JsonStyle::file).value());
    const Sting& a = show.pages[0].stings[0];
    EXPECT_EQ(test::inodeOf(copy / "Media" / a.mediaFilename),
              test::inodeOf(package / "Media" / a.mediaFilename));
    EXPECT_EQ(namesIn(copy / "Waveforms").size(), 2u);
    EXPECT_EQ(namesIn(dir.path()),
              (std::vector<std::string>{"Copy.stingshow", "Show.stingshow", "scratch"}));
}

TEST_F(PackageSave, SavingInPlaceReplacesThePackageAndDropsRemovedAndForeignFiles) {
    test::writeFile(package / "Media" / "notes.txt", "not media");
    fs::remove_all(package / "Waveforms");
    ShowDocument document(scratch);
    ASSERT_TRUE(document.read(package));
    const Sting removed = document.show().pages[0].stings[0];
    ASSERT_TRUE(document.removeSting(removed.id));
    EXPECT_TRUE(document.isEdited());
    ASSERT_TRUE(document.save(package));
    EXPECT_FALSE(document.isEdited());

    EXPECT_EQ(namesIn(package / "Media"),
              std::vector<std::string>{show.pages[0].stings[1].mediaFilename});
    EXPECT_TRUE(fs::is_directory(package / "Waveforms"));
    EXPECT_TRUE(fs::is_empty(package / "Waveforms"));
    EXPECT_EQ(namesIn(dir.path()), (std::vector<std::string>{"Show.stingshow", "scratch"}));

    ShowDocument reopened(scratch);
    ASSERT_TRUE(reopened.read(package));
    EXPECT_EQ(reopened.show(), document.show());
}

TEST_F(PackageSave, AShowThatCannotBeEncodedLeavesTheOldPackageAlone) {
    ShowDocument document(scratch);
    ASSERT_TRUE(document.read(package));
    const std::string before = test::readFile(package / "show.json");
    document.mutableShow().masterVolumeDB = std::nan("");
    document.markChanged();
    const auto saved = document.save(package);
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().kind, DocumentError::Kind::encoding);
    EXPECT_TRUE(document.isEdited());
    EXPECT_EQ(test::readFile(package / "show.json"), before);
}

TEST_F(PackageSave, ASaveIntoAFolderThatCannotBeWrittenFailsCleanly) {
    ShowDocument document(scratch);
    ASSERT_TRUE(document.read(package));
    const auto saved = document.save(dir / "no" / "such" / "folder" / "X.stingshow");
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().kind, DocumentError::Kind::io);
}

TEST_F(PackageSave, LeftoversOfACrashedSaveAreTidiedAndAMovedAsidePackageIsPutBack) {
    const fs::path staging = dir / (".Show.stingshow.saving-" + Uuid::generate().toString());
    fs::create_directories(staging / "Media");
    const fs::path retired = dir / (".Other.stingshow.retired-" + Uuid::generate().toString());
    fs::rename(package, retired);  // a crash between moving aside and moving in

    recoverInterruptedSave(dir / "Other.stingshow");
    EXPECT_TRUE(fs::exists(dir / "Other.stingshow" / "show.json"));
    EXPECT_FALSE(fs::exists(retired));

    ShowDocument document(scratch);
    ASSERT_TRUE(document.save(package));
    EXPECT_FALSE(fs::exists(staging));
}

TEST(PackageName, KeepsTheExtensionOrAddsIt) {
    EXPECT_EQ(preferredPackageName("Gala.stingshow"), "Gala.stingshow");
    EXPECT_EQ(preferredPackageName("Gala"), "Gala.stingshow");
    EXPECT_EQ(preferredPackageName("Gala.show"), "Gala.show.stingshow");
}

}  // namespace brellow
