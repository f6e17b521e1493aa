// The bridge's events to the page: change events, snapshots, engine events, playhead ticks.
#include "bridge/brellow_bridge.h"

#include <cmath>

#include "base/main_context.h"
#include "bridge/bootstrap_script.h"
#include "model/show_codec.h"

namespace brellow::bridge {

using nlohmann::ordered_json;

namespace {

bool allFinite(const ordered_json& value) {
    if (value.is_number_float()) return std::isfinite(value.get<double>());
    if (value.is_structured()) {
        for (const auto& element : value) {
            if (!allFinite(element)) return false;
        }
    }
    return true;
}

// The script text of one page event, or nothing when it cannot be serialised.
std::optional<std::string> serialise(const ordered_json& value) {
    if (!allFinite(value)) return std::nullopt;
    try {
        return value.dump();
    } catch (const ordered_json::exception&) {
        return std::nullopt;  // text that is not UTF-8
    }
}

}  // namespace

std::optional<std::string> dispatchScript(const ordered_json& event) {
    if (!event.is_object()) return std::nullopt;
    auto text = serialise(event);
    if (!text) return std::nullopt;
    return "window.brellow.dispatch(" + *text + ")";
}

BrellowBridge::BrellowBridge(std::weak_ptr<WebHost> webView, std::weak_ptr<ShowDocument> document,
                             std::shared_ptr<audio::AudioEngineService> engine, TickTimers& timers)
    : webView_(std::move(webView)),
      document_(std::move(document)),
      engine_(std::move(engine)),
      timers_(timers) {}

std::shared_ptr<BrellowBridge> BrellowBridge::create(
    std::weak_ptr<WebHost> webView, std::weak_ptr<ShowDocument> document,
    std::shared_ptr<audio::AudioEngineService> engine, TickTimers& timers) {
    return std::shared_ptr<BrellowBridge>(
        new BrellowBridge(std::move(webView), std::move(document), std::move(engine), timers));
}

BrellowBridge::~BrellowBridge() {
    timers_.cancel(playheadTimer_);
}

void BrellowBridge::installHandlers(WebHost& host) {
    std::weak_ptr<BrellowBridge> weak = weak_from_this();
    const Logger log("Bridge");
    // One handler for every command: each message becomes one main-context job, in order.
    auto commandHandler = [weak, log](const std::string& name, const nlohmann::json& body) {
        const auto command = parseCommand(name);
        if (!command) {
            log.error("Unknown bridge command %s", name.c_str());
            return;
        }
        postToMainContext([weak, command = *command, body] {
            if (auto bridge = weak.lock()) bridge->handleCommand(command, body);
        });
    };
    for (const std::string_view name : kCommandNames)
        host.addScriptMessageHandler(std::string(name), commandHandler);
    host.addScriptMessageHandler(
        std::string(kTourHandlerName), [weak](const std::string&, const nlohmann::json& body) {
            postToMainContext([weak, body] {
                auto bridge = weak.lock();
                if (!bridge) return;
                const auto skipped = body.is_object() ? body.find("skipped") : body.end();
                const bool flag = body.is_object() && skipped != body.end() &&
                                  skipped->is_boolean() && skipped->get<bool>();
                if (bridge->onTourEvent) bridge->onTourEvent(flag);
            });
        });
    host.addUserScript(bootstrapScript());
}

void BrellowBridge::evaluate(const std::string& script) {
    if (auto host = webView_.lock()) host->evaluateScript(script);
}

void BrellowBridge::sendEvent(const ordered_json& event) {
    if (auto script = dispatchScript(event)) evaluate(*script);
}

void BrellowBridge::sendStateSnapshot() {
    auto document = document_.lock();
    if (!document) return;
    auto show = encodeShow(document->show(), JsonStyle::compact);
    if (!show) return;
    evaluate("window.brellow.dispatch({type:'stateSnapshot',show:" + *show + "})");
}

void BrellowBridge::handleEngineEvent(const audio::Event& event) {
    ordered_json page;
    if (const auto* e = std::get_if<audio::event::PlaybackStarted>(&event)) {
        page = {{"type", "playbackStarted"},
                {"stingID", e->stingID.toString()},
                {"hostTime", e->hostTime}};
    } else if (const auto* f = std::get_if<audio::event::PlaybackFadeOutStarted>(&event)) {
        page = {{"type", "playbackFadeOutStarted"},
                {"stingID", f->stingID.toString()},
                {"durationSec", f->durationSec}};
    } else if (const auto* s = std::get_if<audio::event::PlaybackStopped>(&event)) {
        page = {{"type", "playbackStopped"},
                {"stingID", s->stingID.toString()},
                {"reason", audio::stopReasonRawValue(s->reason)}};
    } else if (const auto* v = std::get_if<audio::event::VolumeChanged>(&event)) {
        page = {{"type", "volumeChanged"}, {"stingID", v->stingID.toString()}, {"dB", v->dB}};
    } else if (const auto* d = std::get_if<audio::event::DeviceChanged>(&event)) {
        page = {{"type", "deviceChanged"},
                {"deviceUID", d->deviceUID},
                {"deviceName", d->deviceName},
                {"fellBack", d->fellBack}};
    }
    sendEvent(page);
}

void BrellowBridge::registerEngineObserver() {
    std::weak_ptr<BrellowBridge> weak = weak_from_this();
    postToMainContext([weak] {
        auto bridge = weak.lock();
        if (!bridge) return;
        // Only the latest registration speaks: after a reload of the page, events still reach
        // it once each.
        const unsigned generation = ++bridge->observerGeneration_;
        bridge->engine_->addObserver(
            [weak, generation](const audio::Event& event) {
                postToMainContext([weak, generation, event] {
                    auto self = weak.lock();
                    if (self && self->observerGeneration_ == generation)
                        self->handleEngineEvent(event);
                });
            },
            [weak](const Uuid& token) {
                postToMainContext([weak, token] {
                    if (auto self = weak.lock()) self->observerToken_ = token;
                });
            });
    });
}

void BrellowBridge::startPlayheadTimer() {
    timers_.cancel(playheadTimer_);
    std::weak_ptr<BrellowBridge> weak = weak_from_this();
    playheadTimer_ = timers_.start(kPlayheadIntervalMs, [weak] {
        auto bridge = weak.lock();
        if (!bridge) return;
        bridge->engine_->currentPositions([weak](std::vector<audio::StingPosition> positions) {
            postToMainContext([weak, positions = std::move(positions)] {
                if (auto self = weak.lock()) self->sendPlayheads(positions);
            });
        });
    });
}

void BrellowBridge::sendPlayheads(const std::vector<audio::StingPosition>& positions) {
    if (positions.empty()) return;
    ordered_json stings = ordered_json::array();
    for (const auto& position : positions) {
        stings.push_back(
            {{"stingID", position.stingID.toString()}, {"positionSec", position.positionSec}});
    }
    auto text = serialise(stings);
    if (!text) return;
    evaluate("window.brellow.dispatch({type:'playheadTick',stings:" + *text + "})");
}

std::vector<float> reducePeaks(const std::vector<float>& values, std::size_t limit) {
    const std::size_t pairs = values.size() / 2;
    if (pairs <= limit) return values;
    const double step = static_cast<double>(pairs) / static_cast<double>(limit);
    std::vector<float> reduced;
    reduced.reserve(limit * 2);
    double position = 0;
    for (std::size_t out = 0; out < limit; ++out) {
        const auto start = static_cast<std::size_t>(position);
        const std::size_t end = std::min(pairs, static_cast<std::size_t>(position + step));
        float low = 0, high = 0;
        if (end > start) {
            low = values[start * 2];
            high = values[start * 2 + 1];
            for (std::size_t p = start + 1; p < end; ++p) {
                low = std::min(low, values[p * 2]);
                high = std::max(high, values[p * 2 + 1]);
            }
        }
        reduced.push_back(low);
        reduced.push_back(high);
        position += step;
    }
    return reduced;
}

}  // namespace brellow::bridge
