// brellow-cli check-updates: one check of the update feed, as the user's menu item does it.
#include <glib.h>

#include <iostream>

#include "cli/cli.h"
#include "updates/update_checker.h"

namespace brellow::cli {

int runCheckUpdates(const Arguments& args) {
    updates::UpdatesConfig config;
    config.currentVersion = BRELLOW_VERSION;
    config.systemVersion = updates::systemVersion();
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--feed" && i + 1 < args.size()) {
            config.feedURL = args[++i];
        } else if (args[i] == "--version" && i + 1 < args.size()) {
            config.currentVersion = args[++i];
        } else if (args[i] == "--channel" && i + 1 < args.size()) {
            config.channel = args[++i];
        } else if (args[i] == "--timeout" && i + 1 < args.size()) {
            config.timeoutSec = static_cast<unsigned>(std::max(1, std::atoi(args[++i].c_str())));
        } else {
            return complain(
                kExitUsage,
                "check-updates: expected [--feed URL] [--version V] [--channel C] [--timeout SEC]");
        }
    }
    std::optional<updates::UpdateResult> result;
    updates::checkFeed(config, [&](updates::UpdateResult found) { result = std::move(found); });
    while (!result)
        g_main_context_iteration(nullptr, TRUE);
    std::cout << updates::describe(*result) << '\n';
    return std::holds_alternative<updates::CheckFailed>(*result) ? kExitFailed : kExitOk;
}

}  // namespace brellow::cli
