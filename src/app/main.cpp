// brellow: the desktop application, or with --serve the show served to browsers.
#include <csignal>
#include <cstring>

#include <string>
#include <vector>

#include "app/app_delegate.h"
#include "base/log.h"
#include "serve/show_server.h"

int main(int argc, char** argv) {
    using namespace brellow;
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
