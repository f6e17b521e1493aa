#include "document/package_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <cstdio>

#include "base/files.h"
#include "base/text.h"
#include "base/uuid.h"
#include "model/show_codec.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kStagingMarker = ".saving-";
constexpr std::string_view kRetiredMarker = ".retired-";

DocumentError toDocumentError(const IoError& error) {
    return DocumentError::io(error.errorNumber, error.message);
}

// Hidden sibling names used while saving `name`; left over only by a crash.
std::string siblingName(const std::string& name, std::string_view marker) {
    return "." + name + std::string(marker) + Uuid::generate().toString();
}

// Removes hidden siblings left by a save that crashed. A moved-aside old package is the only
// copy when the crash came before the new one was in place, so it is put back, not removed.
void removeLeftoversOfEarlierSaves(const fs::path& destination) {
    const fs::path parent = destination.parent_path();
    const std::string name = destination.filename().string();
    std::error_code error;
    for (fs::directory_iterator it(parent, error), end; !error && it != end; it.increment(error)) {
        const std::string entry = it->path().filename().string();
        for (const auto marker : {kStagingMarker, kRetiredMarker}) {
            const std::string prefix = "." + name + std::string(marker);
            if (entry.size() != prefix.size() + 36 || !entry.starts_with(prefix)) continue;
            std::error_code missing;
            if (marker == kRetiredMarker && !fs::exists(fs::symlink_status(destination, missing))) {
                (void)std::rename(it->path().c_str(), destination.c_str());
            } else {
                removeTreeQuietly(it->path());
            }
        }
    }
}

// Links every regular file of `from` into the new folder `to`; unreadable entries are left out.
Result<void, DocumentError> linkFolder(const fs::path& from, const fs::path& to) {
    if (::mkdir(to.c_str(), 0755) != 0) {
        return fail(toDocumentError(IoError::fromErrno("mkdir", to, errno)));
    }
    std::error_code error;
    for (fs::directory_iterator it(from, error), end; !error && it != end; it.increment(error)) {
        if (!isRegularFileNoFollow(it->path())) continue;
        (void)cloneFile(it->path(), to / it->path().filename());
    }
    if (auto synced = syncDirectory(to); !synced) return fail(toDocumentError(synced.error()));
    return {};
}

// Puts `staging` at `destination`. Returns where the replaced package now lies (to be
// removed), or an empty path when there was none.
Result<fs::path, DocumentError> swapIntoPlace(const fs::path& staging, const fs::path& destination,
                                              const SaveCheckpoint& checkpoint) {
    std::error_code error;
    if (!fs::exists(fs::symlink_status(destination, error))) {
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

}  // namespace

void recoverInterruptedSave(const fs::path& package) {
    removeLeftoversOfEarlierSaves(fs::absolute(package).lexically_normal());
}

std::string preferredPackageName(std::string_view displayName) {
    if (endsWith(displayName, kPackageExtension)) return std::string(displayName);
    return std::string(displayName) + std::string(kPackageExtension);
}

Result<void, DocumentError> writePackage(const Show& show, const WorkingDirectory& working,
                                         const fs::path& destination,
                                         const SaveCheckpoint& checkpoint) {
    auto step = [&](std::string_view name) {
        if (checkpoint) checkpoint(name);
    };
    auto encoded = encodeShow(show, JsonStyle::file);
    if (!encoded) return fail(DocumentError::encoding(encoded.error().message));

    const fs::path target = fs::absolute(destination).lexically_normal();
    const fs::path parent = target.parent_path();
    const std::string name = target.filename().string();
    recoverInterruptedSave(target);

    const fs::path staging = parent / siblingName(name, kStagingMarker);
    if (::mkdir(staging.c_str(), 0755) != 0) {
        return fail(toDocumentError(IoError::fromErrno("mkdir", staging, errno)));
    }
    step("staging folder created");
    auto build = [&]() -> Result<void, DocumentError> {
        if (auto written = writeNewFileSynced(staging / "show.json", *encoded); !written) {
            return fail(toDocumentError(written.error()));
        }
        step("show.json written");
        if (auto media = linkFolder(working.media(), staging / "Media"); !media) return media;
        step("media linked");
        if (auto peaks = linkFolder(working.waveforms(), staging / "Waveforms"); !peaks) {
            return peaks;
        }
        step("waveforms linked");
        if (auto synced = syncDirectory(staging); !synced) {
            return fail(toDocumentError(synced.error()));
        }
        return {};
    };
    if (auto built = build(); !built) {
        removeTreeQuietly(staging);
        return built;
    }

    auto replaced = swapIntoPlace(staging, target, checkpoint);
    if (!replaced) {
        removeTreeQuietly(staging);
        return fail(replaced.error());
    }
    step("package swapped in");
    (void)syncDirectory(parent);
    if (!replaced->empty()) removeTreeQuietly(*replaced);
    step("old package removed");
    return {};
}

}  // namespace brellow
