#include <glib.h>

#include "bridge/web_host.h"

namespace brellow::bridge {

unsigned GLibTickTimers::start(unsigned intervalMs, std::function<void()> tick) {
    auto* owned = new std::function<void()>(std::move(tick));
    return g_timeout_add_full(
        G_PRIORITY_DEFAULT, intervalMs,
        [](gpointer data) -> gboolean {
            (*static_cast<std::function<void()>*>(data))();
            return G_SOURCE_CONTINUE;
        },
        owned, [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
}

void GLibTickTimers::cancel(unsigned timer) {
    if (timer != 0) g_source_remove(timer);
}

}  // namespace brellow::bridge
