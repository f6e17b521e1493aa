#pragma once
// A show with three stings, its engine on the offline output, and a bridge talking to a
// scripted page host; time moves only when the test moves it.
#include <glib.h>

#include "audio/engine_rig.h"
#include "bridge/brellow_bridge.h"
#include "bridge/scripted_web_host.h"
#include "document/sting_loading.h"
#include "media/waveform_renderer.h"
#include "model/show_codec.h"

namespace brellow::bridge::test {

struct BridgeRig {
    BridgeRig() : timers([this] { return engine.clock.now(); }) {
        Show show = makeNewShow();
        a = brellow::test::makeSting("Alpha", "1");
        b = brellow::test::makeSting("Beta", "2");
        c = brellow::test::makeSting("Gamma");
        b.fadeOutSec = 2.5;
        show.pages[0].stings = {a, b, c};
        const auto package = engine.dir / "Show.stingshow";
        brellow::test::writePackage(package, show);
        for (const Sting& sting : {a, b, c}) {
            audio::test::writeSting(package / "Media" / sting.mediaFilename, 48000, 480000,
                                    [](std::int64_t) { return 0.5f; });
        }
        document = std::make_shared<ShowDocument>(engine.dir / "scratch");
        bool loaded = false;
        loadStingsOnOpen(*document, engine.engine, [&] { loaded = true; });
        if (!document->read(package)) ADD_FAILURE() << "cannot open the show";
        while (!loaded)
            settle();
        bridge = BrellowBridge::create(host, document, engine.engine, timers);
        bridge->installHandlers(*host);
        bridge->registerEngineObserver();
        bridge->startPlayheadTimer();
        settle();
        host->scripts.clear();
    }

    void settle() {
        do {
            while (g_main_context_iteration(nullptr, FALSE)) {
            }
            engine.settle();
        } while (g_main_context_pending(nullptr));
    }

    /// Posts a message as the page would and lets everything it causes happen.
    void post(const std::string& name, const nlohmann::json& body = nlohmann::json::object()) {
        host->post(name, body);
        settle();
    }

    /// Lets `seconds` of audio time pass.
    void wait(double seconds) {
        for (double t = 0; t < seconds; t += 256.0 / 48000.0) {
            engine.run(256.0 / 48000.0);
            timers.fireDue();
            settle();
        }
    }

    /// The events sent so far, parsed; a snapshot or tick script gives {"type": ...} too.
    std::vector<nlohmann::json> events() const {
        std::vector<nlohmann::json> found;
        for (const std::string& script : host->scripts) {
            const std::string prefix = "window.brellow.dispatch(";
            std::string inner = script.substr(prefix.size(), script.size() - prefix.size() - 1);
            if (inner.starts_with("{type:'stateSnapshot',show:")) {
                found.push_back(
                    {{"type", "stateSnapshot"},
                     {"show", nlohmann::json::parse(inner.substr(27, inner.size() - 28))}});
            } else if (inner.starts_with("{type:'playheadTick',stings:")) {
                found.push_back(
                    {{"type", "playheadTick"},
                     {"stings", nlohmann::json::parse(inner.substr(28, inner.size() - 29))}});
            } else {
                found.push_back(nlohmann::json::parse(inner));
            }
        }
        return found;
    }
    std::vector<nlohmann::json> eventsOfType(const std::string& type) const {
        std::vector<nlohmann::json> found;
        for (const auto& event : events()) {
            if (event["type"] == type) found.push_back(event);
        }
        return found;
    }
    const Sting& sting(std::size_t page, std::size_t index) const {
        return document->show().pages[page].stings[index];
    }

    audio::test::EngineRig engine;
    ManualTickTimers timers;
    std::shared_ptr<ScriptedWebHost> host = std::make_shared<ScriptedWebHost>();
    std::shared_ptr<ShowDocument> document;
    std::shared_ptr<BrellowBridge> bridge;
    Sting a, b, c;
};

}  // namespace brellow::bridge::test
