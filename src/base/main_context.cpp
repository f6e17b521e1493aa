#include "base/main_context.h"

#include <atomic>

namespace brellow {

namespace {

// A job on its way to the main context. GLib's own locking orders the handoff, but it is
// invisible to ThreadSanitizer (GLib's mutexes are futexes it does not see), so the job
// also publishes itself with a release store that the main context reads with acquire.
struct PostedJob {
    explicit PostedJob(std::function<void()> work) : job(std::move(work)) {
        published.store(true, std::memory_order_release);
    }
    std::function<void()> job;
    std::atomic<bool> published{false};

    void run() {
        if (published.load(std::memory_order_acquire)) job();
    }
};

}  // namespace

void postToMainContext(std::function<void()> job, GMainContext* context) {
    auto* posted = new PostedJob(std::move(job));
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
            static_cast<PostedJob*>(data)->run();
            return G_SOURCE_REMOVE;
        },
        posted,
        [](gpointer data) {
            auto* done = static_cast<PostedJob*>(data);
            (void)done->published.load(std::memory_order_acquire);
            delete done;
        });
    g_source_attach(source, context);
    g_source_unref(source);
}

}  // namespace brellow
