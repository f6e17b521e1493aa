#pragma once
// An engine on the offline output: time is a virtual clock that moves with the frames
// rendered, and operations run when the caller runs `executor`. For rendering to files,
// protocol consoles, tests and benchmarks.
#include <memory>

#include "audio/drivers/offline_driver.h"
#include "audio/engine/audio_engine_service.h"

namespace brellow::audio {

struct OfflineEngine {
    std::shared_ptr<AudioEngineService> engine;
    OfflineDriver* driver;  // owned by the engine
};

OfflineEngine makeOfflineEngine(VirtualClock& clock, ManualExecutor& executor, double rate = 48000,
                                bool capture = true, std::uint64_t memoryLimitBytes = 52'428'800,
                                std::uint64_t memoryBudgetBytes = 0);

}  // namespace brellow::audio
