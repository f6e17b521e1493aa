#include "audio/drivers/system_output.h"

#include <cstdlib>

#include "audio/drivers/null_driver.h"
#include "audio/drivers/pulse_driver.h"
#include "audio/drivers/rtaudio_driver.h"

namespace brellow::audio {

namespace {

// "kind" or "kind:name".
std::pair<std::string, std::string> splitID(const std::string& id) {
    const auto colon = id.find(':');
    if (colon == std::string::npos) return {id, ""};
    return {id.substr(0, colon), id.substr(colon + 1)};
}

}  // namespace

DeviceDriverFactory systemDeviceDrivers(bool lowLatency) {
    return [lowLatency](const std::string& id) -> std::unique_ptr<AudioDriver> {
        const auto [kind, device] = splitID(id);
        if (kind == "pulse") return std::make_unique<PulseDriver>(device, lowLatency);
        const std::uint32_t period = lowLatency ? 128 : 256;
        if (kind == "jack" || kind == "alsa" || kind == "rtaudio-pulse") {
            return std::make_unique<RtAudioDriver>(kind, device, period);
        }
        return nullptr;
    };
}

std::vector<std::string> defaultOutputChain() {
    const char* forced = std::getenv("BRELLOW_AUDIO_API");  // NOLINT(concurrency-mt-unsafe)
    const std::string only = forced != nullptr ? forced : "";
    if (only == "pulse" || only == "jack" || only == "alsa" || only == "rtaudio-pulse") {
        return {only};
    }
    return {"pulse", "jack", "alsa"};
}

SystemOutputDriver::SystemOutputDriver() : SystemOutputDriver(Options{}) {}

SystemOutputDriver::SystemOutputDriver(Options options)
    : options_(std::move(options)), wanted_(options_.deviceID) {
    if (!options_.factory) options_.factory = systemDeviceDrivers(options_.lowLatency);
    if (options_.defaultChain.empty()) options_.defaultChain = defaultOutputChain();
    silent_ = options_.silent ? std::move(options_.silent) : std::make_unique<NullDriver>();
}

SystemOutputDriver::~SystemOutputDriver() {
    const std::lock_guard lock(mutex_);
    closeDevice();
}

AudioDriver* SystemOutputDriver::active() const {
    switch (mode_) {
        case Mode::chosen:
        case Mode::defaultOutput:
            return device_.get();
        case Mode::silent:
            return silent_.get();
        case Mode::closed:
            break;
    }
    return nullptr;
}

std::string SystemOutputDriver::name() const {
    const std::lock_guard lock(mutex_);
    const AudioDriver* driver = active();
    return driver != nullptr ? driver->name() : "none";
}

std::uint32_t SystemOutputDriver::periodFrames() const {
    const std::lock_guard lock(mutex_);
    const AudioDriver* driver = active();
    return driver != nullptr ? driver->periodFrames() : 256;
}

bool SystemOutputDriver::usingFallback() const {
    const std::lock_guard lock(mutex_);
    return mode_ == Mode::silent;
}

std::string SystemOutputDriver::chosenDevice() const {
    const std::lock_guard lock(mutex_);
    return wanted_;
}

OutputInUse SystemOutputDriver::outputInUse() const {
    const std::lock_guard lock(mutex_);
    switch (mode_) {
        case Mode::chosen:
            return device_->outputInUse();
        case Mode::defaultOutput:
            if (wanted_.empty()) return {};
            return {"", "Default output (" + missing_ + ")", true};
        case Mode::silent:
            return {"", "No audio output (" + missing_ + "); playing silently", true};
        case Mode::closed:
            break;
    }
    return {"", "No audio output", true};
}

void SystemOutputDriver::closeDevice() {
    if (mode_ == Mode::silent) silent_->stop();
    if (device_) {
        device_->stop();
        earlierUnderruns_ += device_->underruns();
        device_.reset();
    }
    mode_ = Mode::closed;
    started_ = false;
}

std::unique_ptr<AudioDriver> SystemOutputDriver::openDevice(const std::string& id,
                                                            AudioFormat& format,
                                                            std::string& error) {
    auto driver = options_.factory(id);
    if (!driver) {
        error = "unknown output " + id;
        return nullptr;
    }
    auto opened = driver->open(*this);
    if (!opened) {
        error = opened.error().message;
        return nullptr;
    }
    format = *opened;
    return driver;
}

Result<AudioFormat, AudioError> SystemOutputDriver::open(OutputRenderer& renderer) {
    const std::lock_guard lock(mutex_);
    closeDevice();
    engine_ = &renderer;
    reported_.store(false);
    missing_.clear();
    if (!wanted_.empty()) {
        std::string error;
        AudioFormat format;
        device_ = openDevice(wanted_, format, error);
        if (device_) {
            mode_ = Mode::chosen;
            return format;
        }
        missing_ = "output " + wanted_ + " is not available";
        log_.notice("Output %s not available (%s); playing on the default output", wanted_.c_str(),
                    error.c_str());
    }
    std::string errors;
    for (const std::string& id : options_.defaultChain) {
        std::string error;
        AudioFormat format;
        device_ = openDevice(id, format, error);
        if (device_) {
            mode_ = Mode::defaultOutput;
            return format;
        }
        errors += (errors.empty() ? "" : "; ") + error;
    }
    if (missing_.empty()) missing_ = errors;
    log_.notice("No audio output available (%s); playing to a silent output", errors.c_str());
    mode_ = Mode::silent;
    return silent_->open(*this);
}

Result<void, AudioError> SystemOutputDriver::start() {
    const std::lock_guard lock(mutex_);
    AudioDriver* driver = active();
    if (driver == nullptr) {
        return fail(AudioError{AudioError::Code::engineStartFailed, "The output is not open"});
    }
    auto started = driver->start();
    if (started) {
        started_ = true;
        startRenderCount_ = renderCount_.load();
        lastRenderCount_ = startRenderCount_;
        lastProgress_ = std::chrono::steady_clock::now();
    }
    return started;
}

void SystemOutputDriver::stop() {
    const std::lock_guard lock(mutex_);
    if (AudioDriver* driver = active()) driver->stop();
    started_ = false;
}

void SystemOutputDriver::renderOutput(float* left, float* right, std::uint32_t frames,
                                      std::uint64_t hostTime) {
    renderCount_.fetch_add(1, std::memory_order_relaxed);
    engine_->renderOutput(left, right, frames, hostTime);
}

void SystemOutputDriver::outputDisrupted(const std::string& reason) {
    // From a driver thread that may hold the driver's own lock: no mutex_ here.
    reportChanged(reason);
}

void SystemOutputDriver::reportChanged(const std::string& reason) {
    if (engine_ == nullptr || reported_.exchange(true)) return;
    engine_->outputDisrupted(reason);
}

void SystemOutputDriver::choose(const std::string& deviceID) {
    bool wasOpen = false;
    {
        const std::lock_guard lock(mutex_);
        if (deviceID == wanted_) return;
        wanted_ = deviceID;
        wasOpen = mode_ != Mode::closed;
        if (wasOpen) closeDevice();
    }
    log_.notice("Output set to %s", deviceID.empty() ? "the default output" : deviceID.c_str());
    if (wasOpen) reportChanged("output changed to " + deviceID);
}

bool SystemOutputDriver::wantsRetry() const {
    const std::lock_guard lock(mutex_);
    return mode_ == Mode::silent || (mode_ == Mode::defaultOutput && !wanted_.empty());
}

bool SystemOutputDriver::retryWanted() {
    std::string back;
    {
        const std::lock_guard lock(mutex_);
        const bool silent = mode_ == Mode::silent;
        if (!silent && !(mode_ == Mode::defaultOutput && !wanted_.empty())) return false;
        // The wanted device, or from silence whatever the default output can open now.
        std::vector<std::string> candidates;
        if (!wanted_.empty()) candidates.push_back(wanted_);
        if (silent) {
            candidates.insert(candidates.end(), options_.defaultChain.begin(),
                              options_.defaultChain.end());
        }
        for (const std::string& id : candidates) {
            std::string error;
            AudioFormat format;
            if (auto probe = openDevice(id, format, error)) {
                back = id;
                break;
            }
        }
        if (back.empty()) return false;
        closeDevice();
    }
    log_.notice("Output %s is available again; reopening", back.c_str());
    reportChanged("output " + back + " is available again");
    return true;
}

bool SystemOutputDriver::checkStalled(std::chrono::steady_clock::time_point now) {
    {
        const std::lock_guard lock(mutex_);
        if (!started_ || reported_.load()) return false;
        const std::uint64_t count = renderCount_.load(std::memory_order_relaxed);
        if (count != lastRenderCount_) {
            lastRenderCount_ = count;
            lastProgress_ = now;
            return false;
        }
        // A sink waking from suspend may take a while to ask for its first block; an output
        // that played and then fell quiet is noticed sooner.
        const auto limit = count == startRenderCount_ ? options_.startLimit : options_.stallLimit;
        if (now - lastProgress_ < limit) return false;
        log_.notice("Output %s stopped asking for audio; treating it as lost",
                    active() != nullptr ? active()->name().c_str() : "none");
        if (AudioDriver* driver = active()) driver->stop();
        started_ = false;
    }
    reportChanged("the output stopped asking for audio");
    return true;
}

std::uint64_t SystemOutputDriver::xrunCount() const {
    const std::lock_guard lock(mutex_);
    return earlierUnderruns_ + (device_ ? device_->underruns() : 0);
}

}  // namespace brellow::audio
