#pragma once
// Helpers shared by the tests: a temporary folder, package construction, captured logs.
#include <filesystem>
#include <memory>
#include <string>

#include "base/log.h"
#include "model/show.h"

namespace brellow::test {

/// A fresh folder removed when the object goes away.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

/// Installs a memory sink for the lifetime of the object.
class CapturedLog {
  public:
    CapturedLog();
    ~CapturedLog();
    MemoryLogSink& sink() { return *sink_; }
    bool has(LogLevel level, const std::string& category, const std::string& message) const {
        return sink_->contains(level, category, message);
    }

  private:
    std::shared_ptr<MemoryLogSink> sink_;
};

void writeFile(const std::filesystem::path& path, const std::string& bytes);
std::string readFile(const std::filesystem::path& path);

/// A sting with a safe media name and waveform name derived from its id.
Sting makeSting(const std::string& name, std::optional<std::string> hotkey = std::nullopt);

/// Writes `showJson` and, for every sting of `show` (when given), a small media file and
/// waveform file with contents derived from the sting's name.
void writePackage(const std::filesystem::path& package, const std::string& showJson);
void writePackage(const std::filesystem::path& package, const Show& show);
std::string mediaBytesFor(const Sting& sting);
std::string toLower(std::string text);

/// The inode number of a file, to tell a hard link from a copy.
unsigned long inodeOf(const std::filesystem::path& path);

}  // namespace brellow::test
