// brellow: the desktop application.
#include <csignal>
#include <cstring>

#include "app/app_delegate.h"
#include "base/log.h"

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
    app::AppDelegate delegate;
    return delegate.run(argc, argv);
}
