#pragma once
// Importing audio files into an open show, one after another: each is converted and its
// waveform rendered off the main context; the new sting joins the active page with the next
// free hotkey, is marked as an edit and loaded into the engine on the main context. A file
// that cannot be imported is logged and shown to the page as a toast; the rest go on.
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/engine/audio_engine_service.h"
#include "document/page_messenger.h"
#include "document/show_document.h"

namespace brellow {

struct ImportTargets {
    std::weak_ptr<ShowDocument> document;
    std::shared_ptr<audio::AudioEngineService> engine;  // may be null (no playback)
    std::weak_ptr<PageMessenger> page;                  // may be empty (no page)
};

/// The toast shown when `fileName` could not be imported.
std::string importFailureMessage(const std::string& fileName);

/// Imports `files` in order and then sends one state snapshot. `finished` runs on the main
/// context with the number of files that failed.
void importStingFiles(ImportTargets targets, std::vector<std::filesystem::path> files,
                      std::function<void(std::size_t failures)> finished = {});

/// Fills a show that has no stings with the demonstration stings ("*.m4a" in `demoFolder`,
/// by name), then sends one state snapshot. `finished` runs on the main context.
void seedDemoStings(ImportTargets targets, const std::filesystem::path& demoFolder,
                    std::function<void()> finished = {});

}  // namespace brellow
