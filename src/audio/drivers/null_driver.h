#pragma once
// An output with no sound: a thread that renders a period every period's worth of time, so
// the program runs the same on a machine without a device or sound server.
#include <atomic>
#include <thread>
#include <vector>

#include "audio/drivers/audio_driver.h"

namespace brellow::audio {

class NullDriver final : public AudioDriver {
  public:
    explicit NullDriver(double sampleRate = 48000, std::uint32_t period = 256);
    ~NullDriver() override;

    std::string name() const override { return "null"; }
    Result<AudioFormat, AudioError> open(OutputRenderer& renderer) override;
    Result<void, AudioError> start() override;
    void stop() override;
    std::uint32_t periodFrames() const override { return period_; }

  private:
    void run();

    double sampleRate_;
    std::uint32_t period_;
    OutputRenderer* renderer_ = nullptr;
    std::atomic<bool> running_{false};
    std::thread thread_;
    std::vector<float> left_, right_;
};

}  // namespace brellow::audio
