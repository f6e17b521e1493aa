#pragma once
// Why an engine operation failed: the engine's own cases, or the audio platform's error.
#include <string>
#include <variant>

#include "audio/graph/audio_error.h"
#include "base/uuid.h"

namespace brellow::audio {

struct EngineError {
    enum class Code { unknownSting, invalidTrim, bufferAllocFailed, unsupportedSampleFormat };
    Code code;
    Uuid stingID;  // unknownSting and invalidTrim
};

/// An engine operation's failure: its own error or the platform's, passed through.
struct EngineFailure {
    std::variant<EngineError, AudioError> cause;

    /// The description written to log lines.
    std::string description() const;
    const EngineError* engineError() const { return std::get_if<EngineError>(&cause); }
};

}  // namespace brellow::audio
