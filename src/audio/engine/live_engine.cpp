#include "audio/engine/live_engine.h"

#include <algorithm>
#include <thread>

#include "audio/drivers/system_output.h"
#include "audio/engine/executor.h"
#include "audio/engine/output_supervisor.h"
#include "base/main_context.h"

namespace brellow::audio {

namespace {

// Members are destroyed in reverse order: the supervisor first, then the engine (which owns
// the output), then its executor.
struct EngineWithExecutor {
    ThreadExecutor executor;
    SystemOutputDriver* output = nullptr;
    std::shared_ptr<AudioEngineService> engine;
    std::unique_ptr<OutputSupervisor> supervisor;
};

}  // namespace

LiveEngine makeLiveEngine(const OutputChoice& choice) {
    auto bundle = std::make_shared<EngineWithExecutor>();
    SystemOutputDriver::Options outputOptions;
    outputOptions.deviceID = choice.deviceID;
    outputOptions.lowLatency = choice.lowLatency;
    auto driver = std::make_unique<SystemOutputDriver>(std::move(outputOptions));
    bundle->output = driver.get();
    AudioEngineService::Options options;
    options.driver = std::move(driver);
    options.executor = &bundle->executor;
    options.loadThreads = std::max(1u, std::thread::hardware_concurrency());
    bundle->engine = AudioEngineService::create(std::move(options));
    bundle->supervisor = std::make_unique<OutputSupervisor>(*bundle->output);

    LiveEngine show;
    show.engine = std::shared_ptr<AudioEngineService>(bundle, bundle->engine.get());
    // The closures run on the engine's executor and hold only the engine, never the executor.
    std::weak_ptr<AudioEngineService> weakEngine = bundle->engine;
    SystemOutputDriver* output = bundle->output;
    ThreadExecutor* executor = &bundle->executor;
    std::weak_ptr<EngineWithExecutor> weakBundle = bundle;
    show.checkOutput = [weakBundle, weakEngine, output,
                        executor](std::function<void(bool)> report) {
        if (weakBundle.expired()) return;
        executor->post([weakEngine, output, report = std::move(report)] {
            auto engine = weakEngine.lock();
            if (!engine) return;
            const bool opened = static_cast<bool>(engine->graph().prepare());
            const bool silent = !opened || output->usingFallback();
            postToMainContext([report, silent] { report(silent); });
        });
    };
    return show;
}

}  // namespace brellow::audio
