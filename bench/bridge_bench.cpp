// The bridge's main-thread costs: edit commands on a 500-sting show, and one playhead tick
// with 16 stings playing. Prints its figures.
#include <glib.h>
#include <sndfile.h>

#include <chrono>
#include <cstdio>
#include <random>

#include "audio/engine/offline_engine.h"
#include "base/log.h"
#include "bridge/brellow_bridge.h"
#include "bridge/scripted_web_host.h"
#include "document/sting_loading.h"

using namespace brellow;
using namespace brellow::bridge;
using Clock = std::chrono::steady_clock;

namespace {

struct Rig {
    audio::VirtualClock clock;
    audio::ManualExecutor executor{clock};
    audio::OfflineDriver* driver = nullptr;
    std::shared_ptr<audio::AudioEngineService> engine;
    std::shared_ptr<ScriptedWebHost> host = std::make_shared<ScriptedWebHost>();
    ManualTickTimers timers{[this] { return clock.now(); }};
    std::shared_ptr<ShowDocument> document;
    std::shared_ptr<BrellowBridge> bridge;

    explicit Rig(const std::filesystem::path& scratch) {
        auto offline = audio::makeOfflineEngine(clock, executor, 48000, /*capture=*/false);
        engine = offline.engine;
        driver = offline.driver;
        document = std::make_shared<ShowDocument>(scratch);
        bridge = BrellowBridge::create(host, document, engine, timers);
        bridge->installHandlers(*host);
    }
    void settle() {
        do {
            while (g_main_context_iteration(nullptr, FALSE)) {
            }
            executor.runUntilIdle();
        } while (g_main_context_pending(nullptr));
    }
};

Sting sting(int index) {
    Sting s;
    s.id = Uuid::generate();
    s.name = "Sting " + std::to_string(index);
    s.mediaFilename = s.id.toString() + ".caf";
    s.durationSec = 10;
    return s;
}

}  // namespace

int main() {
    logging::setSinks({});
    const auto dir = std::filesystem::temp_directory_path() / "brellow-bridge-bench";
    std::filesystem::create_directories(dir);

    {  // edit commands on a 500-sting show
        Rig rig(dir);
        for (int i = 0; i < 500; ++i)
            rig.document->mutableShow().pages[0].stings.push_back(sting(i));
        std::vector<std::string> ids;
        for (const Sting& s : rig.document->show().pages[0].stings)
            ids.push_back(s.id.toString());
        std::mt19937 random(1);
        const int commands = 100000;
        double busy = 0;
        for (int done = 0; done < commands;) {
            const auto start = Clock::now();
            for (int batch = 0; batch < 1000; ++batch, ++done) {
                const std::string& id = ids[random() % ids.size()];
                switch (done % 5) {
                    case 0:
                        rig.bridge->handleCommand(
                            Command::setTrim, {{"stingID", id}, {"inSec", 0.5}, {"outSec", 3.0}});
                        break;
                    case 1:
                        rig.bridge->handleCommand(Command::setFade,
                                                  {{"stingID", id}, {"fadeInSec", 0.2}});
                        break;
                    case 2:
                        rig.bridge->handleCommand(Command::rename,
                                                  {{"stingID", id}, {"name", "Cue"}});
                        break;
                    case 3:
                        rig.bridge->handleCommand(Command::setHotkey,
                                                  {{"stingID", id}, {"key", "k"}});
                        break;
                    default:
                        rig.bridge->handleCommand(Command::setLoop,
                                                  {{"stingID", id}, {"enabled", true}});
                        break;
                }
            }
            busy += std::chrono::duration<double>(Clock::now() - start).count();
            rig.host->scripts.clear();
            rig.executor.runUntilIdle();  // the engine jobs, not counted
        }
        std::printf("edit commands on a 500-sting show: %.0f commands per second (%.2f us each)\n",
                    commands / busy, busy / commands * 1e6);
    }

    {  // one playhead tick with 16 stings playing
        Rig rig(dir);
        const auto media = dir / "tone.caf";
        {
            SF_INFO info{};
            info.samplerate = 48000;
            info.channels = 2;
            info.format = SF_FORMAT_CAF | SF_FORMAT_FLOAT;
            SNDFILE* file = sf_open(media.c_str(), SFM_WRITE, &info);
            std::vector<float> samples(48000 * 2 * 30, 0.1f);
            sf_writef_float(file, samples.data(), 48000 * 30);
            sf_close(file);
        }
        std::vector<Uuid> ids;
        for (int i = 0; i < 16; ++i) {
            ids.push_back(Uuid::generate());
            rig.engine->loadSting(ids.back(), media, -12);
            rig.engine->play(ids.back(), std::nullopt, std::nullopt, false, 0, 0);
        }
        rig.settle();
        rig.bridge->startPlayheadTimer();
        double mainThread = 0;
        int ticks = 0;
        for (int period = 0; period < 3000; ++period) {  // 16 s of audio
            rig.driver->render(256);
            rig.engine->graph().pumpNotifications();
            rig.timers.fireDue();
            rig.executor.runUntilIdle();
            const auto start = Clock::now();
            while (g_main_context_iteration(nullptr, FALSE)) {
            }
            mainThread += std::chrono::duration<double>(Clock::now() - start).count();
            ticks += static_cast<int>(rig.host->scripts.size());
            rig.host->scripts.clear();
        }
        std::printf(
            "playhead tick with 16 stings playing: %.1f us of main-thread work per tick (%d "
            "ticks)\n",
            mainThread / ticks * 1e6, ticks);
    }
    std::filesystem::remove_all(dir);
    return 0;
}
