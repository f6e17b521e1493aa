#include "document/save_transaction.h"

#include <fcntl.h>
#include <cerrno>
#include <cstdio>

#include "base/log.h"
#include "base/uuid.h"
#include "document/package_versions.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kStagingMarker = ".saving-";
constexpr std::string_view kRetiredMarker = ".retired-";
constexpr std::size_t kUuidLength = 36;

DocumentError toDocumentError(const IoError& error) {
    return DocumentError::io(error.errorNumber, error.message);
}

// Hidden sibling names used while saving `name`; left over only by a crash.
std::string siblingName(const std::string& name, std::string_view marker) {
    return "." + name + std::string(marker) + Uuid::generate().toString();
}

bool pathExists(const fs::path& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

// Removes hidden siblings left by a save that crashed. A moved-aside old package is the only
// copy when the crash came before the new one was in place, so it is put back. One left after
// the new package was in place holds the versions: they are carried into the new package.
void recoverLeftovers(const fs::path& destination) {
    const fs::path parent = destination.parent_path();
    const std::string name = destination.filename().string();
    std::vector<std::pair<fs::path, std::string_view>> leftovers;
    std::error_code error;
    for (fs::directory_iterator it(parent, error), end; !error && it != end; it.increment(error)) {
        const std::string entry = it->path().filename().string();
        for (const auto marker : {kStagingMarker, kRetiredMarker}) {
            const std::string prefix = "." + name + std::string(marker);
            if (entry.size() == prefix.size() + kUuidLength && entry.starts_with(prefix)) {
                leftovers.emplace_back(it->path(), marker);
            }
        }
    }
    for (const auto& [leftover, marker] : leftovers) {
        if (marker == kRetiredMarker && !pathExists(destination)) {
            (void)std::rename(leftover.c_str(), destination.c_str());
            continue;
        }
        // A staging folder never holds versions before its swap; a replaced package may.
        const bool replacedPackage =
            marker == kRetiredMarker || pathExists(leftover / kVersionsFolder);
        if (replacedPackage && pathExists(destination)) {
            if (auto kept = keepReplacedPackageAsVersion(destination, leftover); !kept) {
                Logger("ShowDocument")
                    .error("Keeping an interrupted save's version failed: %s",
                           kept.error().message.c_str());
            }
        }
        removeTreeQuietly(leftover);
    }
}

struct StagedFile {
    std::string name;
    fs::path source;
    std::uint64_t size = 0;
    bool fromOldPackage = false;
};

// Decides where each file of one package folder ("Media" or "Waveforms") comes from.
class FolderPlan {
  public:
    /// Waveforms can be drawn again from the media, so only missing media fail a save.
    FolderPlan(FileLayer& files, std::string folder, bool namedFilesRequired)
        : files_(files), folder_(std::move(folder)), required_(namedFilesRequired) {}

    Result<std::vector<StagedFile>, DocumentError> plan(const fs::path& working,
                                                        const std::set<std::string>& named,
                                                        const PackageContents& contents,
                                                        const fs::path& oldPackage,
                                                        SaveReport& report) {
        std::vector<StagedFile> staged;
        std::set<std::string> present;
        std::error_code error;
        for (fs::directory_iterator it(working, error), end; !error && it != end;
             it.increment(error)) {
            const std::string name = it->path().filename().string();
            auto size = files_.size(it->path());
            if (!size) continue;  // not a regular file, or gone: named ones are looked up below
            staged.push_back({name, it->path(), *size, false});
            present.insert(name);
            ++report.fromWorkingCopy;
        }
        std::string missing;
        for (const std::string& name : named) {
            if (present.contains(name)) continue;
            if (auto found = findElsewhere(name, contents, oldPackage)) {
                staged.push_back(std::move(*found));
                ++report.fromFallback;
            } else if (!contents.knownMissing.contains(name)) {
                missing += (missing.empty() ? "" : ", ") + name;
            }
        }
        if (!missing.empty() && !required_) {
            Logger("ShowDocument")
                .error("Saving without missing %s: %s", folder_.c_str(), missing.c_str());
            missing.clear();
        }
        if (!missing.empty()) {
            return fail(DocumentError::incomplete(
                "Files the show needs are gone from its working folder and from the saved "
                "package: " +
                folder_ + "/" + missing));
        }
        for (StagedFile& file : staged) {
            auto oldSize = files_.size(oldPackage / folder_ / file.name);
            if (oldSize && *oldSize == file.size) {
                file.source = oldPackage / folder_ / file.name;
                file.fromOldPackage = true;
            }
        }
        return staged;
    }

  private:
    std::optional<StagedFile> findElsewhere(const std::string& name,
                                            const PackageContents& contents,
                                            const fs::path& oldPackage) {
        std::vector<fs::path> places{oldPackage};
        places.insert(places.end(), contents.fallbackPackages.begin(),
                      contents.fallbackPackages.end());
        for (const fs::path& package : places) {
            const fs::path candidate = package / folder_ / name;
            if (auto size = files_.size(candidate)) return StagedFile{name, candidate, *size};
        }
        return std::nullopt;
    }

    FileLayer& files_;
    std::string folder_;
    bool required_;
};

// Puts `staging` at `destination`. Returns where the replaced package now lies, or an empty
// path when there was none.
Result<fs::path, DocumentError> swapIntoPlace(const fs::path& staging, const fs::path& destination,
                                              const SaveCheckpoint& checkpoint) {
    if (!pathExists(destination)) {
        if (std::rename(staging.c_str(), destination.c_str()) != 0) {
            return fail(toDocumentError(IoError::fromErrno("rename", destination, errno)));
        }
        return fs::path();
    }
    if (::renameat2(AT_FDCWD, staging.c_str(), AT_FDCWD, destination.c_str(), RENAME_EXCHANGE) ==
        0) {
        return staging;  // the old package now lies at the staging name
    }
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) {
        return fail(toDocumentError(IoError::fromErrno("rename", destination, errno)));
    }
    // No atomic exchange on this file system: move the old package aside first.
    const fs::path retired =
        destination.parent_path() / siblingName(destination.filename().string(), kRetiredMarker);
    if (std::rename(destination.c_str(), retired.c_str()) != 0) {
        return fail(toDocumentError(IoError::fromErrno("rename", destination, errno)));
    }
    if (checkpoint) checkpoint("old package moved aside");
    if (std::rename(staging.c_str(), destination.c_str()) != 0) {
        const int renameError = errno;
        (void)std::rename(retired.c_str(), destination.c_str());
        return fail(toDocumentError(IoError::fromErrno("rename", destination, renameError)));
    }
    return retired;
}

