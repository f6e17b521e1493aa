#include "document/sting_import.h"

#include <algorithm>
#include <thread>

#include "base/main_context.h"
#include "media/sting_importer.h"
#include "media/waveform_renderer.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

using ImportResult = Result<Sting, media::ImportError>;

// The conversion and the waveform, on a thread of their own; touches no show.
ImportResult convert(const fs::path& source, const fs::path& mediaFolder,
                     const fs::path& waveformsFolder) {
    auto imported = media::importSting(source, mediaFolder);
    if (!imported) return imported;
    Sting sting = std::move(imported).value();
    auto waveform = media::renderWaveform(mediaFolder / sting.mediaFilename, sting.id,
                                          waveformsFolder, media::kImportPeaksPerSecond);
    if (waveform) {
        sting.waveformFilename = *waveform;
    } else {
        Logger("Importer").error("Waveform render failed: %s", waveform.error().message.c_str());
    }
    return sting;
}

struct ImportRun : std::enable_shared_from_this<ImportRun> {
    ImportTargets targets;
    std::vector<fs::path> files;
    std::size_t next = 0;
    std::size_t failures = 0;
    bool sendSnapshot = true;
    std::function<void(std::size_t)> finished;
    Logger log{"ShowDocument"};

    // On the main context.
    void step() {
        auto document = targets.document.lock();
        if (!document) return;  // the show was closed: nothing more to do
        if (next == files.size()) {
            if (auto page = targets.page.lock(); page && sendSnapshot) page->sendStateSnapshot();
            if (finished) finished(failures);
            return;
        }
        const fs::path source = files[next++];
        const fs::path media = document->workingDirectory().media();
        const fs::path waveforms = document->workingDirectory().waveforms();
        auto self = shared_from_this();
        std::thread([self, source, media, waveforms] {
            auto result = std::make_shared<ImportResult>(convert(source, media, waveforms));
            postToMainContext([self, source, result] { self->finish(source, std::move(*result)); });
        }).detach();
    }

    void finish(const fs::path& source, ImportResult result) {
        auto document = targets.document.lock();
        if (!document) return;
        if (!result) {
            ++failures;
            const std::string name = source.filename().string();
            log.error("Import failed for %s: %s", name.c_str(),
                      result.error().description().c_str());
            if (auto page = targets.page.lock()) {
                page->sendEvent({{"type", "toast"}, {"message", importFailureMessage(name)}});
            }
            step();
            return;
        }
        Sting sting = std::move(result).value();
        Show& show = document->mutableShow();
        const std::size_t pageIndex = locatePage(show, show.activePageID).value_or(0);
        sting.hotkey = nextFreeHotkey(show, pageIndex);
        show.pages[pageIndex].stings.push_back(sting);
        document->markChanged();
        if (targets.engine) {
            targets.engine->loadSting(sting.id, document->mediaPath(sting), sting.volumeDB,
                                      [](std::optional<audio::EngineFailure> failure) {
                                          if (failure) {
                                              Logger("ShowDocument")
                                                  .error("post-import loadSting failed: %s",
                                                         failure->description().c_str());
                                          }
                                      });
        }
        step();
    }
};

}  // namespace

std::string importFailureMessage(const std::string& fileName) {
    return "Couldn't import “" + fileName +
           "”. Check the file and that there's enough free disk space.";
}

void importStingFiles(ImportTargets targets, std::vector<fs::path> files,
                      std::function<void(std::size_t)> finished) {
    auto run = std::make_shared<ImportRun>();
    run->targets = std::move(targets);
    run->files = std::move(files);
    run->finished = std::move(finished);
    postToMainContext([run] { run->step(); });
}

void seedDemoStings(ImportTargets targets, const fs::path& demoFolder,
                    std::function<void()> finished) {
    auto document = targets.document.lock();
    if (!document || stingCount(document->show()) > 0) {
        if (finished) finished();
        return;
    }
    std::vector<fs::path> demos;
    std::error_code error;
    for (fs::directory_iterator it(demoFolder, error), end; !error && it != end;
         it.increment(error)) {
        if (it->path().extension() == ".m4a") demos.push_back(it->path());
    }
    if (demos.empty()) {
        Logger("ShowDocument").error("No bundled demo stings found in Resources/Demo");
        if (finished) finished();
        return;
    }
    std::sort(demos.begin(), demos.end(),
              [](const fs::path& a, const fs::path& b) { return a.filename() < b.filename(); });
    auto run = std::make_shared<ImportRun>();
    run->targets = std::move(targets);
    run->files = std::move(demos);
    run->sendSnapshot = true;  // one snapshot after the whole set
    run->finished = [finished = std::move(finished)](std::size_t) {
        if (finished) finished();
    };
    postToMainContext([run] { run->step(); });
}

}  // namespace brellow
