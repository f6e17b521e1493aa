#include "audio/drivers/pulse_driver.h"

#include <pulse/introspect.h>
#include <pulse/stream.h>

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <cstring>

#include "audio/graph/host_clock.h"

namespace brellow::audio {

namespace {

constexpr std::size_t kFrameBytes = 2 * sizeof(float);
constexpr std::uint32_t kMaxRenderFrames = 8192;

void onStreamState(pa_stream* /*stream*/, void* user) {
    static_cast<PulseDriver*>(user)->streamStateChanged();
}

void onContextState(pa_context* /*context*/, void* user) {
    static_cast<PulseDriver*>(user)->contextStateChanged();
}

void onWrite(pa_stream* /*stream*/, std::size_t bytes, void* user) {
    static_cast<PulseDriver*>(user)->writeRequested(bytes);
}

void onUnderflow(pa_stream* /*stream*/, void* user) {
    static_cast<PulseDriver*>(user)->underflowed();
}

struct SinkQuery {
    PulseConnection* connection;
    bool found = false;
    std::uint32_t rate = 0;
    std::string name, description;
};

void onSinkInfo(pa_context* /*context*/, const pa_sink_info* info, int eol, void* user) {
    auto* query = static_cast<SinkQuery*>(user);
    if (eol == 0 && info != nullptr) {
        query->found = true;
        query->rate = info->sample_spec.rate;
        query->name = info->name != nullptr ? info->name : "";
        query->description = info->description != nullptr ? info->description : query->name;
    }
    query->connection->signal();
}

void onOperationDone(pa_stream* /*stream*/, int /*success*/, void* user) {
    static_cast<PulseConnection*>(user)->signal();
}

}  // namespace

PulseLatency pulseLatencyFor(bool lowLatency, double rate) {
    // At 48 kHz: 10 ms ahead in 2.7 ms requests normally, 3.3 ms in 1 ms requests for low
    // latency (bench/output_latency). The server lowers its sink's latency to match.
    const double scale = rate / 48000.0;
    const std::uint32_t target = lowLatency ? 160 : 480;
    const std::uint32_t request = lowLatency ? 48 : 128;
    return {std::max<std::uint32_t>(16, static_cast<std::uint32_t>(target * scale)),
            std::max<std::uint32_t>(8, static_cast<std::uint32_t>(request * scale))};
}

PulseDriver::PulseDriver(std::string sink, bool lowLatency)
    : sink_(std::move(sink)),
      lowLatency_(lowLatency),
      left_(kMaxRenderFrames),
      right_(kMaxRenderFrames) {}

PulseDriver::~PulseDriver() {
    close();
}

void PulseDriver::close() {
    if (connection_.loop() == nullptr) return;
    {
        const PulseConnection::Lock lock(connection_);
        running_.store(false);
        if (stream_ != nullptr) {
            pa_stream_set_state_callback(stream_, nullptr, nullptr);
            pa_stream_set_write_callback(stream_, nullptr, nullptr);
            pa_stream_set_underflow_callback(stream_, nullptr, nullptr);
            pa_stream_disconnect(stream_);
            pa_stream_unref(stream_);
            stream_ = nullptr;
        }
        pa_context_set_state_callback(connection_.context(), nullptr, nullptr);
    }
    connection_.disconnect();
}

Result<void, AudioError> PulseDriver::describeSink(double& rate) {
    SinkQuery query{&connection_, false, 0, {}, {}};
    const char* name = sink_.empty() ? "@DEFAULT_SINK@" : sink_.c_str();
    if (!connection_.waitFor(
            pa_context_get_sink_info_by_name(connection_.context(), name, &onSinkInfo, &query)) ||
        !query.found) {
        if (!sink_.empty()) {
            return fail(AudioError{AudioError::Code::deviceUnavailable,
                                   "PulseAudio: no sink named " + sink_});
        }
        return fail(AudioError{AudioError::Code::deviceUnavailable, "PulseAudio: no sink"});
    }
    rate = query.rate > 0 ? query.rate : 48000;
    inUse_ = sink_.empty() ? OutputInUse{}
                           : OutputInUse{"pulse:" + query.name, query.description, false};
    return {};
}

Result<AudioFormat, AudioError> PulseDriver::open(OutputRenderer& renderer) {
    close();
    renderer_ = &renderer;
    lost_.store(false);
    if (auto connected = connection_.connect("Brellow"); !connected) return fail(connected.error());
    const PulseConnection::Lock lock(connection_);
    pa_context_set_state_callback(connection_.context(), &onContextState, this);
    if (auto described = describeSink(rate_); !described) return fail(described.error());

    const pa_sample_spec sampleFormat{PA_SAMPLE_FLOAT32LE, static_cast<std::uint32_t>(rate_), 2};
    stream_ = pa_stream_new(connection_.context(), "Brellow", &sampleFormat, nullptr);
    if (stream_ == nullptr) {
        return fail(AudioError{AudioError::Code::deviceUnavailable, connection_.lastError()});
    }
    pa_stream_set_state_callback(stream_, &onStreamState, this);
    pa_stream_set_write_callback(stream_, &onWrite, this);
    pa_stream_set_underflow_callback(stream_, &onUnderflow, this);

    latency_ = pulseLatencyFor(lowLatency_, rate_);
    const auto none = static_cast<std::uint32_t>(-1);
    const pa_buffer_attr attr{
        none, static_cast<std::uint32_t>(latency_.targetFrames * kFrameBytes), none,
        static_cast<std::uint32_t>(latency_.requestFrames * kFrameBytes), none};
    // A chosen sink is kept (a vanished one fails the stream, so the engine falls back
    // visibly); the default output follows the server's default sink.
    auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_START_CORKED |
                                       PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_AUTO_TIMING_UPDATE);
    if (!sink_.empty()) flags = static_cast<pa_stream_flags_t>(flags | PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_playback(stream_, sink_.empty() ? nullptr : sink_.c_str(), &attr, flags,
                                   nullptr, nullptr) < 0) {
        return fail(AudioError{AudioError::Code::deviceUnavailable, connection_.lastError()});
    }
    while (pa_stream_get_state(stream_) == PA_STREAM_CREATING)
        pa_threaded_mainloop_wait(connection_.loop());
    if (pa_stream_get_state(stream_) != PA_STREAM_READY) {
        return fail(AudioError{AudioError::Code::deviceUnavailable,
                               connection_.lastError() + " (the sink refused the stream format)"});
    }
    if (const pa_buffer_attr* granted = pa_stream_get_buffer_attr(stream_)) {
        latency_.requestFrames =
            std::max<std::uint32_t>(1, static_cast<std::uint32_t>(granted->minreq / kFrameBytes));
    }
    return AudioFormat{rate_, 2, SampleType::float32};
}

