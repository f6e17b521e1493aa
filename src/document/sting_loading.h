#pragma once
// Loads an opened show's stings into its engine, in the background and in order: each
// media file is checked on the main context (where the log lines are written), each load runs
// on the engine's executor, and the next entry starts when the previous load is done.
#include <functional>
#include <memory>
#include <vector>

#include <glib.h>

#include "audio/engine/audio_engine_service.h"
#include "document/show_document.h"

namespace brellow {

/// Starts loading and returns at once. `finished`, if given, runs on the main context after
/// the last entry. Works from the list it is handed, so edits meanwhile change nothing.
void loadStingsInBackground(std::vector<StingLoadRequest> requests,
                            const std::shared_ptr<audio::AudioEngineService>& engine,
                            std::function<void()> finished = {}, GMainContext* context = nullptr);

/// Makes every successful read of `document` load its stings into `engine`.
void loadStingsOnOpen(ShowDocument& document,
                      const std::shared_ptr<audio::AudioEngineService>& engine,
                      std::function<void()> finished = {});

}  // namespace brellow
