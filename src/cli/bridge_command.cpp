// brellow-cli bridge: the page protocol without a page. Lines on stdin are messages as the page
// would post them ("HANDLER JSON"), "wait MS" (virtual time passes: audio renders, timers and
// ticks fire) or "save"; every script the bridge evaluates is printed, one per line.
#include <glib.h>

#include <cstdio>
#include <iostream>

#include "audio/drivers/offline_driver.h"
#include "bridge/bootstrap_script.h"
#include "bridge/brellow_bridge.h"
#include "bridge/scripted_web_host.h"
#include "cli/cli.h"
#include "cli/engine_session.h"

namespace brellow::cli {

int runBridge(const Arguments& args) {
    if (args.size() != 1) return complain(kExitUsage, "bridge: expected PKG");
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    audio::VirtualClock clock;
    audio::ManualExecutor executor(clock);
    auto offline = audio::makeOfflineEngine(clock, executor, 48000, /*capture=*/false);
    auto engine = offline.engine;
    audio::OfflineDriver& driver = *offline.driver;

    // Everything settles when neither the main context nor the engine has work left.
    auto settle = [&] {
        do {
            while (g_main_context_iteration(nullptr, FALSE)) {
            }
            executor.runUntilIdle();
        } while (g_main_context_pending(nullptr));
    };
    auto document = std::make_shared<ShowDocument>();
    if (!openWithEngine(*document, args[0], engine, settle)) return kExitFailed;

    auto host = std::make_shared<bridge::ScriptedWebHost>();
    host->onScript = [](const std::string& script) { std::printf("%s\n", script.c_str()); };
    bridge::ManualTickTimers timers([&] { return clock.now(); });
    auto bridge = bridge::BrellowBridge::create(host, document, engine, timers);
    bridge->installHandlers(*host);
    bridge->registerEngineObserver();  // as the window does once the page has loaded
    bridge->startPlayheadTimer();
    settle();

    std::string line;
    while (std::getline(std::cin, line)) {
        if (line.empty() || line[0] == '#') continue;
        const auto space = line.find(' ');
        const std::string word = line.substr(0, space);
        const std::string rest = space == std::string::npos ? "" : line.substr(space + 1);
        if (word == "wait") {
            const double ms = std::strtod(rest.c_str(), nullptr);
            const auto frames = static_cast<std::uint64_t>(std::max(0.0, ms) * 48.0);
            for (std::uint64_t done = 0; done < frames; done += 256) {
                engine->graph().fillStreamsNow();
                driver.render(std::min<std::uint64_t>(256, frames - done));
                engine->graph().pumpNotifications();
                executor.fireDueTimers();
                timers.fireDue();
                settle();
            }
        } else if (word == "save") {
            if (auto saved = document->save(args[0]); !saved)
                complain(kExitFailed, saved.error().message);
        } else {
            const auto body = nlohmann::json::parse(rest.empty() ? "{}" : rest, nullptr, false);
            if (body.is_discarded()) {
                complain(kExitUsage, "bridge: not JSON: " + rest);
            } else if (!host->post(word, body)) {
                complain(kExitUsage, "bridge: no handler named " + word);
            }
            settle();
        }
    }
    // The page's last requests may still be reading waveform files: answer them before exiting.
    bridge->finishWaveformReads();
    settle();
    return kExitOk;
}

int runBootstrap(const Arguments& args) {
    if (!args.empty()) return complain(kExitUsage, "bootstrap: takes no arguments");
    std::fputs(bridge::bootstrapScript().c_str(), stdout);
    return kExitOk;
}

}  // namespace brellow::cli
