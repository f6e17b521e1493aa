#include <gtest/gtest.h>

#include "document/show_document.h"
#include "model/show_codec.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

class PackageRead : public ::testing::Test {
  protected:
    test::TempDir dir;
    test::CapturedLog log;
    fs::path package = dir / "Show.stingshow";
    fs::path scratch = dir / "scratch";
};

TEST_F(PackageRead, OpensSanitisesAssignsHotkeysAndFillsTheWorkingFolder) {
    Show show = makeNewShow();
    Sting climber = test::makeSting("Climber");
    climber.mediaFilename = "../../etc/passwd.caf";
    Sting noPeaks = test::makeSting("No peaks", "3");
    noPeaks.waveformFilename = "";
    Sting wrongExtension = test::makeSting("Wav");
    wrongExtension.mediaFilename = wrongExtension.id.toString() + ".wav";
    Sting lowerCase = test::makeSting("Lower", "1");
    const std::string lowerName = test::toLower(lowerCase.id.toString()) + ".CAF";
    lowerCase.mediaFilename = lowerName;
    show.pages[0].stings = {climber, noPeaks, wrongExtension, lowerCase, test::makeSting("Next")};
    test::writePackage(package, show);
    test::writeFile(package / "Media" / "notes.txt", "not media");

    std::vector<StingLoadRequest> loads;
    ShowDocument document(scratch);
    document.setStingLoadHandler([&](std::vector<StingLoadRequest> r) { loads = std::move(r); });
    ASSERT_TRUE(document.read(package));

    const auto& stings = document.show().pages[0].stings;
    ASSERT_EQ(stings.size(), 3u);
    EXPECT_EQ(stings[0].name, "No peaks");
    EXPECT_FALSE(stings[0].waveformFilename);
    EXPECT_EQ(stings[1].name, "Lower");
    EXPECT_EQ(stings[2].hotkey, "2");  // 1 and 3 already taken on the page
    EXPECT_TRUE(log.has(LogLevel::error, "ShowDocument",
                        "Dropping sting with unsafe mediaFilename: ../../etc/passwd.caf"));
    EXPECT_TRUE(
        log.has(LogLevel::error, "ShowDocument",
                "Dropping sting with unsafe mediaFilename: " + wrongExtension.mediaFilename));
    EXPECT_TRUE(log.has(LogLevel::error, "ShowDocument", "Clearing unsafe waveformFilename: "));
    EXPECT_TRUE(log.has(LogLevel::info, "ShowDocument", "Opened show with 1 page(s), 3 sting(s)"));
    EXPECT_FALSE(document.isEdited());

    const auto& working = document.workingDirectory();
    EXPECT_EQ(test::readFile(working.media() / lowerName), test::mediaBytesFor(lowerCase));
    EXPECT_FALSE(fs::exists(working.media() / "notes.txt"));
    EXPECT_TRUE(fs::exists(working.waveforms() / *stings[2].waveformFilename));

    ASSERT_EQ(loads.size(), 3u);
    EXPECT_EQ(loads[1].stingID, lowerCase.id);
    EXPECT_EQ(loads[1].mediaPath, working.media() / lowerName);
}

TEST_F(PackageRead, APageWhoseStingsAreAllUnsafeStaysAsAnEmptyPage) {
    Show show = makeNewShow();
    Sting bad = test::makeSting("Bad");
    bad.mediaFilename = "sting.caf";
    show.pages[0].stings = {bad};
    test::writePackage(package, show);
    ShowDocument document(scratch);
    ASSERT_TRUE(document.read(package));
    ASSERT_EQ(document.show().pages.size(), 1u);
    EXPECT_TRUE(document.show().pages[0].stings.empty());
}

TEST_F(PackageRead, UnreadablePackagesGiveTheCorruptFileError) {
    test::writeFile(dir / "plain.stingshow", "{}");
    fs::create_directories(dir / "empty.stingshow");
    fs::create_directories(dir / "dirjson.stingshow/show.json");
    test::writePackage(dir / "real.stingshow", encodeShow(makeNewShow(), JsonStyle::file).value());
    fs::create_directories(dir / "linked.stingshow");
    fs::create_symlink(dir / "real.stingshow/show.json", dir / "linked.stingshow/show.json");

    for (const char* name : {"plain.stingshow", "empty.stingshow", "dirjson.stingshow",
                             "linked.stingshow", "missing.stingshow"}) {
        ShowDocument document(scratch);
        const Show before = document.show();
        const auto result = document.read(dir / name);
        ASSERT_FALSE(result) << name;
        EXPECT_EQ(result.error().domain, "NSCocoaErrorDomain");
        EXPECT_EQ(result.error().code, 259);
        EXPECT_EQ(result.error().message, "show.json missing or unreadable");
        EXPECT_EQ(document.show(), before) << name;
    }
}

TEST_F(PackageRead, AShowJsonThatIsNotAShowFailsWithTheDecodingError) {
    test::writePackage(package,
                       R"({"name":"S","stings":[{"id":"6F1A1F0E-6D0B-4E4E-9C39-8C8A5F0B2A10",
        "name":"x","mediaFilename":"6F1A1F0E-6D0B-4E4E-9C39-8C8A5F0B2A10.caf","durationSec":1,
        "colorLabel":"magenta"}]})");
    ShowDocument document(scratch);
    const auto result = document.read(package);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, DocumentError::Kind::decoding);
    EXPECT_NE(result.error().message.find("colorLabel"), std::string::npos);
}

TEST_F(PackageRead, HostileFolderEntriesAreSkippedAndNothingIsWrittenOutside) {
    Show show = makeNewShow();
    test::writePackage(package, show);
    const std::string safeName = Uuid::generate().toString() + ".caf";
    fs::create_symlink("/etc/hostname", package / "Media" / safeName);
    fs::create_directories(package / "Media" / (Uuid::generate().toString() + ".caf"));
    fs::remove_all(package / "Waveforms");
    fs::create_directory_symlink("/etc", package / "Waveforms");

    ShowDocument document(scratch);
    ASSERT_TRUE(document.read(package));
    EXPECT_TRUE(fs::is_empty(document.workingDirectory().media()));
    EXPECT_TRUE(fs::is_empty(document.workingDirectory().waveforms()));
}

TEST(WorkingFolder, IsPrivateToItsDocumentAndRemovedWithIt) {
    test::TempDir dir;
    fs::path root;
    {
        ShowDocument first(dir.path());
        ShowDocument second(dir.path());
        root = first.workingDirectory().root();
        EXPECT_NE(root, second.workingDirectory().root());
        EXPECT_EQ(root.filename().string().rfind("StingShow-", 0), 0u);
        EXPECT_EQ(root.filename().string().size(), 10u + 36u);
        EXPECT_TRUE(fs::is_directory(first.workingDirectory().media()));
        EXPECT_TRUE(fs::is_directory(first.workingDirectory().waveforms()));
    }
    EXPECT_FALSE(fs::exists(root));
}

}  // namespace brellow
