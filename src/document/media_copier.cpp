#include "document/media_copier.h"

#include <cerrno>
#include <cstdio>

#include "base/main_context.h"
#include "base/uuid.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

Result<void, IoError> copyIntoPlace(const PendingCopy& copy, const fs::path& holdingFolder) {
    const fs::path partial = holdingFolder / (".incoming-" + Uuid::generate().toString() + "-" +
                                              copy.target.filename().string());
    auto cloned = cloneFile(copy.source, partial);
    if (!cloned) return fail(cloned.error());
    if (std::rename(partial.c_str(), copy.target.c_str()) != 0) {
        const int error = errno;
        removeTreeQuietly(partial);
        return fail(IoError::fromErrno("rename", copy.target, error));
    }
    return {};
}

}  // namespace

MediaCopier::MediaCopier(std::vector<PendingCopy> copies, const fs::path& holdingFolder,
                         Arrived arrived, GMainContext* context)
    : shared_(std::make_shared<Shared>()) {
    shared_->arrived = std::move(arrived);
    CopyProgress total;
    total.filesTotal = copies.size();
    for (const PendingCopy& copy : copies)
        total.bytesTotal += copy.bytes;
    std::weak_ptr<Shared> weak = shared_;
    thread_ = std::thread([weak, copies = std::move(copies), holdingFolder, total, context] {
        CopyProgress progress = total;
        for (const PendingCopy& copy : copies) {
            {
                auto shared = weak.lock();
                if (!shared || shared->cancelled) return;
            }
            auto result = copyIntoPlace(copy, holdingFolder);
            ++progress.filesDone;
            progress.bytesDone += copy.bytes;
            postToMainContext(
                [weak, copy, result, progress] {
                    auto shared = weak.lock();
                    if (shared && !shared->cancelled) shared->arrived(copy, result, progress);
                },
                context);
        }
    });
}

MediaCopier::~MediaCopier() {
    shared_->cancelled = true;
    thread_.join();
}

}  // namespace brellow