// Builds the staging package: show.json, then every planned file, each flushed unless it came
// from the old package (flushed when that was saved); then checks sizes and flushes folders.
class StagingBuilder {
  public:
    StagingBuilder(FileLayer& files, fs::path staging, const SaveCheckpoint& checkpoint)
        : files_(files), staging_(std::move(staging)), checkpoint_(checkpoint) {}

    Result<void, DocumentError> create() {
        if (auto made = files_.makeDirectory(staging_); !made) return ioFailure(made.error());
        step("staging folder created");
        return {};
    }

    // Written last: on a journalling file system its flush commits the folders and links
    // made before it, so the folder flushes that follow find nothing left to write.
    Result<void, DocumentError> writeShow(const std::string& json) {
        if (auto written = files_.writeNewFile(staging_ / "show.json", json); !written) {
            return ioFailure(written.error());
        }
        step("show.json written");
        return {};
    }

    Result<void, DocumentError> fill(const std::string& folder,
                                     const std::vector<StagedFile>& planned, SaveReport& report) {
        const fs::path into = staging_ / folder;
        if (auto made = files_.makeDirectory(into); !made) return ioFailure(made.error());
        for (const StagedFile& file : planned) {
            const fs::path target = into / file.name;
            auto cloned = files_.clone(file.source, target);
            if (!cloned) return ioFailure(cloned.error());
            if (file.fromOldPackage) {
                ++report.reusedFromOldPackage;
                continue;
            }
            if (*cloned == CloneMethod::copy) {
                ++report.copied;
                report.copiedBytes += file.size;
            }
            if (auto synced = files_.syncFile(target); !synced) return ioFailure(synced.error());
        }
        step(folder == "Media" ? "media linked" : "waveforms linked");
        return {};
    }

