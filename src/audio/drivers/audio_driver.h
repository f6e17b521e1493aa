#pragma once
// An audio output: it asks its renderer for stereo blocks at its own pace and says when the
// output went away.
#include <cstdint>
#include <functional>
#include <string>

#include "audio/graph/audio_error.h"
#include "audio/graph/audio_format.h"
#include "base/result.h"

namespace brellow::audio {

class OutputRenderer {
  public:
    virtual ~OutputRenderer() = default;
    /// Render thread: fill `frames` frames of both channels; the first frame is heard at
    /// `hostTime`.
    virtual void renderOutput(float* left, float* right, std::uint32_t frames,
                              std::uint64_t hostTime) = 0;
    /// Called once, on any thread, after the driver stopped because its output was lost or
    /// changed; no render call follows until the next start.
    virtual void outputDisrupted(const std::string& reason) = 0;
};

/// What an output actually plays to, as the page is told about it.
struct OutputInUse {
    std::string deviceUID;  // empty for the system's default output
    std::string deviceName = "Default output";
    bool fellBack = true;  // false only when the chosen device plays
};

class AudioDriver {
  public:
    virtual ~AudioDriver() = default;

    /// A short name for log lines: "pulse", "alsa", "jack", "null", "offline".
    virtual std::string name() const = 0;

    /// Opens the output and returns its format (stereo, float, at the device rate).
    virtual Result<AudioFormat, AudioError> open(OutputRenderer& renderer) = 0;
    virtual Result<void, AudioError> start() = 0;
    /// Stops and waits until no render call is running.
    virtual void stop() = 0;
    /// Frames per render call.
    virtual std::uint32_t periodFrames() const = 0;
    /// Plays on `deviceID` from now on ("" for the default output); an open output reports
    /// itself disrupted so the engine reopens it. Outputs without devices ignore it.
    virtual void choose(const std::string& /*deviceID*/) {}
    /// The device in use since the last open.
    virtual OutputInUse outputInUse() const { return {}; }
    /// Underruns (xruns) counted since the driver was made; read from any thread.
    virtual std::uint64_t underruns() const { return 0; }
};

}  // namespace brellow::audio
