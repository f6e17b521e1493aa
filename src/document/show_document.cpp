#include "document/show_document.h"

#include <algorithm>
#include <utility>

#include "base/files.h"
#include "base/user_dirs.h"
#include "document/package_reader.h"
#include "document/package_versions.h"

namespace brellow {

namespace fs = std::filesystem;

ShowDocument::ShowDocument(const fs::path& scratchRoot)
    : show_(makeNewShow()), working_(scratchRoot) {}

ShowDocument::ShowDocument() : ShowDocument(userCacheDirectory()) {}

ShowDocument::~ShowDocument() = default;

fs::path ShowDocument::mediaPath(const Sting& sting) const {
    return working_.media() / sting.mediaFilename;
}

std::set<std::string> ShowDocument::namedFilesMissingFromWorkingFolder() const {
    std::set<std::string> missing;
    for (const std::string& name : namedMediaFiles(show_)) {
        if (!isRegularFileNoFollow(working_.media() / name)) missing.insert(name);
    }
    for (const std::string& name : namedWaveformFiles(show_)) {
        if (!isRegularFileNoFollow(working_.waveforms() / name)) missing.insert(name);
    }
    return missing;
}

void ShowDocument::startLoading() {
    if (!loadHandler_) return;
    std::vector<StingLoadRequest> requests;
    for (const Sting& sting : allStings(show_)) {
        if (pendingCopies_.contains(sting.mediaFilename)) continue;  // loaded when it arrives
        requests.push_back({sting.id, mediaPath(sting), sting.volumeDB});
    }
    loadHandler_(std::move(requests));
}

void ShowDocument::copyMediaInBackground(std::function<void(const CopyProgress&)> progress) {
    copyInBackground_ = true;
    copyProgress_ = std::move(progress);
}

Result<void, DocumentError> ShowDocument::read(const fs::path& package) {
    recoverInterruptedSave(package);
    if (auto replaced = replaceFrom(package, false); !replaced) return replaced;
    savedChangeCount_ = changeCount_;
    package_ = fs::absolute(package).lexically_normal();
    return {};
}

Result<void, DocumentError> ShowDocument::replaceFrom(const fs::path& package, bool keepOnlyNamed) {
    copier_.reset();
    std::vector<PendingCopy> deferred;
    auto show = readPackage(package, working_, log_, copyInBackground_ ? &deferred : nullptr);
    if (!show) return fail(show.error());
    show_ = std::move(show).value();
    if (keepOnlyNamed) {
        const std::set<std::string> media = namedMediaFiles(show_);
        const std::set<std::string> peaks = namedWaveformFiles(show_);
        for (const auto& [folder, keep] :
             {std::pair{working_.media(), &media}, std::pair{working_.waveforms(), &peaks}}) {
            std::error_code error;
            for (fs::directory_iterator it(folder, error), end; !error && it != end;
                 it.increment(error)) {
                if (!keep->contains(it->path().filename().string())) fs::remove(it->path(), error);
            }
        }
    }
    pendingCopies_.clear();
    discardOnArrival_.clear();
    for (const PendingCopy& copy : deferred)
        pendingCopies_.insert(copy.target.filename().string());
    missingAtOpen_ = namedFilesMissingFromWorkingFolder();
    for (const std::string& name : pendingCopies_)
        missingAtOpen_.erase(name);
    startLoading();
    if (!deferred.empty()) {
        copier_ = std::make_unique<MediaCopier>(
            std::move(deferred), working_.root(),
            [this](const PendingCopy& copy, const Result<void, IoError>& result,
                   const CopyProgress& progress) { mediaArrived(copy, result, progress); });
    }
    return {};
}

void ShowDocument::mediaArrived(const PendingCopy& copy, const Result<void, IoError>& result,
                                const CopyProgress& progress) {
    const std::string name = copy.target.filename().string();
    pendingCopies_.erase(name);
    if (discardOnArrival_.erase(name) > 0) {
        std::error_code ignored;
        fs::remove(copy.target, ignored);
    } else if (!result) {
        // The package still holds it: saves take it from there.
        log_.error("Copying %s in failed: %s", name.c_str(), result.error().message.c_str());
    } else if (loadHandler_) {
        std::vector<StingLoadRequest> requests;
        for (const Sting& sting : allStings(show_)) {
            if (sting.mediaFilename == name) {
                requests.push_back({sting.id, mediaPath(sting), sting.volumeDB});
            }
        }
        if (!requests.empty()) loadHandler_(std::move(requests));
    }
    if (copyProgress_) copyProgress_(progress);
}

// A cleaner of temporary files may have removed the working folder, or files in it, while
// the show was open. What the saved package still holds is brought back.
void ShowDocument::restoreMissingWorkingFiles() {
    std::set<std::string> missing = namedFilesMissingFromWorkingFolder();
    for (const std::string& name : missingAtOpen_)
        missing.erase(name);
    for (const std::string& name : pendingCopies_)
        missing.erase(name);  // on their way; saves take them from the package meanwhile
    if (missing.empty()) return;
    working_.ensureCreated();
    std::size_t restored = 0;
    for (const std::string& name : missing) {
        for (const fs::path& folder : {working_.media(), working_.waveforms()}) {
            const fs::path saved = package_ ? *package_ / folder.filename() / name : fs::path();
            if (package_ && isRegularFileNoFollow(saved) && cloneFile(saved, folder / name)) {
                ++restored;
            }
        }
    }
    // A waveform never rendered is no loss; media are.
    const auto media = namedMediaFiles(show_);
    const auto lostMedia =
        std::count_if(missing.begin(), missing.end(),
                      [&](const std::string& name) { return media.contains(name); });
    if (restored > 0 || lostMedia > 0) {
        log_.error("Working folder lost %ld file(s); restored %ld from the saved package",
                   static_cast<long>(missing.size()), static_cast<long>(restored));
        workingFolderNotice_ =
            "Files of this show were removed from its working folder (by a "
            "cleaner of temporary files?); " +
            std::to_string(restored) + " of " + std::to_string(missing.size()) +
            " were brought back from the saved show.";
    }
}

std::string ShowDocument::takeWorkingFolderNotice() {
    return std::exchange(workingFolderNotice_, std::string());
}

Result<void, DocumentError> ShowDocument::save(const fs::path& destination,
                                               const SaveCheckpoint& checkpoint) {
    const std::uint64_t savingChangeCount = changeCount_;
    restoreMissingWorkingFiles();
    SaveSources sources;
    if (package_) sources.fallbackPackages.push_back(*package_);
    sources.knownMissing = missingAtOpen_;
    auto written = writePackage(show_, working_, destination, sources, *files_, checkpoint);
    if (!written) return fail(written.error());
    lastSaveReport_ = *written;
    package_ = fs::absolute(destination).lexically_normal();
    savedChangeCount_ = savingChangeCount;
    return {};
}

Result<void, DocumentError> ShowDocument::restoreVersion(const fs::path& package,
                                                         std::string_view versionIdOrPosition) {
    auto version = findVersion(package, versionIdOrPosition);
    if (!version) return fail(version.error());
    if (auto replaced = replaceFrom(version->folder, true); !replaced) return replaced;
    markChanged();
    return {};
}

Result<void, DocumentError> ShowDocument::revertToSaved() {
    if (!package_) return fail(DocumentError::packageUnreadable());
    if (auto replaced = replaceFrom(*package_, true); !replaced) return replaced;
    savedChangeCount_ = changeCount_;
    return {};
}

}  // namespace brellow
