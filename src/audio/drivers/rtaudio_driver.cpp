#include "audio/drivers/rtaudio_driver.h"

#include <alsa/asoundlib.h>
#include <rtaudio/RtAudio.h>

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "audio/graph/host_clock.h"

namespace brellow::audio {

namespace {

// RtAudio's error callback carries no user data; it runs on the thread that hit the error,
// which is either the thread opening a stream or that stream's callback thread.
thread_local RtAudioDriver* currentDriver = nullptr;

// Asks for real-time scheduling once per callback thread; without the right (rtkit or
// limits) the thread keeps its normal priority.
void raisePriorityOnce() {
    thread_local bool raised = false;
    if (raised) return;
    raised = true;
    sched_param parameters{};
    parameters.sched_priority = std::min(sched_get_priority_max(SCHED_FIFO), 70);
    (void)pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
}

int rtCallback(void* output, void* /*input*/, unsigned int frames, double /*time*/,
               RtAudioStreamStatus status, void* user) {
    auto* driver = static_cast<RtAudioDriver*>(user);
    currentDriver = driver;
    raisePriorityOnce();
    return driver->renderCallback(static_cast<float*>(output), frames,
                                  (status & RTAUDIO_OUTPUT_UNDERFLOW) != 0);
}

// alsa-lib prints its own complaints to stderr while RtAudio probes; ours go to the log.
void quietAlsa(const char*, int, const char*, int, const char*, ...) {}

void rtError(RtAudioError::Type type, const std::string& text) {
    if (currentDriver != nullptr) currentDriver->errorCallback(static_cast<int>(type), text);
}

RtAudio::Api apiNamed(const std::string& api) {
    if (api == "jack") return RtAudio::UNIX_JACK;
    if (api == "rtaudio-pulse") return RtAudio::LINUX_PULSE;
    return RtAudio::LINUX_ALSA;
}

}  // namespace

RtAudioDriver::RtAudioDriver(std::string api, std::string device, std::uint32_t preferredPeriod)
    : api_(std::move(api)), device_(std::move(device)), preferredPeriod_(preferredPeriod) {
    snd_lib_error_set_handler(&quietAlsa);
}

RtAudioDriver::~RtAudioDriver() {
    close();
}

void RtAudioDriver::close() {
    if (!audio_) return;
    if (audio_->isStreamRunning()) audio_->abortStream();
    if (audio_->isStreamOpen()) audio_->closeStream();
    audio_.reset();
}

void RtAudioDriver::errorCallback(int type, const std::string& text) {
    lastError_ = text;
    // An ALSA underrun is reported as a write error too; RtAudio recovers from it itself.
    if (text.find("underrun") != std::string::npos) {
        underruns_.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    const bool fatal =
        type != RtAudioError::WARNING || text.find("write error") != std::string::npos;
    if (fatal && renderer_ != nullptr && audio_ && audio_->isStreamRunning()) {
        lostReason_ = text;
        lost_.store(true, std::memory_order_release);
    }
}

int RtAudioDriver::renderCallback(float* output, unsigned int frames, bool underflowed) {
    if (underflowed) underruns_.fetch_add(1, std::memory_order_relaxed);
    if (lost_.load(std::memory_order_acquire)) {
        std::fill_n(output, std::size_t{frames} * 2, 0.0f);
        if (!reported_.exchange(true)) renderer_->outputDisrupted(lostReason_);
        return 2;  // RtAudio aborts the stream; no further callback comes
    }
    // Non-interleaved: all left frames, then all right frames. The first frame is heard
    // after what the server already holds, about one period.
    const std::uint64_t heardAt =
        MonotonicClock::shared().now() +
        static_cast<std::uint64_t>(static_cast<double>(latency_ + frames) * 1e9 / sampleRate_);
    renderer_->renderOutput(output, output + frames, frames, heardAt);
    return 0;
}

bool RtAudioDriver::tryOpen(int api, OutputRenderer& renderer, std::string& error) {
    close();
    audio_ = std::make_unique<RtAudio>(static_cast<RtAudio::Api>(api));
    audio_->showWarnings(false);
    currentDriver = this;
    lastError_.clear();
    if (audio_->getDeviceCount() == 0) {
        error = RtAudio::getApiDisplayName(static_cast<RtAudio::Api>(api)) + ": no output device";
        return false;
    }
    RtAudio::StreamParameters parameters;
    parameters.deviceId = audio_->getDefaultOutputDevice();
    if (!device_.empty()) {
        bool found = false;
        for (unsigned int i = 0; i < audio_->getDeviceCount() && !found; ++i) {
            if (audio_->getDeviceInfo(i).name == device_) {
                parameters.deviceId = i;
                found = true;
            }
        }
        if (!found) {
            error = RtAudio::getApiDisplayName(static_cast<RtAudio::Api>(api)) +
                    ": no device named " + device_;
            return false;
        }
    }
    parameters.nChannels = 2;
    const RtAudio::DeviceInfo info = audio_->getDeviceInfo(parameters.deviceId);
    const unsigned int rate = info.preferredSampleRate > 0 ? info.preferredSampleRate : 48000;
    RtAudio::StreamOptions options;
    options.flags = RTAUDIO_NONINTERLEAVED | RTAUDIO_MINIMIZE_LATENCY | RTAUDIO_ALSA_USE_DEFAULT;
    options.numberOfBuffers = 4;
    options.streamName = "Brellow";
    unsigned int period = preferredPeriod_;
    renderer_ = &renderer;
    audio_->openStream(&parameters, nullptr, RTAUDIO_FLOAT32, rate, &period, &rtCallback, this,
                       &options, &rtError);
    currentDriver = nullptr;
    if (!audio_->isStreamOpen()) {
        error = RtAudio::getApiDisplayName(static_cast<RtAudio::Api>(api)) + ": " +
                (lastError_.empty() ? "cannot open the output" : lastError_);
        return false;
    }
    period_ = period;
    sampleRate_ = audio_->getStreamSampleRate();
    latency_ = audio_->getStreamLatency();
    apiName_ = api_ == "rtaudio-pulse" ? api_ : RtAudio::getApiName(static_cast<RtAudio::Api>(api));
    inUse_ = device_.empty() ? OutputInUse{} : OutputInUse{api_ + ":" + device_, device_, false};
    return true;
}

Result<AudioFormat, AudioError> RtAudioDriver::open(OutputRenderer& renderer) {
    std::string error;
    try {
        if (tryOpen(apiNamed(api_), renderer, error)) {
            lost_.store(false);
            reported_.store(false);
            return AudioFormat{sampleRate_, 2, SampleType::float32};
        }
    } catch (const RtAudioError& failure) {
        error = failure.getMessage();
    }
    close();
    return fail(AudioError{AudioError::Code::deviceUnavailable, error});
}

Result<void, AudioError> RtAudioDriver::start() {
    if (!audio_ || !audio_->isStreamOpen()) {
        return fail(AudioError{AudioError::Code::engineStartFailed, "The output is not open"});
    }
    if (audio_->isStreamRunning()) return {};
    lastError_.clear();
    currentDriver = this;
    audio_->startStream();
    currentDriver = nullptr;
    if (!audio_->isStreamRunning()) {
        return fail(AudioError{AudioError::Code::engineStartFailed,
                               lastError_.empty() ? "The output did not start" : lastError_});
    }
    return {};
}

void RtAudioDriver::stop() {
    if (!audio_) return;
    if (audio_->isStreamRunning()) audio_->stopStream();
    // A lost stream is closed so that the next open starts afresh.
    if (lost_.load()) close();
}

}  // namespace brellow::audio
