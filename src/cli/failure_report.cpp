#include "cli/failure_report.h"

#include "cli/cli.h"

namespace brellow::cli {

namespace {

std::string quoted(const std::string& name) {
    return "\u201c" + name + "\u201d";
}

std::string explainEngineError(const Sting& sting, const std::filesystem::path& package,
                               const audio::EngineError& error) {
    const std::filesystem::path media = package / "Media" / sting.mediaFilename;
    const std::string reimport = "re-import its audio (brellow-cli import " + package.string() +
                                 " FILE) or restore the package from a backup";
    switch (error.code) {
        case audio::EngineError::Code::unknownSting: {
            std::error_code ignored;
            if (!std::filesystem::exists(media, ignored))
                return "its media file " + media.string() + " is missing; " + reimport;
            return "its media file " + media.string() +
                   " could not be loaded (damaged or unreadable); " + reimport +
                   ". Run with --verbose for the details";
        }
        case audio::EngineError::Code::invalidTrim:
            return "its trim points lie outside its audio or end before they start; set them "
                   "again (brellow-cli edit " +
                   package.string() + " setTrim ...)";
        case audio::EngineError::Code::bufferAllocFailed:
            return "there was not enough memory to play it; close other programs and try again";
        case audio::EngineError::Code::unsupportedSampleFormat:
            return "its media file " + media.string() +
                   " is in a sample format that cannot be played; " + reimport;
    }
    return "the audio engine refused it";
}

}  // namespace

std::string explainPlayFailure(const Sting& sting, const std::filesystem::path& package,
                               const audio::EngineFailure& failure) {
    std::string reason;
    if (const auto* engine = failure.engineError()) {
        reason = explainEngineError(sting, package, *engine);
    } else {
        reason = "the audio output failed (" + failure.description() +
                 "); check the sound device and try again";
    }
    return "sting " + quoted(sting.name) + " did not play: " + reason + ".";
}

void FailureReport::stingFailed(const Sting& sting, const audio::EngineFailure& failure) {
    ++count_;
    complain(kExitFailed, explainPlayFailure(sting, package_, failure));
}

void FailureReport::failed(const std::string& verb, const std::string& message) {
    ++count_;
    complain(kExitFailed, verb + ": " + message);
}

}  // namespace brellow::cli
