#pragma once
// An audio engine on the system output, with the serial executor it runs on and the supervisor
// that brings its output back. The executor lives exactly as long as the engine, however long
// callbacks keep the engine.
#include <functional>
#include <memory>
#include <string>

#include "audio/engine/audio_engine_service.h"

namespace brellow::audio {

struct OutputChoice {
    std::string deviceID;  // as `brellow-cli devices` lists it; empty: the default output
    bool lowLatency = false;
};

struct LiveEngine {
    std::shared_ptr<AudioEngineService> engine;
    /// Opens the output if it is not open yet and reports, on the main context, whether it
    /// is the silent fallback because no sound server or device could be reached.
    std::function<void(std::function<void(bool silent)>)> checkOutput;
};

/// An engine on the system output (or its stand-ins), run by its own thread executor.
LiveEngine makeLiveEngine(const OutputChoice& choice = {});

}  // namespace brellow::audio
