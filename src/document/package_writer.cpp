#include "document/package_writer.h"

#include "base/text.h"
#include "model/show_codec.h"

namespace brellow {

namespace fs = std::filesystem;

std::string preferredPackageName(std::string_view displayName) {
    if (endsWith(displayName, kPackageExtension)) return std::string(displayName);
    return std::string(displayName) + std::string(kPackageExtension);
}

std::set<std::string> namedMediaFiles(const Show& show) {
    std::set<std::string> names;
    for (const Page& page : show.pages) {
        for (const Sting& sting : page.stings)
            names.insert(sting.mediaFilename);
    }
    return names;
}

std::set<std::string> namedWaveformFiles(const Show& show) {
    std::set<std::string> names;
    for (const Page& page : show.pages) {
        for (const Sting& sting : page.stings) {
            if (sting.waveformFilename) names.insert(*sting.waveformFilename);
        }
    }
    return names;
}

Result<SaveReport, DocumentError> writePackage(const Show& show, const WorkingDirectory& working,
                                               const fs::path& destination,
                                               const SaveSources& sources, FileLayer& files,
                                               const SaveCheckpoint& checkpoint) {
    auto encoded = encodeShow(show, JsonStyle::file);
    if (!encoded) return fail(DocumentError::encoding(encoded.error().message));
    PackageContents contents;
    contents.showJson = std::move(encoded).value();
    contents.workingMedia = working.media();
    contents.workingWaveforms = working.waveforms();
    contents.namedMedia = namedMediaFiles(show);
    contents.namedWaveforms = namedWaveformFiles(show);
    contents.fallbackPackages = sources.fallbackPackages;
    contents.knownMissing = sources.knownMissing;
    return savePackage(contents, destination, files, checkpoint);
}

}  // namespace brellow
