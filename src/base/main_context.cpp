#include "base/main_context.h"

#include <glib.h>

namespace brellow {

void postToMainContext(std::function<void()> job, GMainContext* context) {
    auto* owned = new std::function<void()>(std::move(job));
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
            (*static_cast<std::function<void()>*>(data))();
            return G_SOURCE_REMOVE;
        },
        owned, [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
    g_source_attach(source, context);
    g_source_unref(source);
}

}  // namespace brellow
