#pragma once
// Renders on demand, with a virtual host clock that moves with the frames rendered: tests and
// benchmarks hear exactly what the graph produced, frame by frame.
#include <cstdint>
#include <vector>

#include "audio/drivers/audio_driver.h"
#include "audio/graph/host_clock.h"

namespace brellow::audio {

class OfflineDriver final : public AudioDriver {
  public:
    OfflineDriver(VirtualClock& clock, double sampleRate = 48000, std::uint32_t period = 256);

    std::string name() const override { return "offline"; }
    Result<AudioFormat, AudioError> open(OutputRenderer& renderer) override;
    Result<void, AudioError> start() override;
    void stop() override { started_ = false; }
    std::uint32_t periodFrames() const override { return period_; }

    /// Renders `frames` frames in periods (a started driver only) and keeps them when
    /// capturing. The clock reads the host time of the next frame to be rendered.
    void render(std::uint64_t frames);
    void setCapturing(bool capturing) { capturing_ = capturing; }
    const std::vector<float>& left() const { return left_; }
    const std::vector<float>& right() const { return right_; }
    void clearCapture();

    /// Frames rendered since the driver was made.
    std::uint64_t framesRendered() const { return rendered_; }
    /// Host time at which output frame `frame` is heard.
    std::uint64_t hostTimeOfFrame(std::uint64_t frame) const;

    /// Acts as if the output went away: stops and tells the renderer.
    void disrupt(const std::string& reason);
    /// Makes the next start fail, as with no device.
    void failNextStart() { failNextStart_ = true; }

  private:
    VirtualClock& clock_;
    double sampleRate_;
    std::uint32_t period_;
    std::uint64_t baseHostTime_;
    std::uint64_t rendered_ = 0;
    OutputRenderer* renderer_ = nullptr;
    bool started_ = false;
    bool capturing_ = true;
    bool failNextStart_ = false;
    std::vector<float> left_, right_;
    std::vector<float> blockLeft_, blockRight_;
};

}  // namespace brellow::audio
