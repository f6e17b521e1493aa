#pragma once
// The output Brellow plays to: the device the show chose when it answers, otherwise the
// system's default output (PulseAudio or PipeWire, then JACK, then ALSA), otherwise a silent
// clock-paced output. While it plays on a stand-in it says what is missing, and an
// OutputSupervisor calls retryWanted() until the wanted output is back.
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "audio/drivers/audio_driver.h"
#include "base/log.h"

namespace brellow::audio {

/// What the supervisor needs from an output it looks after.
class SupervisedOutput {
  public:
    virtual ~SupervisedOutput() = default;
    /// True while playing on a stand-in (silent, or the default instead of the chosen device).
    virtual bool wantsRetry() const = 0;
    /// Tries the wanted output; when it answers, leaves the stand-in and reports the output as
    /// changed, so the engine reopens on it and resumes its cues. True when it did.
    virtual bool retryWanted() = 0;
    /// Reports the output as lost when it has stopped asking for audio while started (a sound
    /// server that went away without a word, a JACK server that shut the client down).
    virtual bool checkStalled(std::chrono::steady_clock::time_point now) = 0;
    virtual std::uint64_t xrunCount() const = 0;
    virtual std::string describe() const = 0;
};

/// Makes the driver for an output identifier: "pulse" (the server's default sink),
/// "pulse:SINK", "jack", "jack:DEVICE", "alsa", "alsa:DEVICE" or "rtaudio-pulse"; null for an
/// identifier of no known kind.
using DeviceDriverFactory = std::function<std::unique_ptr<AudioDriver>(const std::string& id)>;
DeviceDriverFactory systemDeviceDrivers(bool lowLatency);

/// The default output's chain of identifiers: BRELLOW_AUDIO_API=pulse|jack|alsa|rtaudio-pulse
/// picks one, otherwise pulse, jack, alsa.
std::vector<std::string> defaultOutputChain();

class SystemOutputDriver final : public AudioDriver,
                                 public SupervisedOutput,
                                 private OutputRenderer {
  public:
    struct Options {
        std::string deviceID;  // empty: the system's default output
        bool lowLatency = false;
        DeviceDriverFactory factory;                 // empty: the system's drivers
        std::vector<std::string> defaultChain;       // empty: defaultOutputChain()
        std::unique_ptr<AudioDriver> silent;         // empty: a NullDriver
        std::chrono::milliseconds stallLimit{750};   // silent after it played
        std::chrono::milliseconds startLimit{4000};  // silent since it started
    };

    SystemOutputDriver();
    explicit SystemOutputDriver(Options options);
    ~SystemOutputDriver() override;

    std::string name() const override;
    Result<AudioFormat, AudioError> open(OutputRenderer& renderer) override;
    Result<void, AudioError> start() override;
    void stop() override;
    std::uint32_t periodFrames() const override;
    OutputInUse outputInUse() const override;
    std::uint64_t underruns() const override { return xrunCount(); }

    /// Plays on `deviceID` from now on ("" for the default output): an open output is reported
    /// as changed so the engine reopens on the new device and resumes its cues.
    void choose(const std::string& deviceID) override;
    std::string chosenDevice() const;
    /// True while playing to the silent output.
    bool usingFallback() const;

    bool wantsRetry() const override;
    bool retryWanted() override;
    bool checkStalled(std::chrono::steady_clock::time_point now) override;
    std::uint64_t xrunCount() const override;
    std::string describe() const override { return name(); }

  private:
    enum class Mode { closed, chosen, defaultOutput, silent };

    void renderOutput(float* left, float* right, std::uint32_t frames,
                      std::uint64_t hostTime) override;
    void outputDisrupted(const std::string& reason) override;
    /// Tells the engine once per open that the output stopped; never under mutex_.
    void reportChanged(const std::string& reason);
    AudioDriver* active() const;
    void closeDevice();
    std::unique_ptr<AudioDriver> openDevice(const std::string& id, AudioFormat& format,
                                            std::string& error);

    Options options_;
    std::string wanted_;
    std::unique_ptr<AudioDriver> device_;
    std::unique_ptr<AudioDriver> silent_;
    Mode mode_ = Mode::closed;
    std::string missing_;  // why the wanted output is not playing
    OutputRenderer* engine_ = nullptr;
    bool started_ = false;
    std::uint64_t earlierUnderruns_ = 0;
    std::uint64_t startRenderCount_ = 0;
    std::uint64_t lastRenderCount_ = 0;
    std::chrono::steady_clock::time_point lastProgress_{};
    std::atomic<std::uint64_t> renderCount_{0};
    std::atomic<bool> reported_{false};
    mutable std::mutex mutex_;
    Logger log_{"AudioEngine"};
};

}  // namespace brellow::audio
