// Builds a package from arbitrary bytes and opens it. The input is show.json, then after a
// NUL byte a list of entry names, one a line, created as files in "Media" and "Waveforms".
// Opening must not crash, must leave only safely named files in the working folder, and must
// keep every sting it returns pointing at a safe media name.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/log.h"
#include "document/safe_name.h"
#include "document/show_document.h"

namespace fs = std::filesystem;

namespace {

const fs::path& scratchRoot() {
    static const fs::path root = [] {
        std::string pattern = (fs::temp_directory_path() / "brellow-fuzz-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) std::abort();
        brellow::logging::setSinks({});
        return fs::path(pattern);
    }();
    return root;
}

void writeEntry(const fs::path& folder, const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos || name == "." || name == "..") return;
    std::ofstream(folder / name) << "x";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brellow;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const auto split = input.find('\0');
    const std::string showJson = input.substr(0, split);
    const fs::path package = scratchRoot() / "Fuzz.stingshow";
    fs::remove_all(package);
    fs::create_directories(package / "Media");
    fs::create_directories(package / "Waveforms");
    std::ofstream(package / "show.json", std::ios::binary) << showJson;
    if (split != std::string::npos) {
        std::size_t start = split + 1;
        while (start < input.size()) {
            const auto end = std::min(input.find('\n', start), input.size());
            const std::string name = input.substr(start, end - start);
            writeEntry(package / "Media", name);
            writeEntry(package / "Waveforms", name);
            start = end + 1;
        }
    }

    const fs::path scratch = scratchRoot() / "scratch";
    {
        ShowDocument document(scratch);
        if (document.read(package)) {
            for (const Sting& sting : allStings(document.show())) {
                if (!isSafeFilename(sting.mediaFilename, kMediaExtension)) std::abort();
            }
            for (const auto& entry : fs::directory_iterator(document.workingDirectory().media())) {
                if (!isSafeFilename(entry.path().filename().string(), kMediaExtension))
                    std::abort();
            }
        }
    }
    // Nothing may appear beside the package or the scratch folder.
    for (const auto& entry : fs::directory_iterator(scratchRoot())) {
        const auto name = entry.path().filename();
        if (name != "Fuzz.stingshow" && name != "scratch") std::abort();
    }
    return 0;
}
