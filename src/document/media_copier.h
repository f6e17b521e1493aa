#pragma once
// Copies an opened show's media from another file system into its working folder on a thread
// of its own, so that the window never waits for them. Each file is copied under a hidden name
// and renamed into place when whole: a file in the working folder is never a partial copy.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <glib.h>

#include "base/files.h"
#include "base/result.h"

namespace brellow {

struct PendingCopy {
    std::filesystem::path source;
    std::filesystem::path target;
    std::uint64_t bytes = 0;
};

struct CopyProgress {
    std::size_t filesDone = 0;
    std::size_t filesTotal = 0;
    std::uint64_t bytesDone = 0;
    std::uint64_t bytesTotal = 0;
    bool finished() const { return filesDone == filesTotal; }
};

class MediaCopier {
  public:
    /// Called on the main context after each file, whether or not it could be copied.
    using Arrived = std::function<void(const PendingCopy& copy, const Result<void, IoError>& result,
                                       const CopyProgress& progress)>;

    /// Starts copying at once. `holdingFolder` takes the partial copies; it must be on the
    /// targets' file system.
    MediaCopier(std::vector<PendingCopy> copies, const std::filesystem::path& holdingFolder,
                Arrived arrived, GMainContext* context = nullptr);
    /// Stops after the file being copied; nothing more is reported.
    ~MediaCopier();
    MediaCopier(const MediaCopier&) = delete;
    MediaCopier& operator=(const MediaCopier&) = delete;

  private:
    struct Shared {
        std::atomic<bool> cancelled{false};
        Arrived arrived;
    };
    std::shared_ptr<Shared> shared_;
    std::thread thread_;
};

}  // namespace brellow
