// A save is whole or it did not happen: every failure while building the new package leaves
// the old one exactly as it was and the document edited.
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include <gtest/gtest.h>

#include "document/show_document.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

// Every file below `root` with its contents; "Versions" is compared too.
std::map<std::string, std::string> snapshot(const fs::path& root) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const std::string name = fs::relative(entry.path(), root).string();
        files[name] = entry.is_regular_file() ? test::readFile(entry.path()) : "<folder>";
    }
    return files;
}

std::size_t siblingsOf(const fs::path& package) {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(package.parent_path()))
        count += entry.path().filename().string().starts_with("." + package.filename().string());
    return count;
}

// Fails the `failAt`-th changing or flushing operation with `errorNumber`.
class FailingLayer : public FileLayer {
  public:
    int failAt = -1;
    int errorNumber = EIO;
    int calls = 0;

    Result<void, IoError> makeDirectory(const fs::path& path) override {
        if (failsNow()) return fail(IoError::fromErrno("mkdir", path, errorNumber));
        return FileLayer::makeDirectory(path);
    }
    Result<void, IoError> writeNewFile(const fs::path& path, std::string_view bytes) override {
        if (failsNow()) return fail(IoError::fromErrno("write", path, errorNumber));
        return FileLayer::writeNewFile(path, bytes);
    }
    Result<CloneMethod, IoError> clone(const fs::path& from, const fs::path& to) override {
        if (failsNow()) return fail(IoError::fromErrno("copy", to, errorNumber));
        return FileLayer::clone(from, to);
    }
    Result<void, IoError> syncFile(const fs::path& path) override {
        if (failsNow()) return fail(IoError::fromErrno("fsync", path, errorNumber));
        return FileLayer::syncFile(path);
    }
    Result<void, IoError> syncDirectory(const fs::path& path) override {
        if (failsNow()) return fail(IoError::fromErrno("fsync", path, errorNumber));
        return FileLayer::syncDirectory(path);
    }

  private:
    bool failsNow() { return calls++ == failAt; }
};

// Copies as a full disk might leave it: the file is there, shorter, and no error is seen.
class ShortCopyLayer : public FileLayer {
  public:
    Result<CloneMethod, IoError> clone(const fs::path& from, const fs::path& to) override {
        test::writeFile(to, test::readFile(from).substr(1));
        return CloneMethod::copy;
    }
};

// Removes the working copy of `vanishing` just before it would be linked.
class VanishingSourceLayer : public FileLayer {
  public:
    std::string vanishing;
    Result<CloneMethod, IoError> clone(const fs::path& from, const fs::path& to) override {
        if (from.filename() == vanishing) fs::remove(from);
        return FileLayer::clone(from, to);
    }
};

// A small file system of its own, mounted for the test and unmounted after it.
class Mount {
  public:
    Mount(const fs::path& at, const std::string& options) : at_(at) {
        fs::create_directories(at);
        mounted_ = ::mount("tmpfs", at.c_str(), "tmpfs", 0, options.c_str()) == 0;
    }
    ~Mount() {
        if (mounted_) ::umount2(at_.c_str(), MNT_DETACH);
    }
    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;
    bool mounted() const { return mounted_; }
    bool remountReadOnly() {
        return ::mount(nullptr, at_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }

  private:
    fs::path at_;
    bool mounted_ = false;
};

}  // namespace

class SaveTransaction : public ::testing::Test {
  protected:
    void SetUp() override { makePackageAt(dir / "Show.stingshow"); }

    void makePackageAt(const fs::path& at) {
        package = at;
        Show show = makeNewShow();
        for (int i = 0; i < 3; ++i)
            show.pages[0].stings.push_back(test::makeSting("S" + std::to_string(i)));
        test::writePackage(package, show);
    }

    // Opens the package, renames the show and adds one sting with `mediaBytes` of media.
    std::unique_ptr<ShowDocument> openAndEdit(const std::string& mediaBytes = "new media") {
        auto document = std::make_unique<ShowDocument>(scratch);
        EXPECT_TRUE(document->read(package));
        document->mutableShow().name = "Edited";
        Sting added = test::makeSting("Added");
        test::writeFile(document->workingDirectory().media() / added.mediaFilename, mediaBytes);
        test::writeFile(document->workingDirectory().waveforms() / *added.waveformFilename, "pk");
        document->mutableShow().pages[0].stings.push_back(added);
        document->markChanged();
        return document;
    }

    void expectUntouched(const std::map<std::string, std::string>& before,
                         const ShowDocument& document) {
        EXPECT_EQ(snapshot(package), before);
        EXPECT_TRUE(document.isEdited());
        EXPECT_EQ(siblingsOf(package), 0u) << "a staging folder was left behind";
    }

    test::TempDir dir;
    fs::path package;
    fs::path scratch = dir / "scratch";
};

