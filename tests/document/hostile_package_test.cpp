// Packages made to hang, exhaust or confuse the reader get a clear answer at once.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "document/package_reader.h"
#include "document/show_document.h"
#include "model/show_codec.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

class HostilePackage : public ::testing::Test {
  protected:
    void SetUp() override { fs::create_directories(package / "Media"); }

    DocumentError::Kind readFails() {
        ShowDocument document(dir / "scratch");
        const auto read = document.read(package);
        EXPECT_FALSE(read);
        return read ? DocumentError::Kind::io : read.error().kind;
    }

    test::TempDir dir;
    fs::path package = dir / "Show.stingshow";
};

TEST_F(HostilePackage, AShowJsonThatIsNoPlainFileOrTooLargeIsRefusedAtOnce) {
    ASSERT_EQ(::mkfifo((package / "show.json").c_str(), 0600), 0);
    EXPECT_EQ(readFails(), DocumentError::Kind::packageUnreadable);  // no writer: would block

    fs::remove(package / "show.json");
    test::writeFile(dir / "outside.json", encodeShow(makeNewShow(), JsonStyle::file).value());
    fs::create_symlink(dir / "outside.json", package / "show.json");
    EXPECT_EQ(readFails(), DocumentError::Kind::packageUnreadable);

    fs::remove(package / "show.json");
    fs::create_symlink("/dev/zero", package / "show.json");
    EXPECT_EQ(readFails(), DocumentError::Kind::packageUnreadable);

    fs::remove(package / "show.json");
    test::writeFile(package / "show.json", "");
    fs::resize_file(package / "show.json", kMaxShowJsonBytes + 1);  // sparse: nothing is read
    EXPECT_EQ(readFails(), DocumentError::Kind::packageUnreadable);
}

TEST_F(HostilePackage, StingsSharingAnIdGetTheirOwnAndKeepTheirSharedMedia) {
    Show show = makeNewShow();
    const Sting first = test::makeSting("First");
    Sting twin = first;
    twin.name = "Twin";
    show.pages[0].stings = {first, twin};
    test::writePackage(package, show);
    const std::string sharedMedia = test::readFile(package / "Media" / first.mediaFilename);

    test::CapturedLog log;
    ShowDocument document(dir / "scratch");
    ASSERT_TRUE(document.read(package));
    const auto& stings = document.show().pages[0].stings;
    ASSERT_EQ(stings.size(), 2u);
    EXPECT_EQ(stings[0].id, first.id);
    EXPECT_NE(stings[1].id, first.id);
    EXPECT_TRUE(log.has(LogLevel::error, "ShowDocument",
                        "Giving sting Twin a new id: " + first.id.toString() + " is already used"));

    // Removing one must not take the other's sound, now or in the saved package.
    ASSERT_TRUE(document.removeSting(stings[0].id));
    EXPECT_EQ(test::readFile(document.mediaPath(document.show().pages[0].stings[0])), sharedMedia);
    ASSERT_TRUE(document.save(package));
    EXPECT_EQ(test::readFile(package / "Media" / first.mediaFilename), sharedMedia);
}

TEST_F(HostilePackage, AHundredThousandStingsOpenWithHotkeysForTheFirstNine) {
    Show show = makeNewShow();
    Sting sting = test::makeSting("Many");
    show.pages[0].stings.reserve(100'000);
    for (int i = 0; i < 100'000; ++i) {
        sting.id = Uuid::generate();
        sting.mediaFilename = sting.id.toString() + ".caf";
        sting.waveformFilename.reset();
        show.pages[0].stings.push_back(sting);
    }
    show.pages[0].stings[3].hotkey = "2";
    test::writePackage(dir / "Big.stingshow", encodeShow(show, JsonStyle::file).value());

    ShowDocument document(dir / "scratch");
    ASSERT_TRUE(document.read(dir / "Big.stingshow"));
    const auto& stings = document.show().pages[0].stings;
    ASSERT_EQ(stings.size(), 100'000u);
    EXPECT_EQ(stings[0].hotkey, "1");
    EXPECT_EQ(stings[1].hotkey, "3");  // "2" was taken by a later sting
    EXPECT_EQ(stings[3].hotkey, "2");
    EXPECT_EQ(stings[8].hotkey, "9");
    EXPECT_FALSE(stings[9].hotkey);
}

}  // namespace brellow
