// Opening a show from another file system copies its media in the background.
#include <gtest/gtest.h>

#include "document/show_document.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

// A folder on /dev/shm, a tmpfs and so another file system than the temporary folder.
class SharedMemoryDir {
  public:
    SharedMemoryDir() {
        std::string pattern = "/dev/shm/brellow-test-XXXXXX";
        if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    ~SharedMemoryDir() {
        std::error_code ignored;
        if (!path_.empty()) fs::remove_all(path_, ignored);
    }
    SharedMemoryDir(const SharedMemoryDir&) = delete;
    SharedMemoryDir& operator=(const SharedMemoryDir&) = delete;
    const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

bool sameFileSystem(const fs::path& a, const fs::path& b) {
    struct stat infoA {
    }, infoB{};
    return ::stat(a.c_str(), &infoA) == 0 && ::stat(b.c_str(), &infoB) == 0 &&
           infoA.st_dev == infoB.st_dev;
}

}  // namespace

class BackgroundCopy : public ::testing::Test {
  protected:
    void SetUp() override {
        if (shm.path().empty() || sameFileSystem(shm.path(), dir.path())) {
            GTEST_SKIP() << "no second file system at /dev/shm";
        }
        package = shm.path() / "Show.stingshow";
        Show show = makeNewShow();
        for (int i = 0; i < 4; ++i)
            show.pages[0].stings.push_back(test::makeSting("S" + std::to_string(i)));
        test::writePackage(package, show);
        document.setStingLoadHandler([this](std::vector<StingLoadRequest> requests) {
            for (auto& request : requests)
                loaded.push_back(request);
        });
        document.copyMediaInBackground(
            [this](const CopyProgress& progress) { reported.push_back(progress); });
    }

    void waitForCopies() {
        while (document.pendingCopies() > 0)
            g_main_context_iteration(nullptr, TRUE);
    }

    test::TempDir dir;
    SharedMemoryDir shm;
    fs::path package;
    ShowDocument document{dir / "scratch"};
    std::vector<StingLoadRequest> loaded;
    std::vector<CopyProgress> reported;
};

TEST_F(BackgroundCopy, StingsLoadAsTheirMediaArriveWhole) {
    ASSERT_TRUE(document.read(package));
    EXPECT_TRUE(loaded.empty()) << "nothing is loadable before its media is copied";
    EXPECT_EQ(document.pendingCopies(), 8u);  // media and waveforms
    waitForCopies();

    ASSERT_EQ(loaded.size(), 4u);
    for (const StingLoadRequest& request : loaded) {
        const auto at = locateSting(document.show(), request.stingID);
        ASSERT_TRUE(at);
        const Sting& sting = document.show().pages[at->pageIndex].stings[at->stingIndex];
        EXPECT_EQ(test::readFile(request.mediaPath), test::mediaBytesFor(sting));
    }
    ASSERT_FALSE(reported.empty());
    EXPECT_TRUE(reported.back().finished());
    EXPECT_EQ(reported.back().filesTotal, 8u);
    for (const auto& entry : fs::directory_iterator(document.workingDirectory().root()))
        EXPECT_TRUE(entry.is_directory()) << "a partial copy was left: " << entry.path();
}

TEST_F(BackgroundCopy, SavingWhileCopyingTakesMissingFilesFromThePackage) {
    ASSERT_TRUE(document.read(package));
    const Sting removed = document.show().pages[0].stings[0];
    ASSERT_TRUE(document.removeSting(removed.id));
    ASSERT_TRUE(document.save(package));
    EXPECT_EQ(document.lastSaveReport().copied, 0u);
    EXPECT_EQ(stingCount(document.show()), 3u);
    for (const Sting& sting : allStings(document.show()))
        EXPECT_EQ(test::readFile(package / "Media" / sting.mediaFilename),
                  test::mediaBytesFor(sting));

    waitForCopies();
    EXPECT_FALSE(fs::exists(document.mediaPath(removed))) << "a removed sting's file came back";
    EXPECT_EQ(loaded.size(), 3u);
}

}  // namespace brellow
