#include <glib-unix.h>

#include <csignal>
#include <cstdio>

#include "serve/show_server.h"

namespace brellow::serve {

int runServe(const std::vector<std::string>& args) {
    auto options = parseServeArguments(args);
    if (!options) {
        std::fprintf(stderr, "brellow --serve: %s\n", options.error().c_str());
        std::fputs(
            "usage: brellow --serve [PKG] [--listen ADDR:PORT] [--upload-limit-mb N] "
            "[--device ID]\n",
            stderr);
        return 2;
    }
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    int status = 0;
    {
        ShowServer server(*options);
        auto address = server.start();
        if (!address) {
            std::fprintf(stderr, "brellow --serve: %s\n", address.error().c_str());
            g_main_loop_unref(loop);
            return 1;
        }
        server.onQuit = [loop] { g_main_loop_quit(loop); };
        auto stop = [](gpointer data) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(data));
            return G_SOURCE_REMOVE;
        };
        g_unix_signal_add(SIGINT, stop, loop);
        g_unix_signal_add(SIGTERM, stop, loop);
        std::printf(
            "Brellow is serving its show at\n\n    %s\n\n"
            "Open that address in a browser (it carries the access key). "
            "Ctrl+C saves and stops.\n",
            address->c_str());
        std::fflush(stdout);
        g_main_loop_run(loop);
        server.save();
        std::printf("Saved. Goodbye.\n");
    }
    g_main_loop_unref(loop);
    return status;
}

}  // namespace brellow::serve
