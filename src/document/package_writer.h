#pragma once
// Writes a show and its working folder as a ".stingshow" package, crash-safely: the new
// package is built beside the destination, synced, and swapped in with one atomic rename, so
// the destination always holds either the old package or the new one, whole. Media never
// change once written, so they are hard-linked (or reflinked) rather than copied.
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "base/result.h"
#include "document/document_error.h"
#include "document/working_directory.h"
#include "model/show.h"

namespace brellow {

/// Called after each step that changes the disk; tests use it to stop a save part-way.
using SaveCheckpoint = std::function<void(std::string_view step)>;

Result<void, DocumentError> writePackage(const Show& show, const WorkingDirectory& working,
                                         const std::filesystem::path& destination,
                                         const SaveCheckpoint& checkpoint = {});

/// Tidies what a crashed save left beside `package`, putting back a package that was moved
/// aside and not yet replaced. Saving does this itself; opening calls it first.
void recoverInterruptedSave(const std::filesystem::path& package);

/// The package name for a display name: kept when it ends with ".stingshow", else extended.
std::string preferredPackageName(std::string_view displayName);

inline constexpr std::string_view kPackageExtension = ".stingshow";

}  // namespace brellow
