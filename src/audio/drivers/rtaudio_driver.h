#pragma once
// Output through RtAudio: JACK or ALSA (and RtAudio's own PulseAudio back end, kept as a
// reference for measurements). A write error or a lost server stops the stream and is reported
// as a disruption, so the engine restarts on whatever output is there now; an underrun is
// counted and playing goes on.
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "audio/drivers/audio_driver.h"

class RtAudio;

namespace brellow::audio {

class RtAudioDriver final : public AudioDriver {
  public:
    /// `api` is "jack", "alsa" or "rtaudio-pulse"; `device` a device name as RtAudio lists it,
    /// empty for the back end's default device.
    RtAudioDriver(std::string api, std::string device, std::uint32_t preferredPeriod = 256);
    ~RtAudioDriver() override;

    std::string name() const override { return apiName_; }
    Result<AudioFormat, AudioError> open(OutputRenderer& renderer) override;
    Result<void, AudioError> start() override;
    void stop() override;
    std::uint32_t periodFrames() const override { return period_; }
    /// What the stream reports as its latency, in frames.
    long latencyFrames() const { return latency_; }
    OutputInUse outputInUse() const override { return inUse_; }
    std::uint64_t underruns() const override { return underruns_.load(); }

    // Called by RtAudio.
    int renderCallback(float* output, unsigned int frames, bool underflowed);
    void errorCallback(int type, const std::string& text);

  private:
    void close();
    bool tryOpen(int api, OutputRenderer& renderer, std::string& error);

    std::string api_;
    std::string device_;
    std::uint32_t preferredPeriod_;
    OutputInUse inUse_;
    std::atomic<std::uint64_t> underruns_{0};
    std::uint32_t period_ = 0;
    double sampleRate_ = 0;
    long latency_ = 0;
    std::string apiName_ = "none";
    std::unique_ptr<RtAudio> audio_;
    OutputRenderer* renderer_ = nullptr;
    std::atomic<bool> lost_{false};
    std::atomic<bool> reported_{false};
    std::string lastError_;
    std::string lostReason_;
};

}  // namespace brellow::audio
