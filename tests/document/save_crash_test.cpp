// A save that dies at any moment must leave the package either as it was or as saved, whole.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "document/show_document.h"
#include "support/test_support.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

// The changes a save under test writes: a renamed show, one sting removed, one added.
void editForSave(ShowDocument& document, const std::string& newName) {
    document.mutableShow().name = newName;
    (void)document.removeSting(document.show().pages[0].stings.front().id);
    Sting added = test::makeSting("Added " + newName);
    test::writeFile(document.workingDirectory().media() / added.mediaFilename,
                    test::mediaBytesFor(added));
    document.mutableShow().pages[0].stings.push_back(added);
    document.markChanged();
}

// Opens what is at `package` and checks that it is one whole show with all its media.
::testing::AssertionResult packageIsWhole(const fs::path& package, const fs::path& scratch,
                                          std::string* name) {
    ShowDocument document(scratch);
    const auto read = document.read(package);
    if (!read) return ::testing::AssertionFailure() << "unreadable: " << read.error().message;
    for (const Sting& sting : allStings(document.show())) {
        const fs::path media = document.workingDirectory().media() / sting.mediaFilename;
        if (test::readFile(media) != test::mediaBytesFor(sting)) {
            return ::testing::AssertionFailure() << "media missing for " << sting.name;
        }
    }
    *name = document.show().name;
    return ::testing::AssertionSuccess();
}

int waitFor(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

}  // namespace

class SaveCrash : public ::testing::Test {
  protected:
    void SetUp() override {
        Show show = makeNewShow();
        show.name = "Original";
        for (int i = 0; i < 4; ++i)
            show.pages[0].stings.push_back(test::makeSting("S" + std::to_string(i)));
        test::writePackage(package, show);
    }
    test::TempDir dir;
    fs::path package = dir / "Show.stingshow";
    fs::path scratch = dir / "scratch";
};

TEST_F(SaveCrash, StoppingAtEveryStepLeavesTheOldOrTheNewPackage) {
    bool reachedEnd = false;
    for (int stopAt = 0; !reachedEnd && stopAt < 32; ++stopAt) {
        const std::string newName = "Saved " + std::to_string(stopAt);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ShowDocument document(scratch);
            if (!document.read(package)) _exit(3);
            editForSave(document, newName);
            int step = 0;
            const auto saved = document.save(package, [&](std::string_view) {
                if (step++ == stopAt) _exit(0);  // dies as a crash would: nothing cleaned up
            });
            _exit(saved ? 1 : 2);
        }
        const int status = waitFor(child);
        ASSERT_TRUE(WIFEXITED(status));
        ASSERT_LE(WEXITSTATUS(status), 1) << "child could not open or save";
        reachedEnd = WEXITSTATUS(status) == 1;

        std::string name;
        ASSERT_TRUE(packageIsWhole(package, scratch, &name)) << "stopped at step " << stopAt;
        EXPECT_TRUE(name == "Original" || name.starts_with("Saved ")) << name;
        if (reachedEnd) {
            EXPECT_EQ(name, newName);
        }
    }
    EXPECT_TRUE(reachedEnd);
}

TEST_F(SaveCrash, KillingARepeatedlySavingProcessNeverCostsTheShow) {
    std::mt19937 random(12345);
    std::uniform_int_distribution<int> delayMicroseconds(0, 15000);
    for (int round = 0; round < 25; ++round) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int n = 0;; ++n) {
                ShowDocument document(scratch);
                if (!document.read(package)) _exit(3);
                editForSave(document, "Saved " + std::to_string(n));
                if (!document.save(package)) _exit(2);
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(delayMicroseconds(random)));
        kill(child, SIGKILL);
        const int status = waitFor(child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "saving process ended by itself: " << status;

        std::string name;
        ASSERT_TRUE(packageIsWhole(package, scratch, &name)) << "round " << round;
    }
}

}  // namespace brellow
