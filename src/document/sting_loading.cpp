#include "document/sting_loading.h"

#include "base/main_context.h"

namespace brellow {

namespace {

struct LoadRun : std::enable_shared_from_this<LoadRun> {
    std::vector<StingLoadRequest> requests;
    std::size_t next = 0;
    std::weak_ptr<audio::AudioEngineService> engine;
    std::function<void()> finished;
    GMainContext* context = nullptr;
    Logger log{"ShowDocument"};

    void scheduleStep() {
        auto self = shared_from_this();
        postToMainContext([self] { self->step(); }, context);
    }

    // On the main context.
    void step() {
        if (next == requests.size()) {
            if (finished) finished();
            return;
        }
        const StingLoadRequest& request = requests[next++];
        std::error_code error;
        if (!std::filesystem::exists(request.mediaPath, error)) {
            log.error("Sting media missing: %s", request.mediaPath.filename().c_str());
            scheduleStep();
            return;
        }
        auto service = engine.lock();
        if (!service) return;  // the show went away
        auto self = shared_from_this();
        service->loadSting(request.stingID, request.mediaPath, request.volumeDB,
                           [self](const std::optional<audio::EngineFailure>& failure) {
                               postToMainContext(
                                   [self, failure] {
                                       if (failure) {
                                           self->log.error("loadSting failed: %s",
                                                           failure->description().c_str());
                                       }
                                       self->step();
                                   },
                                   self->context);
                           });
    }
};

}  // namespace

void loadStingsInBackground(std::vector<StingLoadRequest> requests,
                            const std::shared_ptr<audio::AudioEngineService>& engine,
                            std::function<void()> finished, GMainContext* context) {
    auto run = std::make_shared<LoadRun>();
    run->requests = std::move(requests);
    run->engine = engine;
    run->finished = std::move(finished);
    run->context = context;
    run->scheduleStep();
}

void loadStingsOnOpen(ShowDocument& document,
                      const std::shared_ptr<audio::AudioEngineService>& engine,
                      std::function<void()> finished) {
    document.setStingLoadHandler([&document, engine, finished = std::move(finished)](
                                     std::vector<StingLoadRequest> requests) {
        // The show's own output device, chosen before any of its stings plays.
        engine->setOutputDevice(document.show().outputDeviceUID.value_or(""));
        loadStingsInBackground(std::move(requests), engine, finished);
    });
}

}  // namespace brellow
