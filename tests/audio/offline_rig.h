#pragma once
// An engine on the offline driver with a virtual clock: tests render frames and listen.
#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>

#include "audio/drivers/offline_driver.h"
#include "audio/graph/audio_engine.h"

namespace brellow::audio::test {

struct OfflineRig {
    explicit OfflineRig(double rate = 48000, std::uint32_t period = 256) {
        auto offline = std::make_unique<OfflineDriver>(clock, rate, period);
        driver = offline.get();
        engine = std::make_unique<AudioEngine>(
            AudioEngine::Options{std::move(offline), &clock, /*notifierThread=*/false});
    }

    /// Fills streamed segments, renders `frames`, then delivers completions.
    void render(std::uint64_t frames) {
        for (std::uint64_t done = 0; done < frames;) {
            const std::uint64_t step = std::min<std::uint64_t>(frames - done, 4096);
            engine->fillStreamsNow();
            driver->render(step);
            engine->pumpNotifications();
            done += step;
        }
    }

    VirtualClock clock;
    OfflineDriver* driver = nullptr;
    std::unique_ptr<AudioEngine> engine;
};

/// A player feeding its own mixer, as the engine logic builds one per sting.
struct Voice {
    Voice(AudioEngine& engine, const AudioFormat& format) {
        engine.attach(player);
        engine.attach(mixer);
        engine.connect(player, mixer, format);
        engine.connectToMain(mixer);
    }
    PlayerNode player;
    MixerNode mixer;
};

inline std::shared_ptr<PcmBuffer> makeBuffer(double rate, std::uint32_t channels,
                                             std::uint32_t frames,
                                             float (*sample)(std::uint32_t channel,
                                                             std::uint32_t frame)) {
    auto buffer = PcmBuffer::create({rate, channels, SampleType::float32}, frames);
    float* const* data = buffer ? buffer->floatChannelData() : nullptr;
    if (data == nullptr) std::abort();
    for (std::uint32_t c = 0; c < channels; ++c) {
        for (std::uint32_t f = 0; f < frames; ++f)
            data[c][f] = sample(c, f);
    }
    buffer->setFrameLength(frames);
    return buffer;
}

/// Index of the first sample whose magnitude exceeds `threshold`, or -1.
inline long firstSound(const std::vector<float>& samples, float threshold = 1e-6f) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::fabs(samples[i]) > threshold) return static_cast<long>(i);
    }
    return -1;
}

}  // namespace brellow::audio::test
