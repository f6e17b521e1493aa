// Each save keeps the package it replaces as a version inside the package.
#include <gtest/gtest.h>

#include "document/package_versions.h"
#include "document/show_document.h"
#include "model/show_codec.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

class Versions : public ::testing::Test {
  protected:
    void SetUp() override {
        Show show = makeNewShow();
        show.name = "Version 0";
        show.pages[0].stings = {test::makeSting("Kept"), test::makeSting("Removed later")};
        test::writePackage(package, show);
        ASSERT_TRUE(document.read(package));
    }

    void saveAs(const std::string& name) {
        document.mutableShow().name = name;
        document.markChanged();
        ASSERT_TRUE(document.save(package));
    }

    test::TempDir dir;
    fs::path package = dir / "Show.stingshow";
    ShowDocument document{dir / "scratch"};
};

TEST_F(Versions, EachSaveKeepsThePreviousPackageWithItsMediaSharedNotCopied) {
    const Sting removed = document.show().pages[0].stings[1];
    ASSERT_TRUE(document.removeSting(removed.id));
    saveAs("Version 1");
    saveAs("Version 2");

    auto versions = listVersions(package);
    ASSERT_TRUE(versions);
    ASSERT_EQ(versions->size(), 2u);
    EXPECT_GE(versions->front().id, versions->back().id);  // newest first
    EXPECT_EQ(versions->back().stingCount, 2u);
    EXPECT_EQ(versions->front().stingCount, 1u);
    EXPECT_GT(versions->front().savedAtUnixMs, 0);

    // The removed sting's media is gone from the show but kept for the version that has it.
    EXPECT_FALSE(fs::exists(package / "Media" / removed.mediaFilename));
    EXPECT_EQ(test::readFile(versions->back().folder / "Media" / removed.mediaFilename),
              test::mediaBytesFor(removed));
    const Sting& kept = document.show().pages[0].stings[0];
    EXPECT_EQ(test::inodeOf(versions->back().folder / "Media" / kept.mediaFilename),
              test::inodeOf(package / "Media" / kept.mediaFilename));

    // Opening ignores the versions.
    ShowDocument reopened(dir / "scratch");
    ASSERT_TRUE(reopened.read(package));
    EXPECT_EQ(reopened.show(), document.show());
}

TEST_F(Versions, RestoringIsASaveThatCanItselfBeUndone) {
    const Sting removed = document.show().pages[0].stings[1];
    ASSERT_TRUE(document.removeSting(removed.id));
    saveAs("Version 1");
    const std::string oldest = listVersions(package)->back().id;

    ASSERT_TRUE(document.restoreVersion(package, oldest));
    EXPECT_TRUE(document.isEdited());
    EXPECT_EQ(document.show().name, "Version 0");
    EXPECT_EQ(test::readFile(document.mediaPath(document.show().pages[0].stings[1])),
              test::mediaBytesFor(removed));
    ASSERT_TRUE(document.save(package));

    ShowDocument reopened(dir / "scratch");
    ASSERT_TRUE(reopened.read(package));
    EXPECT_EQ(reopened.show().name, "Version 0");
    EXPECT_EQ(stingCount(reopened.show()), 2u);
    ASSERT_TRUE(reopened.restoreVersion(package, "1"));  // the state the restore replaced
    EXPECT_EQ(reopened.show().name, "Version 1");

    const auto unknown = document.restoreVersion(package, "99");
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.error().kind, DocumentError::Kind::noSuchVersion);
}

TEST_F(Versions, RevertToSavedDropsUnsavedEditsAndTheirFiles) {
    const Show saved = document.show();
    Sting added = test::makeSting("Unsaved");
    test::writeFile(document.mediaPath(added), "unsaved media");
    document.mutableShow().pages[0].stings.push_back(added);
    document.mutableShow().name = "Unsaved name";
    document.markChanged();

    ASSERT_TRUE(document.revertToSaved());
    EXPECT_FALSE(document.isEdited());
    EXPECT_EQ(document.show(), saved);
    EXPECT_FALSE(fs::exists(document.mediaPath(added)));
}

TEST_F(Versions, APackageReplacedByASaveThatCrashedBeforeKeepingItBecomesAVersion) {
    saveAs("Version 1");
    saveAs("Version 2");
    // As a crash right after the swap leaves it: the replaced package, with the versions, at
    // the staging name beside the new one, which has none yet.
    const fs::path leftover = dir / (".Show.stingshow.saving-" + Uuid::generate().toString());
    fs::create_directories(leftover);
    fs::copy(package, leftover, fs::copy_options::recursive);
    fs::remove_all(package / kVersionsFolder);

    recoverInterruptedSave(package);
    EXPECT_FALSE(fs::exists(leftover));
    auto versions = listVersions(package);
    ASSERT_TRUE(versions);
    EXPECT_EQ(versions->size(), 3u);  // the two kept before, and the replaced package
}

TEST_F(Versions, OnlyTheNewestAreKept) {
    for (std::size_t i = 1; i <= kKeptVersions + 3; ++i)
        saveAs("Version " + std::to_string(i));
    auto versions = listVersions(package);
    ASSERT_TRUE(versions);
    ASSERT_EQ(versions->size(), kKeptVersions);
    auto newest = findVersion(package, "1");
    ASSERT_TRUE(newest);
    EXPECT_NE(test::readFile(newest->folder / "show.json")
                  .find("Version " + std::to_string(kKeptVersions + 2)),
              std::string::npos);
}

}  // namespace brellow
