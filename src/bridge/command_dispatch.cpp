// What each page command does to the document and the engine, and what the page is told.
#include <charconv>

#include "base/main_context.h"
#include "bridge/brellow_bridge.h"
#include "document/edit_command.h"
#include "media/waveform_renderer.h"

namespace brellow::bridge {

using nlohmann::ordered_json;

namespace {

constexpr double kSoloFallbackFadeSec = 0.4;

std::optional<Uuid> stingIDOf(const nlohmann::json& body) {
    if (!body.is_object()) return std::nullopt;
    const auto it = body.find("stingID");
    if (it == body.end() || !it->is_string()) return std::nullopt;
    return Uuid::parse(it->get_ref<const std::string&>());
}

std::optional<double> numberOf(const nlohmann::json& body, const char* key) {
    if (!body.is_object()) return std::nullopt;
    const auto it = body.find(key);
    if (it == body.end() || !it->is_number()) return std::nullopt;
    return it->get<double>();
}

ordered_json optionalNumber(const std::optional<double>& value) {
    return value ? ordered_json(*value) : ordered_json(nullptr);
}

const Sting* findSting(const Show& show, const Uuid& id) {
    const auto at = locateSting(show, id);
    return at ? &show.pages[at->pageIndex].stings[at->stingIndex] : nullptr;
}

// The peaks as JSON numbers in their shortest single-precision form.
std::optional<std::string> floatArray(const std::vector<float>& values) {
    std::string text = "[";
    char buffer[32];
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!std::isfinite(values[i])) return std::nullopt;
        const auto written = std::to_chars(buffer, buffer + sizeof buffer, values[i]);
        if (i > 0) text += ',';
        text.append(buffer, written.ptr);
    }
    return text + "]";
}

}  // namespace

void BrellowBridge::handleCommand(Command command, const nlohmann::json& body) {
    switch (command) {
        case Command::play:
            if (const auto id = stingIDOf(body)) play(*id);
            return;
        case Command::stop:
            if (const auto id = stingIDOf(body)) stop(*id);
            return;
        case Command::stopAll:
            engine_->stopAll(false);
            return;
        case Command::setVolume: {
            const auto id = stingIDOf(body);
            const auto dB = numberOf(body, "dB");
            if (id && dB) engine_->setVolume(*id, *dB);
            return;
        }
        case Command::setMasterVolume:
            if (const auto dB = numberOf(body, "dB")) engine_->setMasterVolume(*dB);
            return;
        case Command::requestState:
            sendStateSnapshot();
            return;
        case Command::requestWaveform:
            if (const auto id = stingIDOf(body)) requestWaveform(*id);
            return;
        case Command::ready:
            log_.info("JS bridge ready");
            sendOutputDevices();
            if (onPageReady) onPageReady();
            return;
        case Command::importFiles:
        case Command::undo:
        case Command::redo:
            log_.debug("unhandled command %s", std::string(commandName(command)).c_str());
            return;
        default:
            handleEdit(command, body);
            return;
    }
}

void BrellowBridge::play(const Uuid& id) {
    std::optional<Sting> sting;
    bool solo = true;  // without a document, solo counts as on
    if (auto document = document_.lock()) {
        if (const Sting* found = findSting(document->show(), id)) sting = *found;
        solo = document->show().soloMode;
    }
    if (solo) engine_->stopOthers(id, kSoloFallbackFadeSec);
    std::weak_ptr<BrellowBridge> weak = weak_from_this();
    engine_->play(id, sting ? sting->trimInSec : std::nullopt,
                  sting ? sting->trimOutSec : std::nullopt, sting && sting->loop,
                  sting ? sting->fadeInSec : 0, sting ? sting->fadeOutSec : 0,
                  [weak](const Result<std::uint64_t, audio::EngineFailure>& started) {
                      if (started) return;
                      postToMainContext([weak, message = started.error().description()] {
                          if (auto bridge = weak.lock())
                              bridge->log_.error("play failed: %s", message.c_str());
                      });
                  });
}

void BrellowBridge::stop(const Uuid& id) {
    double fade = 0;
    if (auto document = document_.lock()) {
        if (const Sting* sting = findSting(document->show(), id)) fade = sting->fadeOutSec;
    }
    engine_->stop(id, fade);
}

