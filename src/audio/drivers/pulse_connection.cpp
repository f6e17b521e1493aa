#include "audio/drivers/pulse_connection.h"

#include <pulse/error.h>
#include <pulse/operation.h>

namespace brellow::audio {

namespace {

void contextStateChanged(pa_context* /*context*/, void* user) {
    static_cast<PulseConnection*>(user)->signal();
}

bool finalState(pa_context_state_t state) {
    return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
}

}  // namespace

PulseConnection::~PulseConnection() {
    disconnect();
}

std::string PulseConnection::lastError() const {
    if (context_ == nullptr) return "PulseAudio: not connected";
    return std::string("PulseAudio: ") + pa_strerror(pa_context_errno(context_));
}

Result<void, AudioError> PulseConnection::connect(const char* clientName) {
    disconnect();
    loop_ = pa_threaded_mainloop_new();
    if (loop_ == nullptr) {
        return fail(AudioError{AudioError::Code::deviceUnavailable, "PulseAudio: out of memory"});
    }
    context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), clientName);
    if (context_ == nullptr || pa_threaded_mainloop_start(loop_) < 0) {
        disconnect();
        return fail(
            AudioError{AudioError::Code::deviceUnavailable, "PulseAudio: cannot start the client"});
    }
    const Lock lock(*this);
    pa_context_set_state_callback(context_, &contextStateChanged, this);
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        return fail(AudioError{AudioError::Code::deviceUnavailable, lastError()});
    }
    while (!finalState(pa_context_get_state(context_)))
        pa_threaded_mainloop_wait(loop_);
    if (pa_context_get_state(context_) != PA_CONTEXT_READY) {
        return fail(AudioError{AudioError::Code::deviceUnavailable, lastError()});
    }
    return {};
}

bool PulseConnection::waitFor(pa_operation* operation) {
    if (operation == nullptr) return false;
    while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING &&
           PA_CONTEXT_IS_GOOD(pa_context_get_state(context_))) {
        pa_threaded_mainloop_wait(loop_);
    }
    const bool done = pa_operation_get_state(operation) == PA_OPERATION_DONE;
    pa_operation_unref(operation);
    return done;
}

void PulseConnection::disconnect() {
    if (loop_ != nullptr) pa_threaded_mainloop_stop(loop_);
    if (context_ != nullptr) {
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        context_ = nullptr;
    }
    if (loop_ != nullptr) {
        pa_threaded_mainloop_free(loop_);
        loop_ = nullptr;
    }
}

}  // namespace brellow::audio
