#include "audio/engine/offline_engine.h"

namespace brellow::audio {

OfflineEngine makeOfflineEngine(VirtualClock& clock, ManualExecutor& executor, double rate,
                                bool capture, std::uint64_t memoryLimitBytes,
                                std::uint64_t memoryBudgetBytes) {
    auto offline = std::make_unique<OfflineDriver>(clock, rate, 256);
    offline->setCapturing(capture);
    OfflineDriver* driver = offline.get();
    AudioEngineService::Options options;
    options.driver = std::move(offline);
    options.clock = &clock;
    options.executor = &executor;
    options.notifierThread = false;  // the caller delivers completions
    options.memoryLimitBytes = memoryLimitBytes;
    options.memoryBudgetBytes = memoryBudgetBytes;
    return {AudioEngineService::create(std::move(options)), driver};
}

}  // namespace brellow::audio
