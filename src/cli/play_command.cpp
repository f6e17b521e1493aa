// brellow-cli play: stings of a show through the system output, with a live line of
// playheads; Ctrl+C stops them with their fade-outs.
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include <glib.h>

#include "audio/drivers/system_output.h"
#include "audio/engine/output_supervisor.h"
#include "cli/cli.h"
#include "cli/engine_session.h"

namespace brellow::cli {

namespace {

std::atomic<bool> interrupted{false};

void onInterrupt(int) {
    interrupted.store(true);
}

}  // namespace

int runPlay(const Arguments& arguments) {
    Arguments args = arguments;
    std::optional<std::string> device;
    audio::SystemOutputDriver::Options outputOptions;
    while (!args.empty() && args.front().starts_with("--")) {
        if (args.front() == "--device" && args.size() > 1) {
            device = args[1];
            args.erase(args.begin());
        } else if (args.front() == "--low-latency") {
            outputOptions.lowLatency = true;
        } else {
            return complain(kExitUsage, "play: unknown option " + args.front());
        }
        args.erase(args.begin());
    }
    if (args.size() < 2) return complain(kExitUsage, "play: expected [--device ID] PKG STING...");
    FailureReport failures(args[0]);  // outlives the engine, whose answers it receives
    audio::ThreadExecutor executor;
    auto output = std::make_unique<audio::SystemOutputDriver>(std::move(outputOptions));
    audio::SystemOutputDriver& system = *output;
    audio::AudioEngineService::Options options;
    options.driver = std::move(output);
    options.executor = &executor;
    auto engine = audio::AudioEngineService::create(std::move(options));
    // After the engine, so it stops before the engine (and the output it owns) goes.
    const audio::OutputSupervisor supervisor(system);

    std::mutex mutex;
    std::set<Uuid> sounding;
    engine->addObserver([&](const audio::Event& event) {
        const std::lock_guard lock(mutex);
        if (const auto* started = std::get_if<audio::event::PlaybackStarted>(&event)) {
            sounding.insert(started->stingID);
        } else if (const auto* stopped = std::get_if<audio::event::PlaybackStopped>(&event)) {
            sounding.erase(stopped->stingID);
        }
    });

    ShowDocument document;
    const bool opened =
        openWithEngine(document, args[0], engine, [] { g_main_context_iteration(nullptr, TRUE); });
    if (!opened) return kExitFailed;
    const Show& show = document.show();
    // The device named on the command line, else the show's own; opened at the first play.
    system.choose(device.value_or(show.outputDeviceUID.value_or("")));
    std::vector<Sting> stings;
    for (std::size_t i = 1; i < args.size(); ++i) {
        const auto sting = findSting(show, args[i]);
        if (!sting) {
            return complain(kExitFailed, "play: the show has no sting named \u201c" + args[i] +
                                             "\u201d (brellow-cli show " + args[0] +
                                             " lists them)");
        }
        stings.push_back(*sting);
    }

    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigaction(SIGINT, &action, nullptr);
    for (const Sting& sting : stings)
        fireSting(*engine, show, sting, failures);
    {
        // Wait until the engine has started them, so an empty set means they all ended.
        for (int wait = 0; wait < 200; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            const std::lock_guard lock(mutex);
            if (!sounding.empty()) break;
        }
    }
    if (system.usingFallback()) {
        std::cerr << "brellow-cli: no audio output; playing silently\n";
    } else if (!system.chosenDevice().empty() && system.outputInUse().fellBack) {
        std::cerr << "brellow-cli: playing on the " << system.outputInUse().deviceName << "\n";
    }

    bool stopping = false;
    for (;;) {
        if (interrupted.load() && !stopping) {
            stopping = true;
            for (const Sting& sting : stings)
                engine->stop(sting.id, sting.fadeOutSec);
        }
        std::vector<audio::StingPosition> positions;
        std::atomic<bool> answered{false};
        engine->currentPositions([&](std::vector<audio::StingPosition> p) {
            positions = std::move(p);
            answered.store(true);
        });
        while (!answered.load())
            std::this_thread::yield();
        std::string line;
        for (const auto& position : positions) {
            const auto sting = findSting(show, position.stingID.toString());
            char text[160];
            std::snprintf(text, sizeof text, "  %s %7.2fs", sting ? sting->name.c_str() : "?",
                          position.positionSec);
            line += text;
        }
        std::printf("\r%-100s", line.c_str());
        std::fflush(stdout);
        {
            const std::lock_guard lock(mutex);
            if (sounding.empty()) break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    std::printf("\n");
    return failures.any() ? kExitFailed : kExitOk;
}

}  // namespace brellow::cli
