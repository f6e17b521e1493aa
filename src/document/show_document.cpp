#include "document/show_document.h"

#include "base/user_dirs.h"
#include "document/package_reader.h"

namespace brellow {

ShowDocument::ShowDocument(const std::filesystem::path& scratchRoot)
    : show_(makeNewShow()), working_(scratchRoot) {}

ShowDocument::ShowDocument() : ShowDocument(userCacheDirectory()) {}

ShowDocument::~ShowDocument() = default;

std::filesystem::path ShowDocument::mediaPath(const Sting& sting) const {
    return working_.media() / sting.mediaFilename;
}

Result<void, DocumentError> ShowDocument::read(const std::filesystem::path& package) {
    recoverInterruptedSave(package);
    auto show = readPackage(package, working_, log_);
    if (!show) return fail(show.error());
    show_ = std::move(show).value();
    savedChangeCount_ = changeCount_;

    if (loadHandler_) {
        std::vector<StingLoadRequest> requests;
        for (const Sting& sting : allStings(show_)) {
            requests.push_back({sting.id, mediaPath(sting), sting.volumeDB});
        }
        loadHandler_(std::move(requests));
    }
    return {};
}

Result<void, DocumentError> ShowDocument::save(const std::filesystem::path& destination,
                                               const SaveCheckpoint& checkpoint) {
    const std::uint64_t savingChangeCount = changeCount_;
    auto written = writePackage(show_, working_, destination, checkpoint);
    if (!written) return written;
    savedChangeCount_ = savingChangeCount;
    return {};
}

}  // namespace brellow
