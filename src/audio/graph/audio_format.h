#pragma once
// Formats of audio data: sample rate, channels, sample type. Processing data is
// non-interleaved, one array per channel.
#include <cstdint>
#include <string>

namespace brellow::audio {

enum class SampleType { float32, int16 };

struct AudioFormat {
    double sampleRate = 0;
    std::uint32_t channelCount = 0;
    SampleType sampleType = SampleType::float32;

    /// Bytes of one frame of one channel's array (non-interleaved data counts one channel).
    std::uint32_t bytesPerFrame() const { return sampleType == SampleType::float32 ? 4 : 2; }

    /// "<2 ch, 48000 Hz, Float32, non-inter>", for log lines.
    std::string description() const;

    friend bool operator==(const AudioFormat&, const AudioFormat&) = default;
};

/// A point on an audio timeline: frames at a rate, and the host clock time of that frame.
struct AudioTime {
    std::int64_t sampleTime = 0;
    double sampleRate = 0;
    std::uint64_t hostTime = 0;
};

}  // namespace brellow::audio