void BrellowBridge::requestWaveform(const Uuid& id) {
    auto document = document_.lock();
    if (!document) return;
    const Sting* sting = findSting(document->show(), id);
    if (sting == nullptr || !sting->waveformFilename) return;
    const auto file = document->workingDirectory().waveforms() / *sting->waveformFilename;
    std::weak_ptr<BrellowBridge> weak = weak_from_this();
    waveformReads_.submit([weak, file, id] {
        auto peaks = media::readWaveform(file);
        if (!peaks) return;
        auto values =
            std::make_shared<std::vector<float>>(reducePeaks(peaks->values, kWaveformPairLimit));
        const std::int32_t rate = peaks->peaksPerSecond;
        postToMainContext([weak, id, rate, values] {
            auto bridge = weak.lock();
            if (!bridge) return;
            auto array = floatArray(*values);
            if (!array) return;
            ordered_json head = {{"type", "waveformData"},
                                 {"stingID", id.toString()},
                                 {"peaksPerSecond", static_cast<std::uint32_t>(rate)}};
            std::string text = head.dump();
            text.pop_back();  // the peaks join the object as its last key
            bridge->evaluate("window.brellow.dispatch(" + text + ",\"peaks\":" + *array + "})");
        });
    });
}

bool BrellowBridge::handleEdit(Command command, const nlohmann::json& body) {
    auto document = document_.lock();
    if (!document) return false;
    const std::string name(commandName(command));
    const auto edit = parseEditCommand(name, body);
    if (!edit) return false;
    const EditOutcome outcome = applyEditCommand(*document, *edit);
    if (!outcome.changed) return false;
    const Show& show = document->show();

    std::visit(
        [&](const auto& e) {
            using E = std::decay_t<decltype(e)>;
            if constexpr (std::is_same_v<E, edit::SetTrim>) {
                sendEvent({{"type", "trimChanged"},
                           {"stingID", e.stingID.toString()},
                           {"inSec", optionalNumber(e.inSec)},
                           {"outSec", optionalNumber(e.outSec)}});
                engine_->setTrim(e.stingID, e.inSec, e.outSec);
            } else if constexpr (std::is_same_v<E, edit::SetLoop>) {
                sendEvent({{"type", "loopChanged"},
                           {"stingID", e.stingID.toString()},
                           {"enabled", e.enabled}});
                const Sting* sting = findSting(show, e.stingID);
                engine_->setLoop(e.stingID, e.enabled, sting != nullptr ? sting->fadeOutSec : 0);
            } else if constexpr (std::is_same_v<E, edit::SetFade>) {
                const Sting* sting = findSting(show, e.stingID);
                if (sting == nullptr) return;
                sendEvent({{"type", "fadeChanged"},
                           {"stingID", e.stingID.toString()},
                           {"fadeInSec", sting->fadeInSec},
                           {"fadeOutSec", sting->fadeOutSec}});
            } else if constexpr (std::is_same_v<E, edit::SetHotkey>) {
                for (const Uuid& cleared : outcome.clearedHotkeyStingIDs) {
                    sendEvent({{"type", "hotkeyChanged"},
                               {"stingID", cleared.toString()},
                               {"key", nullptr}});
                }
                const Sting* sting = findSting(show, e.stingID);
                if (sting == nullptr) return;
                sendEvent({{"type", "hotkeyChanged"},
                           {"stingID", e.stingID.toString()},
                           {"key",
                            sting->hotkey ? ordered_json(*sting->hotkey) : ordered_json(nullptr)}});
            } else if constexpr (std::is_same_v<E, edit::Rename>) {
                const Sting* sting = findSting(show, e.stingID);
                if (sting == nullptr) return;
                sendEvent({{"type", "renamed"},
                           {"stingID", e.stingID.toString()},
                           {"name", sting->name}});
            } else if constexpr (std::is_same_v<E, edit::SetSoloMode>) {
                sendEvent({{"type", "soloModeChanged"}, {"enabled", e.enabled}});
            } else if constexpr (std::is_same_v<E, edit::RenamePage>) {
                sendEvent({{"type", "pageRenamed"},
                           {"pageID", e.pageID.toString()},
                           {"name", show.pages[*locatePage(show, e.pageID)].name}});
            } else if constexpr (std::is_same_v<E, edit::SetActivePage>) {
                sendEvent({{"type", "activePageChanged"}, {"pageID", e.pageID.toString()}});
            } else if constexpr (std::is_same_v<E, edit::SetOutputDevice>) {
                // The engine moves its cues there and answers with deviceChanged.
                engine_->setOutputDevice(e.deviceUID.value_or(""));
            } else {
                // removeSting, deletePage, createPage, reorder, reorderPages: the whole show.
                sendStateSnapshot();
                for (const Uuid& removed : outcome.removedStingIDs)
                    engine_->unload(removed);
            }
        },
        *edit);
    return true;
}

}  // namespace brellow::bridge