    // Every file is where it should be with the size its source has.
    Result<void, DocumentError> verify(const std::string& folder,
                                       const std::vector<StagedFile>& planned) {
        for (const StagedFile& file : planned) {
            const fs::path target = staging_ / folder / file.name;
            auto size = files_.size(target);
            if (!size) return ioFailure(size.error());
            if (*size != file.size) {
                return fail(DocumentError::incomplete(target.string() + " holds " +
                                                      std::to_string(*size) + " bytes instead of " +
                                                      std::to_string(file.size)));
            }
        }
        if (auto synced = files_.syncDirectory(staging_ / folder); !synced) {
            return ioFailure(synced.error());
        }
        return {};
    }

    Result<void, DocumentError> syncFolders() {
        if (auto synced = files_.syncDirectory(staging_); !synced) return ioFailure(synced.error());
        if (auto synced = files_.syncDirectory(staging_.parent_path()); !synced) {
            return ioFailure(synced.error());
        }
        return {};
    }

  private:
    static Result<void, DocumentError> ioFailure(const IoError& error) {
        return fail(toDocumentError(error));
    }
    void step(std::string_view name) const {
        if (checkpoint_) checkpoint_(name);
    }

    FileLayer& files_;
    fs::path staging_;
    const SaveCheckpoint& checkpoint_;
};

}  // namespace

void recoverInterruptedSave(const fs::path& package) {
    recoverLeftovers(fs::absolute(package).lexically_normal());
}

Result<SaveReport, DocumentError> savePackage(const PackageContents& contents,
                                              const fs::path& destination, FileLayer& files,
                                              const SaveCheckpoint& checkpoint) {
    const fs::path target = fs::absolute(destination).lexically_normal();
    const fs::path parent = target.parent_path();
    recoverLeftovers(target);

    SaveReport report;
    auto media = FolderPlan(files, "Media", true)
                     .plan(contents.workingMedia, contents.namedMedia, contents, target, report);
    if (!media) return fail(media.error());
    auto peaks =
        FolderPlan(files, "Waveforms", false)
            .plan(contents.workingWaveforms, contents.namedWaveforms, contents, target, report);
    if (!peaks) return fail(peaks.error());

    const fs::path staging = parent / siblingName(target.filename().string(), kStagingMarker);
    StagingBuilder builder(files, staging, checkpoint);
    auto build = [&]() -> Result<void, DocumentError> {
        if (auto created = builder.create(); !created) return created;
        if (auto filled = builder.fill("Media", *media, report); !filled) return filled;
        if (auto filled = builder.fill("Waveforms", *peaks, report); !filled) return filled;
        if (auto written = builder.writeShow(contents.showJson); !written) return written;
        if (auto checked = builder.verify("Media", *media); !checked) return checked;
        if (auto checked = builder.verify("Waveforms", *peaks); !checked) return checked;
        return builder.syncFolders();
    };
    if (auto built = build(); !built) {
        removeTreeQuietly(staging);
        return fail(built.error());
    }

    auto replaced = swapIntoPlace(staging, target, checkpoint);
    if (!replaced) {
        removeTreeQuietly(staging);
        return fail(replaced.error());
    }
    if (checkpoint) checkpoint("package swapped in");
    // The save has happened; failing to flush now cannot undo it, so it is only logged. The
    // new folder itself was flushed before the swap, which changed only the parent.
    if (auto synced = files.syncDirectory(parent); !synced) {
        Logger("ShowDocument").error("Flushing after save: %s", synced.error().message.c_str());
    }
    if (!replaced->empty()) {
        if (auto kept = keepReplacedPackageAsVersion(target, *replaced); kept) {
            report.versionKept = true;
            removeTreeQuietly(*replaced);  // only what was not moved into Versions
        } else {
            // Left beside the package under its hidden name: the next save tries again.
            Logger("ShowDocument")
                .error("Keeping the previous version failed: %s", kept.error().message.c_str());
        }
    }
    if (checkpoint) checkpoint("old package removed");
    return report;
}

}  // namespace brellow
