#include "audio/graph/audio_format.h"

#include <cmath>
#include <cstdio>

namespace brellow::audio {

std::string AudioFormat::description() const {
    char text[96];
    std::snprintf(text, sizeof text, "<%u ch, %g Hz, %s, non-inter>", channelCount, sampleRate,
                  sampleType == SampleType::float32 ? "Float32" : "Int16");
    return text;
}

}  // namespace brellow::audio
