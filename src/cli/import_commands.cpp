// brellow-cli import and peaks: audio files into a show package, and a look at a waveform file.
#include <algorithm>
#include <cstdio>
#include <iostream>

#include <glib.h>

#include "base/user_dirs.h"
#include "cli/cli.h"
#include "document/sting_import.h"
#include "media/waveform_renderer.h"

namespace brellow::cli {

namespace {

// What the page would show, printed instead.
class PrintingPage final : public PageMessenger {
  public:
    void sendEvent(const nlohmann::ordered_json& event) override {
        if (event.value("type", "") == "toast")
            std::cerr << "brellow-cli: " << event.value("message", "") << '\n';
    }
    void sendStateSnapshot() override {}
};

}  // namespace

int runImport(const Arguments& args) {
    if (args.size() < 2) return complain(kExitUsage, "import: expected PKG FILE...");
    auto document = std::make_shared<ShowDocument>();
    if (auto read = document->read(args[0]); !read)
        return complain(kExitFailed, read.error().message);
    auto page = std::make_shared<PrintingPage>();
    // A folder stands for the files in it, by name; hidden files are left out.
    std::vector<std::filesystem::path> files;
    for (auto it = args.begin() + 1; it != args.end(); ++it) {
        std::error_code error;
        if (!std::filesystem::is_directory(*it, error)) {
            files.emplace_back(*it);
            continue;
        }
        std::vector<std::filesystem::path> inFolder;
        for (const auto& entry : std::filesystem::directory_iterator(*it, error)) {
            if (entry.is_regular_file() && entry.path().filename().string().front() != '.') {
                inFolder.push_back(entry.path());
            }
        }
        std::sort(inFolder.begin(), inFolder.end());
        files.insert(files.end(), inFolder.begin(), inFolder.end());
    }
    bool done = false;
    std::size_t failures = 0;
    importStingFiles({document, nullptr, page}, files, [&](std::size_t failed) {
        failures = failed;
        done = true;
    });
    while (!done)
        g_main_context_iteration(nullptr, TRUE);
    if (auto saved = document->save(args[0]); !saved)
        return complain(kExitFailed, saved.error().message);
    std::cout << (files.size() - failures) << " of " << files.size() << " imported\n";
    return failures == 0 ? kExitOk : kExitFailed;
}

int seedNewShow(const std::filesystem::path& package) {
    auto document = std::make_shared<ShowDocument>();
    if (auto read = document->read(package); !read)
        return complain(kExitFailed, read.error().message);
    bool done = false;
    seedDemoStings({document, nullptr, std::make_shared<PrintingPage>()}, demoFolder(),
                   [&] { done = true; });
    while (!done)
        g_main_context_iteration(nullptr, TRUE);
    if (auto saved = document->save(package); !saved)
        return complain(kExitFailed, saved.error().message);
    return kExitOk;
}

std::filesystem::path demoFolder() {
    return resourceDirectory("Demo");
}

int runPeaks(const Arguments& args) {
    if (args.size() != 1) return complain(kExitUsage, "peaks: expected FILE.bin");
    auto peaks = media::readWaveform(args[0]);
    if (!peaks) return complain(kExitFailed, peaks.error().message);
    std::cout << "peaks per second " << peaks->peaksPerSecond << ", " << peaks->values.size() / 2
              << " peaks\n";
    return kExitOk;
}

}  // namespace brellow::cli
