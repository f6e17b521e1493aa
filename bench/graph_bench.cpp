// What the render graph costs per output frame and voice, and a one-minute audit of the
// render thread with 64 voices starting and stopping (allocations and locks must be zero).
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "audio/drivers/offline_driver.h"
#include "audio/graph/audio_engine.h"
#include "audio/graph/rt_guard.h"

namespace brellow::audio {

namespace {

constexpr int kVoices = 64;
constexpr std::uint32_t kPeriod = 256;

struct Rig {
    VirtualClock clock;
    OfflineDriver* driver = nullptr;
    std::unique_ptr<AudioEngine> engine;
    std::vector<std::unique_ptr<PlayerNode>> players;
    std::vector<std::unique_ptr<MixerNode>> mixers;
    std::shared_ptr<PcmBuffer> buffer;

    explicit Rig(double stingRate) {
        auto offline = std::make_unique<OfflineDriver>(clock, 48000, kPeriod);
        offline->setCapturing(false);
        driver = offline.get();
        engine =
            std::make_unique<AudioEngine>(AudioEngine::Options{std::move(offline), &clock, false});
        (void)engine->start();
        buffer = PcmBuffer::create({stingRate, 2, SampleType::float32},
                                   static_cast<std::uint32_t>(stingRate));
        for (std::uint32_t c = 0; c < 2; ++c) {
            for (std::uint32_t f = 0; f < buffer->frameCapacity(); ++f) {
                buffer->floatChannelData()[c][f] = static_cast<float>(std::sin(f * 0.01 + c));
            }
        }
        buffer->setFrameLength(buffer->frameCapacity());
        for (int v = 0; v < kVoices; ++v) {
            players.push_back(std::make_unique<PlayerNode>());
            mixers.push_back(std::make_unique<MixerNode>());
            engine->attach(*players.back());
            engine->attach(*mixers.back());
            engine->connect(*players.back(), *mixers.back(), buffer->format());
            engine->connectToMain(*mixers.back());
        }
    }
    void playAll() {
        for (auto& player : players) {
            player->scheduleBuffer(buffer, kPlayerOptionLoops,
                                   CompletionCallbackType::dataPlayedBack, {});
            player->play();
        }
    }
};

// Renders periods with every voice's gain moving, so the ramp is always on.
void mix(benchmark::State& state, double stingRate) {
    Rig rig(stingRate);
    rig.playAll();
    rig.driver->render(48000);  // settle
    float gain = 0.5f;
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        gain = gain > 0.9f ? 0.5f : gain + 0.01f;
        for (auto& mixer : rig.mixers)
            mixer->setOutputVolume(gain);
        rig.driver->render(kPeriod);
    }
    const double ns =
        std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    const double frames = static_cast<double>(state.iterations()) * kPeriod;
    state.counters["ns_per_frame_per_voice"] = ns / (frames * kVoices);
    state.counters["core_pct_64_voices"] = ns / (frames / 48000.0 * 1e9) * 100.0;
}

void MixStereoVoicesFromMemory(benchmark::State& state) {
    mix(state, 48000);
}
BENCHMARK(MixStereoVoicesFromMemory)->UseRealTime();

void MixStereoVoicesResampled44to48(benchmark::State& state) {
    mix(state, 44100);
}
BENCHMARK(MixStereoVoicesResampled44to48)->UseRealTime();

// A show of 2000 loaded stings at mixed rates; `playing` of them loop with their gains moving
// every period (a fade on each), the rest wait.
void largeShow(benchmark::State& state, int playing) {
    constexpr int kLoaded = 2000;
    const double rates[] = {44100, 48000, 96000, 22050};
    VirtualClock clock;
    auto offline = std::make_unique<OfflineDriver>(clock, 48000, kPeriod);
    offline->setCapturing(false);
    OfflineDriver* driver = offline.get();
    AudioEngine engine(AudioEngine::Options{std::move(offline), &clock, false});
    (void)engine.start();
    std::vector<std::shared_ptr<PcmBuffer>> buffers;
    for (const double rate : rates) {
        auto buffer =
            PcmBuffer::create({rate, 2, SampleType::float32}, static_cast<std::uint32_t>(rate));
        for (std::uint32_t c = 0; c < 2; ++c) {
            for (std::uint32_t f = 0; f < buffer->frameCapacity(); ++f)
                buffer->floatChannelData()[c][f] = static_cast<float>(std::sin(f * 0.01 + c));
        }
        buffer->setFrameLength(buffer->frameCapacity());
        buffers.push_back(std::move(buffer));
    }
    std::vector<std::unique_ptr<PlayerNode>> players;
    std::vector<std::unique_ptr<MixerNode>> mixers;
    for (int v = 0; v < kLoaded; ++v) {
        players.push_back(std::make_unique<PlayerNode>());
        mixers.push_back(std::make_unique<MixerNode>());
        engine.attach(*players.back());
        engine.attach(*mixers.back());
        engine.connect(*players.back(), *mixers.back(), buffers[v % 4]->format());
        engine.connectToMain(*mixers.back());
    }
    // Every 31st sting plays: an even spread of rates, most of them converted.
    int started = 0;
    for (int v = 0; v < kLoaded && started < playing; v += 31, ++started) {
        players[static_cast<std::size_t>(v)]->scheduleBuffer(
            buffers[static_cast<std::size_t>(v) % 4], kPlayerOptionLoops,
            CompletionCallbackType::dataPlayedBack, {});
        players[static_cast<std::size_t>(v)]->play();
    }
    driver->render(48000);
    engine.pumpNotifications();
    float gain = 0.5f;
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        gain = gain > 0.9f ? 0.5f : gain + 0.01f;
        for (int v = 0; v < kLoaded; v += 31)
            mixers[static_cast<std::size_t>(v)]->setOutputVolume(gain);
        driver->render(kPeriod);
    }
    const double ns =
        std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    const double frames = static_cast<double>(state.iterations()) * kPeriod;
    state.counters["core_pct"] = ns / (frames / 48000.0 * 1e9) * 100.0;
}

