#include "document/edit_command.h"

#include <algorithm>
#include <array>

#include "document/show_document.h"

namespace brellow {

using nlohmann::json;

namespace {

constexpr std::array<std::string_view, 14> kEditNames = {
    "setTrim",    "setLoop",       "setFade",      "setHotkey",      "removeSting",
    "reorder",    "rename",        "setSoloMode",  "createPage",     "renamePage",
    "deletePage", "setActivePage", "reorderPages", "setOutputDevice"};

std::optional<Uuid> idArg(const json& body, const char* key) {
    const auto it = body.find(key);
    if (it == body.end() || !it->is_string()) return std::nullopt;
    return Uuid::parse(it->get_ref<const std::string&>());
}

std::optional<double> numberArg(const json& body, const char* key) {
    const auto it = body.find(key);
    if (it == body.end() || !it->is_number()) return std::nullopt;
    return it->get<double>();
}

std::optional<bool> boolArg(const json& body, const char* key) {
    const auto it = body.find(key);
    if (it == body.end() || !it->is_boolean()) return std::nullopt;
    return it->get<bool>();
}

std::optional<std::string> stringArg(const json& body, const char* key) {
    const auto it = body.find(key);
    if (it == body.end() || !it->is_string()) return std::nullopt;
    return it->get<std::string>();
}

// A list whose elements are all strings; strings that are not UUIDs are dropped. A list with
// any other element counts as missing.
std::optional<std::vector<Uuid>> idListArg(const json& body, const char* key) {
    const auto it = body.find(key);
    if (it == body.end() || !it->is_array()) return std::nullopt;
    std::vector<Uuid> ids;
    for (const json& element : *it) {
        if (!element.is_string()) return std::nullopt;
        if (auto id = Uuid::parse(element.get_ref<const std::string&>())) ids.push_back(*id);
    }
    return ids;
}

std::optional<EditCommand> parseObject(std::string_view name, const json& body) {
    if (name == "setTrim") {
        const auto id = idArg(body, "stingID");
        if (!id) return std::nullopt;
        return edit::SetTrim{*id, numberArg(body, "inSec"), numberArg(body, "outSec")};
    }
    if (name == "setLoop") {
        const auto id = idArg(body, "stingID");
        const auto enabled = boolArg(body, "enabled");
        if (!id || !enabled) return std::nullopt;
        return edit::SetLoop{*id, *enabled};
    }
    if (name == "setFade") {
        const auto id = idArg(body, "stingID");
        if (!id) return std::nullopt;
        return edit::SetFade{*id, numberArg(body, "fadeInSec"), numberArg(body, "fadeOutSec")};
    }
    if (name == "setHotkey") {
        const auto id = idArg(body, "stingID");
        if (!id) return std::nullopt;
        return edit::SetHotkey{*id, stringArg(body, "key")};
    }
    if (name == "removeSting") {
        const auto id = idArg(body, "stingID");
        if (!id) return std::nullopt;
        return edit::RemoveSting{*id};
    }
    if (name == "reorder") {
        auto ids = idListArg(body, "stingIDs");
        const auto page = idArg(body, "pageID");
        if (!ids || !page) return std::nullopt;
        return edit::Reorder{*page, std::move(*ids)};
    }
    if (name == "rename") {
        const auto id = idArg(body, "stingID");
        auto text = stringArg(body, "name");
        if (!id || !text) return std::nullopt;
        return edit::Rename{*id, std::move(*text)};
    }
    if (name == "setSoloMode") {
        const auto enabled = boolArg(body, "enabled");
        if (!enabled) return std::nullopt;
        return edit::SetSoloMode{*enabled};
    }
    if (name == "setOutputDevice") {
        // A device identifier; "" or null for the system's default output.
        const auto it = body.find("deviceUID");
        if (it == body.end() || !(it->is_string() || it->is_null())) return std::nullopt;
        if (it->is_null() || it->get_ref<const std::string&>().empty()) {
            return edit::SetOutputDevice{std::nullopt};
        }
        return edit::SetOutputDevice{it->get<std::string>()};
    }
    if (name == "createPage") {
        return edit::CreatePage{stringArg(body, "name").value_or("")};
    }
    if (name == "renamePage") {
        const auto id = idArg(body, "pageID");
        auto text = stringArg(body, "name");
        if (!id || !text) return std::nullopt;
        return edit::RenamePage{*id, std::move(*text)};
    }
    if (name == "deletePage") {
        const auto id = idArg(body, "pageID");
        if (!id) return std::nullopt;
        return edit::DeletePage{*id};
    }
    if (name == "setActivePage") {
        const auto id = idArg(body, "pageID");
        if (!id) return std::nullopt;
        return edit::SetActivePage{*id};
    }
    if (name == "reorderPages") {
        auto ids = idListArg(body, "pageIDs");
        if (!ids) return std::nullopt;
        return edit::ReorderPages{std::move(*ids)};
    }
    return std::nullopt;
}

std::vector<Uuid> idsOf(const std::vector<Sting>& stings) {
    std::vector<Uuid> ids;
    ids.reserve(stings.size());
    for (const Sting& sting : stings)
        ids.push_back(sting.id);
    return ids;
}

}  // namespace

bool isEditCommandName(std::string_view name) {
    return std::find(kEditNames.begin(), kEditNames.end(), name) != kEditNames.end();
}

std::optional<EditCommand> parseEditCommand(std::string_view name, const json& body) {
    if (!body.is_object()) return std::nullopt;
    return parseObject(name, body);
}

EditOutcome applyEditCommand(ShowDocument& document, const EditCommand& command) {
    EditOutcome outcome;
    std::visit(
        [&](const auto& e) {
            using E = std::decay_t<decltype(e)>;
            if constexpr (std::is_same_v<E, edit::SetTrim>) {
                outcome.changed = document.setTrim(e.stingID, e.inSec, e.outSec);
            } else if constexpr (std::is_same_v<E, edit::SetLoop>) {
                outcome.changed = document.setLoop(e.stingID, e.enabled);
            } else if constexpr (std::is_same_v<E, edit::SetFade>) {
                outcome.changed = document.setFade(e.stingID, e.fadeInSec, e.fadeOutSec);
            } else if constexpr (std::is_same_v<E, edit::SetHotkey>) {
                if (auto change = document.setHotkey(e.stingID, e.key)) {
                    outcome.changed = true;
                    outcome.clearedHotkeyStingIDs = std::move(change->clearedStingIDs);
                }
            } else if constexpr (std::is_same_v<E, edit::RemoveSting>) {
                if (auto removed = document.removeSting(e.stingID)) {
                    outcome.changed = true;
                    outcome.removedStingIDs = {removed->id};
                }
            } else if constexpr (std::is_same_v<E, edit::Reorder>) {
                outcome.changed = document.reorder(e.pageID, e.stingIDs);
            } else if constexpr (std::is_same_v<E, edit::Rename>) {
                outcome.changed = document.rename(e.stingID, e.name);
            } else if constexpr (std::is_same_v<E, edit::SetSoloMode>) {
                outcome.changed = document.setSoloMode(e.enabled);
            } else if constexpr (std::is_same_v<E, edit::CreatePage>) {
                outcome.createdPageID = document.createPage(e.name);
                outcome.changed = true;
            } else if constexpr (std::is_same_v<E, edit::RenamePage>) {
                outcome.changed = document.renamePage(e.pageID, e.name);
            } else if constexpr (std::is_same_v<E, edit::DeletePage>) {
                if (auto removed = document.deletePage(e.pageID)) {
                    outcome.changed = true;
                    outcome.removedStingIDs = idsOf(*removed);
                }
            } else if constexpr (std::is_same_v<E, edit::SetActivePage>) {
                outcome.changed = document.setActivePage(e.pageID);
            } else if constexpr (std::is_same_v<E, edit::ReorderPages>) {
                outcome.changed = document.reorderPages(e.pageIDs);
            } else if constexpr (std::is_same_v<E, edit::SetOutputDevice>) {
                outcome.changed = document.setOutputDevice(e.deviceUID);
            }
        },
        command);
    return outcome;
}

}  // namespace brellow
