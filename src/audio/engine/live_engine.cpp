#include "audio/engine/live_engine.h"

#include <algorithm>
#include <thread>

#include "audio/drivers/system_output.h"
#include "audio/engine/executor.h"
#include "base/main_context.h"

namespace brellow::audio {

namespace {

// Members are destroyed in reverse order: the engine first, then its executor.
struct EngineWithExecutor {
    ThreadExecutor executor;
    SystemOutputDriver* output = nullptr;
    std::shared_ptr<AudioEngineService> engine;
};

}  // namespace

LiveEngine makeLiveEngine() {
    auto bundle = std::make_shared<EngineWithExecutor>();
    auto driver = std::make_unique<SystemOutputDriver>();
    bundle->output = driver.get();
    AudioEngineService::Options options;
    options.driver = std::move(driver);
    options.executor = &bundle->executor;
    options.loadThreads = std::max(1u, std::thread::hardware_concurrency());
    bundle->engine = AudioEngineService::create(std::move(options));

    LiveEngine show;
    show.engine = std::shared_ptr<AudioEngineService>(bundle, bundle->engine.get());
    // The check runs on the engine's executor and holds only the engine, never the executor.
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
