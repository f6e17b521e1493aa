#pragma once
// Output to a PulseAudio sink (also PipeWire's PulseAudio service) through libpulse's
// asynchronous API. The server asks for data on the connection's loop thread, which renders
// small blocks straight into the server's buffer; the buffer the server keeps ahead is set
// small so that a cue is heard a few milliseconds after it is fired.
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "audio/drivers/audio_driver.h"
#include "audio/drivers/pulse_connection.h"

struct pa_stream;

namespace brellow::audio {

struct PulseLatency {
    std::uint32_t targetFrames;   // what the server keeps queued ahead of the sink
    std::uint32_t requestFrames;  // the smallest block the server asks for
};

/// Buffer sizes at 48 kHz for the normal and the low-latency setting, scaled to `rate`.
PulseLatency pulseLatencyFor(bool lowLatency, double rate);

class PulseDriver final : public AudioDriver {
  public:
    /// `sink` empty: the server's default sink, following it when the default changes.
    PulseDriver(std::string sink, bool lowLatency);
    ~PulseDriver() override;

    std::string name() const override { return "pulse"; }
    Result<AudioFormat, AudioError> open(OutputRenderer& renderer) override;
    Result<void, AudioError> start() override;
    void stop() override;
    std::uint32_t periodFrames() const override { return latency_.requestFrames; }
    OutputInUse outputInUse() const override { return inUse_; }
    std::uint64_t underruns() const override { return underruns_.load(); }

    // Called on the loop thread by libpulse.
    void streamStateChanged();
    void contextStateChanged();
    void writeRequested(std::size_t bytes);
    void underflowed() { underruns_.fetch_add(1, std::memory_order_relaxed); }

  private:
    void close();
    Result<void, AudioError> describeSink(double& rate);
    void reportLost(const char* reason);

    std::string sink_;
    bool lowLatency_;
    PulseConnection connection_;
    pa_stream* stream_ = nullptr;
    OutputRenderer* renderer_ = nullptr;
    PulseLatency latency_{};
    double rate_ = 48000;
    OutputInUse inUse_;
    std::vector<float> left_, right_;
    std::atomic<bool> running_{false};
    std::atomic<bool> lost_{false};
    std::atomic<std::uint64_t> underruns_{0};
    bool priorityRaised_ = false;
};

}  // namespace brellow::audio
