#pragma once
// The system's default output through RtAudio, trying PulseAudio (and so PipeWire), then
// JACK, then ALSA's default device. A write error or a lost server stops the stream and is reported
// as a disruption, so the engine restarts on whatever output is there now.
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "audio/drivers/audio_driver.h"

class RtAudio;

namespace brellow::audio {

class RtAudioDriver final : public AudioDriver {
  public:
    explicit RtAudioDriver(std::uint32_t preferredPeriod = 256);
    ~RtAudioDriver() override;

    std::string name() const override { return apiName_; }
    Result<AudioFormat, AudioError> open(OutputRenderer& renderer) override;
    Result<void, AudioError> start() override;
    void stop() override;
    std::uint32_t periodFrames() const override { return period_; }
    /// What the stream reports as its latency, in frames.
    long latencyFrames() const { return latency_; }

    // Called by RtAudio.
    int renderCallback(float* output, unsigned int frames);
    void errorCallback(int type, const std::string& text);

  private:
    static std::vector<int> apiOrder();
    void close();
    bool tryOpen(int api, OutputRenderer& renderer, std::string& error);

    std::uint32_t preferredPeriod_;
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
