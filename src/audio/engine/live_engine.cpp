#include "app/show_engine.h"

#include "audio/drivers/system_output.h"
#include "audio/engine/executor.h"
#include "base/main_context.h"

namespace brellow::app {

namespace {

// Members are destroyed in reverse order: the engine first, then its executor.
struct EngineWithExecutor {
    audio::ThreadExecutor executor;
    audio::SystemOutputDriver* output = nullptr;
    std::shared_ptr<audio::AudioEngineService> engine;
};

}  // namespace

ShowEngine makeShowEngine() {
    auto bundle = std::make_shared<EngineWithExecutor>();
    auto driver = std::make_unique<audio::SystemOutputDriver>();
    bundle->output = driver.get();
    audio::AudioEngineService::Options options;
    options.driver = std::move(driver);
    options.executor = &bundle->executor;
    bundle->engine = audio::AudioEngineService::create(std::move(options));

    ShowEngine show;
    show.engine = std::shared_ptr<audio::AudioEngineService>(bundle, bundle->engine.get());
    // The check runs on the engine's executor and holds only the engine, never the executor.
    std::weak_ptr<audio::AudioEngineService> weakEngine = bundle->engine;
    audio::SystemOutputDriver* output = bundle->output;
    audio::ThreadExecutor* executor = &bundle->executor;
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

}  // namespace brellow::app
