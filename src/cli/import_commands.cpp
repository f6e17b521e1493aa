// brellow-cli import and peaks: audio files into a show package, and a look at a waveform file.
#include <cstdio>
#include <iostream>

#include <glib.h>

#include "cli/cli.h"
#include "document/sting_import.h"
#include "media/waveform_renderer.h"

namespace brellow::cli {

namespace {

// What the page would show, printed instead.
class PrintingPage final : public PageMessenger {
  public:
    void sendEvent(const nlohmann::json& event) override {
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
    std::vector<std::filesystem::path> files(args.begin() + 1, args.end());
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

int runPeaks(const Arguments& args) {
    if (args.size() != 1) return complain(kExitUsage, "peaks: expected FILE.bin");
    auto peaks = media::readWaveform(args[0]);
    if (!peaks) return complain(kExitFailed, peaks.error().message);
    std::cout << "peaks per second " << peaks->peaksPerSecond << ", " << peaks->values.size() / 2
              << " peaks\n";
    return kExitOk;
}

}  // namespace brellow::cli
