#include "support/test_support.h"

#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "model/show_codec.h"

namespace brellow::test {

namespace fs = std::filesystem;

TempDir::TempDir() {
    std::string pattern = (fs::temp_directory_path() / "brellow-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

CapturedLog::CapturedLog() : sink_(std::make_shared<MemoryLogSink>()) {
    logging::addSink(sink_);
}
CapturedLog::~CapturedLog() {
    logging::removeSink(sink_);
}

void writeFile(const fs::path& path, const std::string& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
    if (!out) throw std::runtime_error("cannot write " + path.string());
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

Sting makeSting(const std::string& name, std::optional<std::string> hotkey) {
    Sting sting;
    sting.id = Uuid::generate();
    sting.name = name;
    sting.mediaFilename = sting.id.toString() + ".caf";
    sting.waveformFilename = sting.id.toString() + ".bin";
    sting.durationSec = 2.5;
    sting.hotkey = std::move(hotkey);
    return sting;
}

std::string mediaBytesFor(const Sting& sting) {
    return "media of " + sting.name;
}

void writePackage(const fs::path& package, const std::string& showJson) {
    fs::create_directories(package / "Media");
    fs::create_directories(package / "Waveforms");
    writeFile(package / "show.json", showJson);
}

void writePackage(const fs::path& package, const Show& show) {
    writePackage(package, encodeShow(show, JsonStyle::file).value());
    // Files are written only under plain names; hostile names stay in show.json alone.
    auto plain = [](const std::string& name) {
        return !name.empty() && name.find('/') == std::string::npos;
    };
    for (const Sting& sting : allStings(show)) {
        if (plain(sting.mediaFilename)) {
            writeFile(package / "Media" / sting.mediaFilename, mediaBytesFor(sting));
        }
        if (sting.waveformFilename && plain(*sting.waveformFilename)) {
            writeFile(package / "Waveforms" / *sting.waveformFilename, "peaks of " + sting.name);
        }
    }
}

}  // namespace brellow::test

namespace brellow::test {

std::string toLower(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

}  // namespace brellow::test

namespace brellow::test {

unsigned long inodeOf(const std::filesystem::path& path) {
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_ino;
}

}  // namespace brellow::test
