#include "audio/drivers/system_output.h"

#include "audio/drivers/null_driver.h"
#include "audio/drivers/rtaudio_driver.h"

namespace brellow::audio {

SystemOutputDriver::SystemOutputDriver()
    : device_(std::make_unique<RtAudioDriver>()), fallback_(std::make_unique<NullDriver>()) {}

SystemOutputDriver::~SystemOutputDriver() = default;

std::string SystemOutputDriver::name() const {
    return active_ ? active_->name() : "none";
}

std::uint32_t SystemOutputDriver::periodFrames() const {
    return active_ ? active_->periodFrames() : 256;
}

Result<AudioFormat, AudioError> SystemOutputDriver::open(OutputRenderer& renderer) {
    auto format = device_->open(renderer);
    if (format) {
        active_ = device_.get();
        return format;
    }
    log_.notice("No audio output available (%s); playing to a silent output",
                format.error().message.c_str());
    active_ = fallback_.get();
    return fallback_->open(renderer);
}

Result<void, AudioError> SystemOutputDriver::start() {
    if (active_ == nullptr) {
        return fail(AudioError{AudioError::Code::engineStartFailed, "The output is not open"});
    }
    return active_->start();
}

void SystemOutputDriver::stop() {
    if (active_ != nullptr) active_->stop();
}

}  // namespace brellow::audio
