#include "document/working_directory.h"

#include <sys/stat.h>

#include "base/files.h"
#include "base/uuid.h"

namespace brellow {

WorkingDirectory::WorkingDirectory(const std::filesystem::path& scratchRoot)
    : root_(scratchRoot / ("StingShow-" + Uuid::generate().toString())) {
    ensureCreated();
}

WorkingDirectory::~WorkingDirectory() {
    removeTreeQuietly(root_);
}

void WorkingDirectory::ensureCreated() const {
    std::error_code ignored;
    std::filesystem::create_directories(root_.parent_path(), ignored);
    // Only this user may look into a show's scratch folder.
    ::mkdir(root_.c_str(), 0700);
    std::filesystem::create_directories(media(), ignored);
    std::filesystem::create_directories(waveforms(), ignored);
}

}  // namespace brellow
