#pragma once
// One open show: its model, its private working folder, its change count, and the edits the
// page makes. Toolkit-free; everything here runs on the main context.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/result.h"
#include "document/document_error.h"
#include "document/media_copier.h"
#include "document/package_writer.h"
#include "document/working_directory.h"
#include "model/show.h"

namespace brellow {

/// One sting the engine should load after a show was opened.
struct StingLoadRequest {
    Uuid stingID;
    std::filesystem::path mediaPath;
    double volumeDB = 0;
};

/// Receives, after each successful read, the stings to load in `allStings` order. It must
/// start its work in the background and return at once.
using StingLoadHandler = std::function<void(std::vector<StingLoadRequest>)>;

/// What `setHotkey` did: the stings of the same page that gave the key up.
struct HotkeyChange {
    std::vector<Uuid> clearedStingIDs;
};

class ShowDocument {
  public:
    /// A new untitled show with an empty working folder below `scratchRoot`.
    explicit ShowDocument(const std::filesystem::path& scratchRoot);
    ShowDocument();  // scratch root: the user's cache folder
    ~ShowDocument();
    ShowDocument(const ShowDocument&) = delete;
    ShowDocument& operator=(const ShowDocument&) = delete;

    /// Replaces the show with the package's and fills the working folder, then hands the
    /// stings to the load handler.
    Result<void, DocumentError> read(const std::filesystem::path& package);

    /// Writes the package at `destination`, all or nothing; on success the document is clean
    /// and the replaced package is kept as a version. Files missing from the working folder
    /// (a cleaner removed it) are first brought back from the package last read or saved.
    Result<void, DocumentError> save(const std::filesystem::path& destination,
                                     const SaveCheckpoint& checkpoint = {});

    /// Replaces the show with a version kept in `package` (see package_versions.h) and marks
    /// the document edited; saving it then keeps the current state as a version in turn.
    Result<void, DocumentError> restoreVersion(const std::filesystem::path& package,
                                               std::string_view versionIdOrPosition);

    /// Reads the package last read or saved again, dropping unsaved edits.
    Result<void, DocumentError> revertToSaved();
    /// The package last read or saved, if any.
    const std::optional<std::filesystem::path>& package() const { return package_; }

    /// What the user should be told after a save found files gone from the working folder
    /// (see restoreMissingWorkingFiles); empty when nothing was. Cleared by reading it.
    std::string takeWorkingFolderNotice();

    /// What the last successful save did with the files.
    const SaveReport& lastSaveReport() const { return lastSaveReport_; }
    /// The file operations saves use; tests pass one that fails on purpose.
    void setFileLayer(FileLayer& files) { files_ = &files; }

    const Show& show() const { return show_; }
    /// For the import flow, which appends stings and marks changes itself.
    Show& mutableShow() { return show_; }
    const WorkingDirectory& workingDirectory() const { return working_; }
    std::filesystem::path mediaPath(const Sting& sting) const;

    void setStingLoadHandler(StingLoadHandler handler) { loadHandler_ = std::move(handler); }
    /// Makes reads copy media from another file system in the background: stings whose media
    /// are still on their way are handed to the load handler as each file arrives, and
    /// `progress` (may be empty) is told after each file. Without it, reads copy at once.
    void copyMediaInBackground(std::function<void(const CopyProgress&)> progress);
    /// Media files still being copied in.
    std::size_t pendingCopies() const { return pendingCopies_.size(); }

    // Change tracking: edited from the first change until the next successful save.
    void markChanged() { ++changeCount_; }
    std::uint64_t changeCount() const { return changeCount_; }
    bool isEdited() const { return changeCount_ != savedChangeCount_; }

    // Edits. Each returns whether it changed the show; an unknown identifier changes nothing.
    bool setTrim(const Uuid& stingID, std::optional<double> inSec, std::optional<double> outSec);
    bool setLoop(const Uuid& stingID, bool enabled);
    bool setFade(const Uuid& stingID, std::optional<double> fadeInSec,
                 std::optional<double> fadeOutSec);
    std::optional<HotkeyChange> setHotkey(const Uuid& stingID, std::optional<std::string> key);
    std::optional<Sting> removeSting(const Uuid& stingID);
    bool reorder(const Uuid& pageID, const std::vector<Uuid>& stingIDs);
    bool rename(const Uuid& stingID, const std::string& name);
    bool setSoloMode(bool enabled);
    /// Nothing for the system's default output; false when it is already the one stored.
    bool setOutputDevice(const std::optional<std::string>& deviceUID);
    Uuid createPage(const std::string& name);
    bool renamePage(const Uuid& pageID, const std::string& name);
    /// The removed page's stings, or nothing when the page is unknown or the last one.
    std::optional<std::vector<Sting>> deletePage(const Uuid& pageID);
    bool setActivePage(const Uuid& pageID);
    bool reorderPages(const std::vector<Uuid>& pageIDs);

    static constexpr double kMaxFadeSec = 60;

  private:
    void deleteWorkingFiles(const Sting& sting);
    void restoreMissingWorkingFiles();
    /// Replaces the show and the working files with the package at `package`; with
    /// `keepOnlyNamed`, working files the new show does not name are removed.
    Result<void, DocumentError> replaceFrom(const std::filesystem::path& package,
                                            bool keepOnlyNamed);
    void mediaArrived(const PendingCopy& copy, const Result<void, IoError>& result,
                      const CopyProgress& progress);
    std::set<std::string> namedFilesMissingFromWorkingFolder() const;
    void startLoading();

    Logger log_{"ShowDocument"};
    Show show_;
    WorkingDirectory working_;
    StingLoadHandler loadHandler_;
    std::uint64_t changeCount_ = 0;
    std::uint64_t savedChangeCount_ = 0;
    std::optional<std::filesystem::path> package_;  // last read or saved
    std::set<std::string> missingAtOpen_;           // named files the package lacked
    FileLayer* files_ = &systemFileLayer();
    SaveReport lastSaveReport_;
    std::string workingFolderNotice_;
    bool copyInBackground_ = false;
    std::function<void(const CopyProgress&)> copyProgress_;
    std::set<std::string> pendingCopies_;
    std::set<std::string> discardOnArrival_;  // of stings removed while their file was coming
    std::unique_ptr<MediaCopier> copier_;     // last: stopped before the rest goes away
};

}  // namespace brellow
