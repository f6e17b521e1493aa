#pragma once
// The output Brellow plays to: the system's device when one answers, otherwise the silent
// clock-paced output, chosen again at every open (so a restart after a lost server finds the
// server once it is back).
#include <memory>

#include "audio/drivers/audio_driver.h"
#include "base/log.h"

namespace brellow::audio {

class SystemOutputDriver final : public AudioDriver {
  public:
    SystemOutputDriver();
    ~SystemOutputDriver() override;

    std::string name() const override;
    Result<AudioFormat, AudioError> open(OutputRenderer& renderer) override;
    Result<void, AudioError> start() override;
    void stop() override;
    std::uint32_t periodFrames() const override;
    /// True while playing to the silent output.
    bool usingFallback() const { return active_ == fallback_.get(); }

  private:
    std::unique_ptr<AudioDriver> device_;
    std::unique_ptr<AudioDriver> fallback_;
    AudioDriver* active_ = nullptr;
    Logger log_{"AudioEngine"};
};

}  // namespace brellow::audio
