#include "document/package_reader.h"

#include <unistd.h>

#include <cerrno>
#include <unordered_set>

#include "base/files.h"
#include "base/log.h"
#include "document/safe_name.h"
#include "model/show_codec.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

bool isRealDirectory(const fs::path& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::directory;
}

bool sameSize(const fs::path& a, const fs::path& b) {
    auto sizeA = regularFileSize(a);
    auto sizeB = regularFileSize(b);
    return sizeA && sizeB && *sizeA == *sizeB;
}

// Brings each safely named regular file of `from` into `to`. Other entries are skipped. A
// file that would have to be copied (another file system) is left to `deferred` when given.
Result<void, DocumentError> fillFolder(const fs::path& from, const fs::path& to,
                                       std::string_view extension,
                                       std::vector<PendingCopy>* deferred) {
    if (!isRealDirectory(from)) return {};
    std::error_code error;
    for (fs::directory_iterator it(from, error), end; !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (!isSafeFilename(name, extension) || !isRegularFileNoFollow(it->path())) continue;
        if (deferred != nullptr) {
            if (::link(it->path().c_str(), (to / name).c_str()) == 0) continue;
            const int linkError = errno;
            // Media never change once written: a file of that name and size is this one.
            if (linkError == EEXIST && sameSize(it->path(), to / name)) continue;
            if (linkError == EXDEV) {
                auto size = regularFileSize(it->path());
                deferred->push_back({it->path(), to / name, size ? *size : 0});
                continue;
            }
        }
        auto cloned = cloneFile(it->path(), to / name);
        if (!cloned) {
            return fail(DocumentError::io(cloned.error().errorNumber, cloned.error().message));
        }
    }
    return {};
}

// Edits find stings by id, so two stings sharing one (a hand-edited or merged show) would act
// as one. Later ones get fresh ids; their media file names stay, shared with the first.
void giveDuplicateStingsTheirOwnIds(Show& show, const Logger& log) {
    std::unordered_set<Uuid> seen;
    for (Page& page : show.pages) {
        for (Sting& sting : page.stings) {
            if (seen.insert(sting.id).second) continue;
            log.error("Giving sting %s a new id: %s is already used", sting.name.c_str(),
                      sting.id.toString().c_str());
            sting.id = Uuid::generate();
            seen.insert(sting.id);
        }
    }
}

}  // namespace

Result<Show, DocumentError> readPackage(const fs::path& package, const WorkingDirectory& working,
                                        const Logger& log, std::vector<PendingCopy>* deferred) {
    std::error_code error;
    if (!fs::is_directory(package, error)) return fail(DocumentError::packageUnreadable());
    auto bytes = readRegularFile(package / "show.json", kMaxShowJsonBytes);
    if (!bytes) return fail(DocumentError::packageUnreadable());

    auto decoded = decodeShow(*bytes);
    if (!decoded) return fail(DocumentError::decoding(decoded.error().message));
    Show show = std::move(decoded).value();

    sanitizeShow(show, log);
    giveDuplicateStingsTheirOwnIds(show, log);
    assignMissingHotkeys(show);

    working.ensureCreated();
    if (auto media = fillFolder(package / "Media", working.media(), kMediaExtension, deferred);
        !media) {
        return fail(media.error());
    }
    if (auto peaks =
            fillFolder(package / "Waveforms", working.waveforms(), kWaveformExtension, deferred);
        !peaks) {
        return fail(peaks.error());
    }

    log.info("Opened show with %ld page(s), %ld sting(s)", static_cast<long>(show.pages.size()),
             static_cast<long>(stingCount(show)));
    return show;
}

}  // namespace brellow
