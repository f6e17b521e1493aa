#pragma once
// The failures of what an operator asked a command to do, told on stderr in the operator's
// words as they happen (which sting, which file, what to do), and counted so the command can
// exit 1 when any happened.
#include <atomic>
#include <filesystem>
#include <string>

#include "audio/engine/engine_error.h"
#include "model/show.h"

namespace brellow::cli {

/// Why `sting` of the show in `package` could not start, and what the operator can do.
/// Looks at the package's media file, since a missing or unreadable one is the usual cause.
std::string explainPlayFailure(const Sting& sting, const std::filesystem::path& package,
                               const audio::EngineFailure& failure);

class FailureReport {
  public:
    explicit FailureReport(std::filesystem::path package) : package_(std::move(package)) {}

    /// Prints why `sting` could not start; callable from any thread.
    void stingFailed(const Sting& sting, const audio::EngineFailure& failure);
    /// Prints `message` as a failure of the command `verb`; callable from any thread.
    void failed(const std::string& verb, const std::string& message);

    bool any() const { return count_.load() > 0; }
    const std::filesystem::path& package() const { return package_; }

  private:
    std::filesystem::path package_;
    std::atomic<int> count_{0};
};

}  // namespace brellow::cli
