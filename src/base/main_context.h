#pragma once
// Jobs for the GLib main context: the one thread that owns documents, bridges and windows.
#include <functional>

#include <glib.h>

namespace brellow {

/// Queues `job` to run on `context` (the global default context when null) after the caller
/// returns, even when the caller is already on that context. Jobs posted from one thread run
/// in the order they were posted. Safe to call from any thread.
void postToMainContext(std::function<void()> job, GMainContext* context = nullptr);

}  // namespace brellow