Result<void, AudioError> PulseDriver::start() {
    if (stream_ == nullptr || lost_.load()) {
        return fail(AudioError{AudioError::Code::engineStartFailed, "The output is not open"});
    }
    const PulseConnection::Lock lock(connection_);
    running_.store(true);
    if (!connection_.waitFor(pa_stream_cork(stream_, 0, &onOperationDone, &connection_))) {
        running_.store(false);
        return fail(AudioError{AudioError::Code::engineStartFailed, connection_.lastError()});
    }
    return {};
}

void PulseDriver::stop() {
    if (stream_ == nullptr) return;
    // Write callbacks run under the loop's lock: once this returns none renders any more.
    const PulseConnection::Lock lock(connection_);
    running_.store(false);
    if (!lost_.load()) {
        (void)connection_.waitFor(pa_stream_cork(stream_, 1, &onOperationDone, &connection_));
    }
}

void PulseDriver::reportLost(const char* reason) {
    if (renderer_ == nullptr || lost_.exchange(true)) return;
    running_.store(false);
    renderer_->outputDisrupted(reason);
}

void PulseDriver::streamStateChanged() {
    const pa_stream_state_t state = pa_stream_get_state(stream_);
    if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED) {
        reportLost("PulseAudio: the stream to the sink ended");
    }
    connection_.signal();
}

void PulseDriver::contextStateChanged() {
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(connection_.context()))) {
        reportLost("PulseAudio: the connection to the server was lost");
    }
    connection_.signal();
}

void PulseDriver::writeRequested(std::size_t bytes) {
    if (!priorityRaised_) {
        // Real-time scheduling where the system allows it (limits or root); otherwise the
        // loop thread keeps its normal priority.
        priorityRaised_ = true;
        sched_param parameters{};
        parameters.sched_priority = std::min(sched_get_priority_max(SCHED_FIFO), 70);
        (void)pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
    }
    while (bytes >= kFrameBytes) {
        void* data = nullptr;
        std::size_t size = bytes;
        if (pa_stream_begin_write(stream_, &data, &size) < 0 || data == nullptr) return;
        const auto frames =
            static_cast<std::uint32_t>(std::min<std::size_t>(size / kFrameBytes, kMaxRenderFrames));
        if (frames == 0) return;
        auto* out = static_cast<float*>(data);
        if (running_.load(std::memory_order_acquire)) {
            // What is queued ahead plays first, then this block.
            pa_usec_t ahead = 0;
            int negative = 0;
            if (pa_stream_get_latency(stream_, &ahead, &negative) < 0 || negative != 0) {
                ahead = static_cast<pa_usec_t>(latency_.targetFrames * 1e6 / rate_);
            }
            const std::uint64_t heardAt = MonotonicClock::shared().now() + ahead * 1000;
            renderer_->renderOutput(left_.data(), right_.data(), frames, heardAt);
            for (std::size_t f = 0; f < frames; ++f) {
                out[2 * f] = left_[f];
                out[2 * f + 1] = right_[f];
            }
        } else {
            std::memset(out, 0, std::size_t{frames} * kFrameBytes);
        }
        if (pa_stream_write(stream_, data, std::size_t{frames} * kFrameBytes, nullptr, 0,
                            PA_SEEK_RELATIVE) < 0) {
            return;  // the stream failed; its state callback reports the loss
        }
        bytes -= std::size_t{frames} * kFrameBytes;
    }
}

}  // namespace brellow::audio
