#include "audio/engine/engine_error.h"

namespace brellow::audio {

std::string EngineFailure::description() const {
    if (const auto* platform = std::get_if<AudioError>(&cause)) return platform->message;
    const auto& error = std::get<EngineError>(cause);
    const char* name = "unknownSting";
    switch (error.code) {
        case EngineError::Code::unknownSting:
            name = "unknownSting";
            break;
        case EngineError::Code::invalidTrim:
            name = "invalidTrim";
            break;
        case EngineError::Code::bufferAllocFailed:
            name = "bufferAllocFailed";
            break;
        case EngineError::Code::unsupportedSampleFormat:
            name = "unsupportedSampleFormat";
            break;
    }
    std::string text = std::string("The operation couldn’t be completed. (EngineError.") + name;
    if (error.code == EngineError::Code::unknownSting ||
        error.code == EngineError::Code::invalidTrim) {
        text += " " + error.stingID.toString();
    }
    return text + ")";
}

}  // namespace brellow::audio
