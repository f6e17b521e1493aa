#include "document/package_versions.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <thread>

#include "base/files.h"
#include "document/package_reader.h"
#include "model/show_codec.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

DocumentError ioError(std::string_view operation, const fs::path& path, int errorNumber) {
    const IoError error = IoError::fromErrno(operation, path, errorNumber);
    return DocumentError::io(error.errorNumber, error.message);
}

bool isRealDirectory(const fs::path& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::directory;
}

std::optional<std::int64_t> modifiedUnixMs(const fs::path& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return std::nullopt;
    return static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1'000'000;
}

constexpr std::string_view kExpiredPrefix = ".expired-";

// Version folders, newest first (their names sort by time). Hidden ones are on their way out.
std::vector<std::string> versionIds(const fs::path& versions) {
    std::vector<std::string> ids;
    std::error_code error;
    for (fs::directory_iterator it(versions, error), end; !error && it != end;
         it.increment(error)) {
        std::string name = it->path().filename().string();
        if (!name.starts_with('.') && isRealDirectory(it->path())) ids.push_back(std::move(name));
    }
    std::sort(ids.rbegin(), ids.rend());
    return ids;
}

// Moves the versions of `from` into `into`, keeping those `into` has already.
void mergeVersions(const fs::path& from, const fs::path& into) {
    for (const std::string& id : versionIds(from)) {
        if (!fs::exists(into / id)) (void)std::rename((from / id).c_str(), (into / id).c_str());
    }
}

void removeExpiredVersionsInBackground(const fs::path& versions) {
    std::thread([versions] {
        std::error_code error;
        std::vector<fs::path> expired;
        for (fs::directory_iterator it(versions, error), end; !error && it != end;
             it.increment(error)) {
            if (it->path().filename().string().starts_with(kExpiredPrefix)) {
                expired.push_back(it->path());
            }
        }
        for (const fs::path& folder : expired)
            removeTreeQuietly(folder);
    }).detach();
}

}  // namespace

std::string versionIdFor(std::int64_t unixMs) {
    const std::time_t seconds = static_cast<std::time_t>(unixMs / 1000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y%m%dT%H%M%S", &utc);
    char millis[8];
    std::snprintf(millis, sizeof millis, ".%03dZ", static_cast<int>(unixMs % 1000));
    return std::string(text, length) + millis;
}

Result<std::vector<PackageVersion>, DocumentError> listVersions(const fs::path& package) {
    if (!isRealDirectory(package)) return fail(DocumentError::packageUnreadable());
    const fs::path versions = package / kVersionsFolder;
    std::vector<PackageVersion> listed;
    for (const std::string& id : versionIds(versions)) {
        PackageVersion version;
        version.id = id;
        version.folder = versions / id;
        version.savedAtUnixMs = modifiedUnixMs(version.folder / "show.json").value_or(0);
        if (auto bytes = readRegularFile(version.folder / "show.json", kMaxShowJsonBytes)) {
            if (auto show = decodeShow(*bytes)) version.stingCount = stingCount(*show);
        }
        listed.push_back(std::move(version));
    }
    return listed;
}

Result<PackageVersion, DocumentError> findVersion(const fs::path& package,
                                                  std::string_view idOrPosition) {
    auto versions = listVersions(package);
    if (!versions) return fail(versions.error());
    for (const PackageVersion& version : *versions) {
        if (version.id == idOrPosition) return version;
    }
    std::size_t position = 0;
    const char* end = idOrPosition.data() + idOrPosition.size();
    if (std::from_chars(idOrPosition.data(), end, position).ptr == end && position >= 1 &&
        position <= versions->size()) {
        return (*versions)[position - 1];
    }
    return fail(DocumentError::noSuchVersion("No kept version " + std::string(idOrPosition) + " (" +
                                             std::to_string(versions->size()) +
                                             " kept; see `versions`)"));
}

Result<void, DocumentError> keepReplacedPackageAsVersion(const fs::path& package,
                                                         const fs::path& replaced) {
    const auto savedAt = modifiedUnixMs(replaced / "show.json");
    const fs::path versions = package / kVersionsFolder;
    const fs::path carried = replaced / kVersionsFolder;
    if (isRealDirectory(carried)) {
        if (!isRealDirectory(versions) && std::rename(carried.c_str(), versions.c_str()) != 0) {
            return fail(ioError("rename", versions, errno));
        }
        mergeVersions(carried, versions);
    }
    if (!savedAt) return {};  // the replaced folder held no show: nothing to keep
    if (::mkdir(versions.c_str(), 0755) != 0 && errno != EEXIST) {
        return fail(ioError("mkdir", versions, errno));
    }
    std::string id = versionIdFor(*savedAt);
    for (int suffix = 2; fs::exists(versions / id); ++suffix) {
        id = versionIdFor(*savedAt) + "-" + std::to_string(suffix);
    }
    if (std::rename(replaced.c_str(), (versions / id).c_str()) != 0) {
        return fail(ioError("rename", versions / id, errno));
    }
    // Removing a version unlinks every file it holds, which is most of a save's time on a
    // busy disk: expired versions are renamed out of sight and removed on a thread of their
    // own. What a crash leaves there is removed by the next save.
    const std::vector<std::string> kept = versionIds(versions);
    for (std::size_t i = kKeptVersions; i < kept.size(); ++i) {
        const fs::path hidden = versions / (std::string(kExpiredPrefix) + kept[i]);
        (void)std::rename((versions / kept[i]).c_str(), hidden.c_str());
    }
    if (kept.size() > kKeptVersions) removeExpiredVersionsInBackground(versions);
    // Not flushed: a crash that loses the rename leaves the replaced package beside this one,
    // where the next open or save finds it and keeps it as a version then.
    return {};
}

}  // namespace brellow
