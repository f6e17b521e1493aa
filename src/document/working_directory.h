#pragma once
// A document's private scratch folder, "StingShow-<UUID>" with "Media" and "Waveforms".
// It lives on the user's own disk so that media can be hard-linked to and from packages,
// and it is removed with its owner.
#include <filesystem>

namespace brellow {

class WorkingDirectory {
  public:
    /// Chooses a fresh folder below `scratchRoot` and creates it; creation failures are
    /// ignored (later reads and writes report them).
    explicit WorkingDirectory(const std::filesystem::path& scratchRoot);
    ~WorkingDirectory();
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

    /// Creates the folder and its subfolders if missing; errors are ignored.
    void ensureCreated() const;

    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path media() const { return root_ / "Media"; }
    std::filesystem::path waveforms() const { return root_ / "Waveforms"; }

  private:
    std::filesystem::path root_;
};

}  // namespace brellow
