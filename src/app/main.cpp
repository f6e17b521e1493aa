// brellow: the desktop application, or with --serve the show served to browsers.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <string>
#include <vector>

#include "app/app_delegate.h"
#include "base/log.h"
#include "serve/show_server.h"

namespace {

constexpr const char* kUsage =
    "usage: brellow [PKG.stingshow...]\n"
    "       brellow --serve [PKG.stingshow] [--listen ADDR:PORT] [--upload-limit-mb N]\n"
    "       brellow --help | --version\n"
    "\n"
    "Without --serve, opens the shows given (an untitled show when none is) in the desktop\n"
    "application; a second launch hands its shows to the running one. When the last show\n"
    "window closes, a start window stays until it is closed too.\n"
    "\n"
    "  --serve               run the show without a window and serve its page to browsers; prints\n"
    "                        an address carrying this run's access key. Ctrl+C saves and stops.\n"
    "  --listen ADDR:PORT    where --serve listens (default 127.0.0.1:8731; 0.0.0.0:8731 for\n"
    "                        the local network, [::1]:8731 for IPv6)\n"
    "  --upload-limit-mb N   largest audio file a browser may upload with --serve (default 512)\n"
    "  --help                print this help\n"
    "  --version             print the version\n"
    "\n"
    "Environment: BRELLOW_LOG=stderr writes log lines to stderr instead of the journal;\n"
    "BRELLOW_AUDIO_API=pulse|jack|alsa picks the audio system.\n"
    "See also brellow-cli(1) for building, checking and rendering shows from a terminal.\n";

bool asks(int argc, char** argv, const char* option) {
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], option) == 0) return true;
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace brellow;
    // Answered before anything starts: no display, audio or bus is needed for these.
    if (asks(argc, argv, "--help") || asks(argc, argv, "-h")) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (asks(argc, argv, "--version")) {
        std::printf("brellow %s\n", BRELLOW_VERSION);
        return 0;
    }
    // A write past a file-size limit fails with an error we report, instead of ending us.
    std::signal(SIGXFSZ, SIG_IGN);
    const char* destination = std::getenv("BRELLOW_LOG");  // NOLINT(concurrency-mt-unsafe)
    const bool toStderr = destination != nullptr && std::strcmp(destination, "stderr") == 0;
    if (toStderr || !JournalLogSink::journalAvailable()) {
        logging::setSinks({std::make_shared<StderrLogSink>()});
    } else {
        logging::setSinks({std::make_shared<JournalLogSink>()});
    }
    // brellow --serve [PKG] ...: the same show served to browsers, without a display.
    if (argc > 1 && std::strcmp(argv[1], "--serve") == 0)
        return serve::runServe(std::vector<std::string>(argv + 2, argv + argc));
    app::AppDelegate delegate;
    return delegate.run(argc, argv);
}
