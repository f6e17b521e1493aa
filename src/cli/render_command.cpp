// brellow-cli render: a show played through the engine offline, into a WAV file, with
// actions at given times and the engine's events printed as they happen.
#include <sndfile.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include <glib.h>

#include "audio/drivers/offline_driver.h"
#include "cli/cli.h"
#include "cli/engine_session.h"

namespace brellow::cli {

namespace {

struct Action {
    double atSec = 0;
    std::vector<std::string> fields;  // the verb and its arguments
};

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::stringstream stream(text);
    std::string part;
    while (std::getline(stream, part, separator))
        parts.push_back(part);
    if (!text.empty() && text.back() == separator) parts.emplace_back();
    return parts;
}

bool number(const std::string& text, double& out) {
    char* end = nullptr;
    out = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

std::optional<double> optionalNumber(const std::string& text) {
    double value = 0;
    if (text.empty() || !number(text, value)) return std::nullopt;
    return value;
}

// Carries out one action; false when it names no sting or is malformed. Stings that cannot
// start are told to `failures` by the engine's answer.
bool perform(const Action& action, audio::AudioEngineService& engine, audio::OfflineDriver& driver,
             const Show& show, FailureReport& failures) {
    const auto& f = action.fields;
    const std::string& verb = f[0];
    if (verb == "stopall" && f.size() == 1) return engine.stopAll(false), true;
    if (verb == "configchange" && f.size() == 1)
        return driver.disrupt("configuration change"), true;
    if (verb == "wake" && f.size() == 1) return engine.recoverAfterWake(), true;
    double value = 0;
    if (verb == "master" && f.size() == 2 && number(f[1], value))
        return engine.setMasterVolume(value), true;
    if (f.size() < 2) return false;
    const auto sting = findSting(show, f[1]);
    if (!sting) return false;
    if (verb == "play" && f.size() == 2) return fireSting(engine, show, *sting, failures), true;
    if (verb == "stop" && (f.size() == 2 || f.size() == 3)) {
        double fade = sting->fadeOutSec;
        if (f.size() == 3 && !number(f[2], fade)) return false;
        return engine.stop(sting->id, fade), true;
    }
    if (verb == "volume" && f.size() == 3 && number(f[2], value))
        return engine.setVolume(sting->id, value), true;
    if (verb == "trim" && f.size() == 4) {
        return engine.setTrim(sting->id, optionalNumber(f[2]), optionalNumber(f[3])), true;
    }
    if (verb == "loop" && f.size() == 3 && (f[2] == "on" || f[2] == "off")) {
        return engine.setLoop(sting->id, f[2] == "on", sting->fadeOutSec), true;
    }
    return false;
}

// Why perform() refused `action`, in the operator's words.
std::string refusal(const Action& action, const Show& show, const std::string& package) {
    const auto& f = action.fields;
    const bool namesSting = f[0] != "stopall" && f[0] != "configchange" && f[0] != "wake" &&
                            f[0] != "master" && f.size() >= 2;
    std::string text =
        "action at " + std::to_string(action.atSec) + " s (" + f[0] + ") not carried out: ";
    if (namesSting && !findSting(show, f[1])) {
        return text + "the show has no sting named \u201c" + f[1] + "\u201d (brellow-cli show " +
               package + " lists them)";
    }
    return text + "it is malformed; see brellow-cli --help for the forms of an ACTION";
}

bool writeWav(const std::string& path, const std::vector<float>& left,
              const std::vector<float>& right, double rate) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(rate);
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) return false;
    std::vector<float> frames(left.size() * 2);
    for (std::size_t i = 0; i < left.size(); ++i) {
        frames[i * 2] = left[i];
        frames[i * 2 + 1] = right[i];
    }
    const auto written = sf_writef_float(file, frames.data(), static_cast<sf_count_t>(left.size()));
    sf_close(file);
    return written == static_cast<sf_count_t>(left.size());
}

}  // namespace

int runRender(const Arguments& args) {
    const char* usage =
        "render: expected PKG OUT.wav --duration SEC [--rate HZ] [--memory-limit BYTES] "
        "[ACTION...]";
    if (args.size() < 2) return complain(kExitUsage, usage);
    double duration = -1, rate = 48000;
    double memoryLimit = static_cast<double>(audio::AudioEngineService::kMemoryLimitBytes);
    std::vector<Action> actions;
    for (std::size_t i = 2; i < args.size(); ++i) {
        if ((args[i] == "--duration" || args[i] == "--rate" || args[i] == "--memory-limit") &&
            i + 1 < args.size()) {
            double& value =
                args[i] == "--duration" ? duration : (args[i] == "--rate" ? rate : memoryLimit);
            if (!number(args[i + 1], value)) return complain(kExitUsage, usage);
            ++i;
            continue;
        }
        auto fields = split(args[i], ':');
        Action action;
        if (fields.size() < 2 || !number(fields[0], action.atSec) || action.atSec < 0) {
            return complain(kExitUsage, "render: bad action " + args[i]);
        }
        action.fields.assign(fields.begin() + 1, fields.end());
        actions.push_back(action);
    }
    if (duration <= 0 || duration > 24 * 3600 || rate < 8000 || rate > 384000 || memoryLimit < 0)
        return complain(kExitUsage, usage);
    std::stable_sort(actions.begin(), actions.end(),
                     [](const Action& a, const Action& b) { return a.atSec < b.atSec; });

    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // events interleave with log lines in order
    audio::VirtualClock clock;
    audio::ManualExecutor executor(clock);
    // A lower memory limit streams more stings from their files, as a large show does.
    auto offline = audio::makeOfflineEngine(clock, executor, rate, /*capture=*/true,
                                            static_cast<std::uint64_t>(memoryLimit));
    auto engine = offline.engine;
    audio::OfflineDriver& driver = *offline.driver;
    engine->addObserver([&](const audio::Event& event) {
        std::printf("%.6f %s\n", static_cast<double>(driver.framesRendered()) / rate,
                    audio::describeEvent(event).c_str());
    });

    ShowDocument document;
    FailureReport failures(args[0]);
    const bool opened = openWithEngine(document, args[0], engine, [&] {
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        executor.runUntilIdle();
    });
    if (!opened) return kExitFailed;

    const auto total = static_cast<std::uint64_t>(duration * rate);
    std::size_t next = 0;
    while (driver.framesRendered() < total) {
        const double now = static_cast<double>(driver.framesRendered()) / rate;
        for (; next < actions.size() && actions[next].atSec <= now; ++next) {
            if (!perform(actions[next], *engine, driver, document.show(), failures))
                failures.failed("render", refusal(actions[next], document.show(), args[0]));
        }
        executor.runUntilIdle();
        engine->graph().fillStreamsNow();
        driver.render(std::min<std::uint64_t>(256, total - driver.framesRendered()));
        engine->graph().pumpNotifications();
        executor.fireDueTimers();
    }
    if (!writeWav(args[1], driver.left(), driver.right(), rate)) {
        return complain(kExitFailed, "render: cannot write " + args[1]);
    }
    return failures.any() ? kExitFailed : kExitOk;
}

}  // namespace brellow::cli
