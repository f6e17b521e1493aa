#pragma once
// An engine on the offline output, with the executor's time tied to the output's clock:
// rendering moves time, fade steps fire as their deadlines pass, events are recorded.
#include <sndfile.h>

#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "audio/drivers/offline_driver.h"
#include "audio/engine/offline_engine.h"
#include "support/test_support.h"

namespace brellow::audio::test {

/// Test signals: a constant level, and a ramp telling where in the file a sample came from
/// (its frame divided by 48,000).
inline float dc(std::int64_t) {
    return 1.0f;
}
inline float seconds(std::int64_t frame) {
    return static_cast<float>(frame) / 48000.0f;
}

/// Writes a mono or stereo float CAF whose samples are `sample(frame)`.
inline std::filesystem::path writeSting(const std::filesystem::path& path, double rate,
                                        std::int64_t frames,
                                        const std::function<float(std::int64_t)>& sample,
                                        int channels = 1) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(rate);
    info.channels = channels;
    info.format = SF_FORMAT_CAF | SF_FORMAT_FLOAT | SF_ENDIAN_LITTLE;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> block(static_cast<std::size_t>(8192 * channels));
    for (std::int64_t start = 0; start < frames; start += 8192) {
        const std::int64_t count = std::min<std::int64_t>(8192, frames - start);
        for (std::int64_t i = 0; i < count; ++i) {
            for (int c = 0; c < channels; ++c)
                block[static_cast<std::size_t>(i * channels + c)] = sample(start + i);
        }
        sf_writef_float(file, block.data(), count);
    }
    sf_close(file);
    return path;
}

struct EngineRig {
    explicit EngineRig(std::uint64_t memoryLimit = 52'428'800, std::uint64_t memoryBudget = 0)
        : executor(clock) {
        auto offline =
            makeOfflineEngine(clock, executor, 48000, /*capture=*/true, memoryLimit, memoryBudget);
        engine = offline.engine;
        driver = offline.driver;
        engine->addObserver([this](const Event& event) { events.push_back(event); });
        executor.runUntilIdle();
    }

    /// Renders `seconds` of output in periods, delivering completions and timer steps as
    /// time passes.
    void run(double seconds) {
        const auto frames = static_cast<std::uint64_t>(std::llround(seconds * 48000));
        for (std::uint64_t done = 0; done < frames; done += 256) {
            engine->graph().fillStreamsNow();
            driver->render(std::min<std::uint64_t>(256, frames - done));
            engine->graph().pumpNotifications();
            executor.fireDueTimers();
        }
    }

    void settle() { executor.runUntilIdle(); }

    Uuid load(const std::filesystem::path& file, double volumeDB = 0) {
        const Uuid id = Uuid::generate();
        std::optional<EngineFailure> failure;
        engine->loadSting(id, file, volumeDB, [&](std::optional<EngineFailure> f) { failure = f; });
        settle();
        if (failure) ADD_FAILURE() << failure->description();
        return id;
    }

    Result<std::uint64_t, EngineFailure> play(const Uuid& id,
                                              std::optional<double> in = std::nullopt,
                                              std::optional<double> out = std::nullopt,
                                              bool loop = false, double fadeIn = 0,
                                              double fadeOut = 0) {
        std::optional<Result<std::uint64_t, EngineFailure>> result;
        engine->play(id, in, out, loop, fadeIn, fadeOut,
                     [&](auto r) { result.emplace(std::move(r)); });
        settle();
        return std::move(*result);
    }

    /// Output sample (left) at `seconds` since the start of the capture.
    float at(double seconds) const {
        return driver->left().at(static_cast<std::size_t>(std::llround(seconds * 48000)));
    }
    std::size_t frame() const { return driver->left().size(); }

    template <class E>
    std::vector<E> eventsOf() const {
        std::vector<E> found;
        for (const Event& event : events) {
            if (const auto* e = std::get_if<E>(&event)) found.push_back(*e);
        }
        return found;
    }

    VirtualClock clock;
    ManualExecutor executor;
    OfflineDriver* driver = nullptr;
    std::shared_ptr<AudioEngineService> engine;
    std::vector<Event> events;
    brellow::test::TempDir dir;
};

}  // namespace brellow::audio::test

namespace brellow::audio::test {
/// Captures log lines while alive.
using CapturedLogForEngine = brellow::test::CapturedLog;
}  // namespace brellow::audio::test
