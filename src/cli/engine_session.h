#pragma once
// A show opened with its engine, for the commands that play: finding stings by name or
// identifier and firing them as the show page does.
#include <memory>
#include <optional>
#include <string>

#include "audio/engine/audio_engine_service.h"
#include "audio/engine/offline_engine.h"
#include "cli/failure_report.h"
#include "document/show_document.h"

namespace brellow::cli {

/// The first sting whose identifier (either case) or name is `nameOrID`.
std::optional<Sting> findSting(const Show& show, const std::string& nameOrID);

/// Fires `sting` with its stored trims, loop and fades; in solo mode the others fade out
/// first (over their own fade-out, or 0.4 s). A sting that cannot start goes to `failures`,
/// which must outlive the engine's answer.
void fireSting(audio::AudioEngineService& engine, const Show& show, const Sting& sting,
               FailureReport& failures);

/// Reads `package` into `document`, loading its stings into `engine`; `spin` is called until
/// loading is done (it should run the main context and, for a manual executor, the engine).
bool openWithEngine(ShowDocument& document, const std::string& package,
                    const std::shared_ptr<audio::AudioEngineService>& engine,
                    const std::function<void()>& spin);

}  // namespace brellow::cli
