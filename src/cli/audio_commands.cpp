// Commands that sound: a test tone through the system output.
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <mutex>

#include "audio/drivers/system_output.h"
#include "audio/graph/audio_engine.h"
#include "cli/cli.h"

namespace brellow::cli {

namespace {

bool parseNumber(const std::string& text, double& out) {
    char* end = nullptr;
    out = std::strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0' && std::isfinite(out);
}

// A sine with 5 ms raised-cosine edges, so the tone starts and ends without a click.
std::shared_ptr<audio::PcmBuffer> makeTone(double rate, double freq, double seconds, double gain) {
    const auto frames = static_cast<std::uint32_t>(seconds * rate);
    auto buffer = audio::PcmBuffer::create({rate, 1, audio::SampleType::float32}, frames);
    float* const* data = buffer ? buffer->floatChannelData() : nullptr;
    if (data == nullptr) return nullptr;
    const double edge = 0.005 * rate;
    for (std::uint32_t f = 0; f < frames; ++f) {
        double envelope = 1;
        const double fromEnd = static_cast<double>(frames - f);
        if (f < edge) envelope = 0.5 - 0.5 * std::cos(M_PI * f / edge);
        if (fromEnd < edge) envelope = 0.5 - 0.5 * std::cos(M_PI * fromEnd / edge);
        data[0][f] = static_cast<float>(gain * envelope * std::sin(2 * M_PI * freq * f / rate));
    }
    buffer->setFrameLength(frames);
    return buffer;
}

}  // namespace

int runTone(const Arguments& args) {
    double freq = 440, seconds = 2, levelDB = -12;
    audio::SystemOutputDriver::Options outputOptions;
    for (std::size_t i = 0; i < args.size(); i += 2) {
        if (args[i] == "--low-latency") {
            outputOptions.lowLatency = true;
            --i;  // a flag without a value
            continue;
        }
        if (args[i] == "--device" && i + 1 < args.size()) {
            outputOptions.deviceID = args[i + 1];
            continue;
        }
        double* target = args[i] == "--freq"      ? &freq
                         : args[i] == "--seconds" ? &seconds
                         : args[i] == "--level"   ? &levelDB
                                                  : nullptr;
        if (target == nullptr || i + 1 >= args.size() || !parseNumber(args[i + 1], *target)) {
            return complain(kExitUsage,
                            "tone: expected [--freq HZ] [--seconds SEC] [--level DB] "
                            "[--device ID] [--low-latency]");
        }
    }
    if (freq <= 0 || seconds <= 0 || seconds > 3600 || levelDB > 0) {
        return complain(kExitUsage,
                        "tone: frequency and length must be positive, level at most 0 dB");
    }

    auto output = std::make_unique<audio::SystemOutputDriver>(std::move(outputOptions));
    audio::SystemOutputDriver& system = *output;
    audio::AudioEngine engine({std::move(output)});
    if (auto prepared = engine.prepare(); !prepared)
        return complain(kExitFailed, prepared.error().message);
    const audio::OutputInUse inUse = system.outputInUse();
    if (system.usingFallback()) {
        std::cerr << "brellow-cli: no audio output device or sound server; playing silently\n";
    } else if (!system.chosenDevice().empty() && inUse.fellBack) {
        std::cerr << "brellow-cli: " << inUse.deviceName << "\n";
    }
    const double rate = engine.outputFormat().sampleRate;
    auto tone = makeTone(rate, freq, seconds, std::pow(10.0, levelDB / 20.0));
    if (!tone) return complain(kExitFailed, "tone: out of memory");

    audio::PlayerNode player;
    audio::MixerNode mixer;
    engine.attach(player);
    engine.attach(mixer);
    engine.connect(player, mixer, tone->format());
    engine.connectToMain(mixer);
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    player.scheduleBuffer(tone, audio::kPlayerOptionNone,
                          audio::CompletionCallbackType::dataPlayedBack,
                          [&](audio::CompletionCallbackType) {
                              const std::lock_guard lock(mutex);
                              done = true;
                              finished.notify_all();
                          });
    if (auto started = engine.start(); !started)
        return complain(kExitFailed, started.error().message);
    std::cout << "Playing " << freq << " Hz at " << levelDB << " dB for " << seconds << " s on "
              << system.name() << " (" << rate << " Hz, " << inUse.deviceName << ")" << std::endl;
    player.play();
    std::unique_lock lock(mutex);
    finished.wait(lock, [&] { return done; });
    lock.unlock();
    engine.stop();
    return kExitOk;
}

}  // namespace brellow::cli
