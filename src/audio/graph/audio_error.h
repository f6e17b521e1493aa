#pragma once
// Errors of the audio platform layer: files, devices, engine start.
#include <string>

namespace brellow::audio {

struct AudioError {
    enum class Code { fileOpenFailed, fileReadFailed, deviceUnavailable, engineStartFailed };
    Code code = Code::fileOpenFailed;
    std::string message;  // the localized description shown in log lines
};

}  // namespace brellow::audio
