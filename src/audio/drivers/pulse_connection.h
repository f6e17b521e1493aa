#pragma once
// A connection to the PulseAudio server (or PipeWire's PulseAudio service) on its own threaded
// main loop. Every libpulse call on the context must hold the loop's lock (Lock) unless it runs
// in one of the loop's callbacks, which hold it already.
#include <pulse/context.h>
#include <pulse/thread-mainloop.h>

#include <string>

#include "audio/graph/audio_error.h"
#include "base/result.h"

namespace brellow::audio {

class PulseConnection {
  public:
    PulseConnection() = default;
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    /// Connects without starting a server; fails at once when none answers.
    Result<void, AudioError> connect(const char* clientName);
    void disconnect();

    pa_context* context() const { return context_; }
    pa_threaded_mainloop* loop() const { return loop_; }
    /// Wakes whoever waits in waitFor (call from a loop callback).
    void signal() { pa_threaded_mainloop_signal(loop_, 0); }
    /// Waits, holding the lock, until the operation is done; false when the connection failed.
    bool waitFor(pa_operation* operation);
    std::string lastError() const;

    class Lock {
      public:
        explicit Lock(const PulseConnection& connection) : loop_(connection.loop_) {
            pa_threaded_mainloop_lock(loop_);
        }
        ~Lock() { pa_threaded_mainloop_unlock(loop_); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

      private:
        pa_threaded_mainloop* loop_;
    };

  private:
    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
};

}  // namespace brellow::audio