void ShowOf2000Idle(benchmark::State& state) {
    largeShow(state, 0);
}
BENCHMARK(ShowOf2000Idle)->UseRealTime();

void ShowOf2000With64PlayingMixedRatesAndFades(benchmark::State& state) {
    largeShow(state, 64);
}
BENCHMARK(ShowOf2000With64PlayingMixedRatesAndFades)->UseRealTime();

// One minute of audio; every period a random voice starts or stops and levels move.
void RenderThreadAuditOneMinute(benchmark::State& state) {
    for (auto _ : state) {
        Rig rig(44100);
        Rig same(48000);  // half the voices need no conversion
        std::mt19937 random(11);
        RenderThreadViolations::allocations = 0;
        RenderThreadViolations::locks = 0;
        for (int period = 0; period < 60 * 48000 / static_cast<int>(kPeriod); ++period) {
            for (Rig* rig_ : {&rig, &same}) {
                auto& player = *rig_->players[random() % kVoices];
                if (player.isPlaying()) {
                    player.stop();
                } else {
                    player.scheduleBuffer(rig_->buffer,
                                          kPlayerOptionLoops | kPlayerOptionInterrupts,
                                          CompletionCallbackType::dataPlayedBack, {});
                    player.play();
                }
                rig_->mixers[random() % kVoices]->setOutputVolume(
                    static_cast<float>(random() % 100) / 100.0f);
                rig_->driver->render(kPeriod);
                rig_->engine->pumpNotifications();
            }
        }
        state.counters["render_allocations"] =
            static_cast<double>(RenderThreadViolations::allocations.load());
        state.counters["render_locks"] = static_cast<double>(RenderThreadViolations::locks.load());
    }
}
BENCHMARK(RenderThreadAuditOneMinute)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

}  // namespace brellow::audio

BENCHMARK_MAIN();