TEST_F(SaveTransaction, AFailureAtAnyStepBeforeTheSwapLeavesTheOldPackageAsItWas) {
    // Versions exist too, so that the replaced package's history is shown to survive.
    { ASSERT_TRUE(openAndEdit()->save(package)); }
    const auto before = snapshot(package);
    bool saved = false;
    for (int failAt = 0; !saved && failAt < 64; ++failAt) {
        auto document = openAndEdit("media " + std::to_string(failAt));
        FailingLayer layer;
        layer.failAt = failAt;
        layer.errorNumber = failAt % 2 == 0 ? ENOSPC : EIO;
        document->setFileLayer(layer);
        const auto result = document->save(package);
        saved = result.ok();
        if (saved) break;
        EXPECT_EQ(result.error().kind, DocumentError::Kind::io) << "step " << failAt;
        EXPECT_EQ(result.error().code, layer.errorNumber);
        expectUntouched(before, *document);
    }
    ASSERT_TRUE(saved);
    ShowDocument reopened(scratch);
    ASSERT_TRUE(reopened.read(package));
    EXPECT_EQ(reopened.show().name, "Edited");
    EXPECT_EQ(stingCount(reopened.show()), 5u);  // one added by each save
}

TEST_F(SaveTransaction, AShortCopyIsCaughtByTheCheckBeforeTheSwap) {
    const auto before = snapshot(package);
    auto document = openAndEdit();
    ShortCopyLayer layer;
    document->setFileLayer(layer);
    const auto result = document->save(package);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, DocumentError::Kind::incomplete);
    expectUntouched(before, *document);
}

TEST_F(SaveTransaction, ASourceFileThatVanishesFailsTheSave) {
    const auto before = snapshot(package);
    auto document = openAndEdit();
    VanishingSourceLayer layer;
    layer.vanishing = allStings(document->show()).back().mediaFilename;
    document->setFileLayer(layer);
    const auto result = document->save(package);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, ENOENT);
    expectUntouched(before, *document);
}

TEST_F(SaveTransaction, ARemovedWorkingFolderIsRefilledFromThePackageOrTheSaveRefused) {
    test::CapturedLog log;
    {
        ShowDocument document(scratch);
        ASSERT_TRUE(document.read(package));
        fs::remove_all(document.workingDirectory().root());  // a cleaner of temporary files
        document.mutableShow().name = "After cleaning";
        document.markChanged();
        ASSERT_TRUE(document.save(package));
        EXPECT_TRUE(log.has(LogLevel::error, "ShowDocument",
                            "Working folder lost 6 file(s); restored 6 from the saved package"));
        EXPECT_NE(document.takeWorkingFolderNotice().find("6 of 6 were brought back"),
                  std::string::npos);
        EXPECT_EQ(document.takeWorkingFolderNotice(), "");
        for (const Sting& sting : allStings(document.show()))
            EXPECT_EQ(test::readFile(package / "Media" / sting.mediaFilename),
                      test::mediaBytesFor(sting));
    }
    // A sting imported since the last save exists only in the working folder.
    const auto before = snapshot(package);
    auto document = openAndEdit();
    fs::remove_all(document->workingDirectory().root());
    const auto result = document->save(package);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, DocumentError::Kind::incomplete);
    EXPECT_NE(result.error().message.find(allStings(document->show()).back().mediaFilename),
              std::string::npos);
    expectUntouched(before, *document);
}

TEST_F(SaveTransaction, OnAFullFileSystemTheSaveFailsAndAnotherFileSystemCopiesOnlyNewMedia) {
    Mount stick(dir / "stick", "size=256k");
    if (!stick.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here (needs root)";
    makePackageAt(dir / "stick" / "Show.stingshow");  // the working folder stays on disk

    auto document = openAndEdit(std::string(64 * 1024, 'm'));
    ASSERT_TRUE(document->save(package));
    EXPECT_EQ(document->lastSaveReport().copied, 2u);  // the new sting's media and waveform
    EXPECT_EQ(document->lastSaveReport().reusedFromOldPackage, 6u);

    document->mutableShow().name = "Renamed";
    document->markChanged();
    ASSERT_TRUE(document->save(package));
    EXPECT_EQ(document->lastSaveReport().copied, 0u);

    const auto before = snapshot(package);
    Sting big = test::makeSting("Too big");
    test::writeFile(document->workingDirectory().media() / big.mediaFilename,
                    std::string(512 * 1024, 'b'));
    document->mutableShow().pages[0].stings.push_back(big);
    document->markChanged();
    const auto result = document->save(package);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, ENOSPC);
    expectUntouched(before, *document);
}

TEST_F(SaveTransaction, AReadOnlyFolderFailsTheSaveWithItsReason) {
    Mount stick(dir / "stick", "size=1m");
    const bool root = ::geteuid() == 0;
    if (root && !stick.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
    const fs::path folder = root ? dir / "stick" : dir / "locked";
    makePackageAt(folder / "Show.stingshow");
    auto document = openAndEdit();
    const auto before = snapshot(package);
    if (root) {
        ASSERT_TRUE(stick.remountReadOnly());
    } else {
        fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    }
    const auto result = document->save(package);
    if (!root) fs::permissions(folder, fs::perms::owner_all);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, root ? EROFS : EACCES);
    expectUntouched(before, *document);
}

}  // namespace brellow
