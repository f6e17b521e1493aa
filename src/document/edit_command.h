#pragma once
// The show edits as the page names them ("setTrim", "rename", ...), with their arguments
// read from the page's JSON by the page protocol's rules: a malformed body is no edit at all.
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/uuid.h"

namespace brellow {

class ShowDocument;

namespace edit {
struct SetTrim {
    Uuid stingID;
    std::optional<double> inSec, outSec;
};
struct SetLoop {
    Uuid stingID;
    bool enabled;
};
struct SetFade {
    Uuid stingID;
    std::optional<double> fadeInSec, fadeOutSec;
};
struct SetHotkey {
    Uuid stingID;
    std::optional<std::string> key;
};
struct RemoveSting {
    Uuid stingID;
};
struct Reorder {
    Uuid pageID;
    std::vector<Uuid> stingIDs;
};
struct Rename {
    Uuid stingID;
    std::string name;
};
struct SetSoloMode {
    bool enabled;
};
struct CreatePage {
    std::string name;
};
struct RenamePage {
    Uuid pageID;
    std::string name;
};
struct DeletePage {
    Uuid pageID;
};
struct SetActivePage {
    Uuid pageID;
};
struct ReorderPages {
    std::vector<Uuid> pageIDs;
};
/// The show's output device; nothing for the system's default output.
struct SetOutputDevice {
    std::optional<std::string> deviceUID;
};
}  // namespace edit

using EditCommand =
    std::variant<edit::SetTrim, edit::SetLoop, edit::SetFade, edit::SetHotkey, edit::RemoveSting,
                 edit::Reorder, edit::Rename, edit::SetSoloMode, edit::CreatePage, edit::RenamePage,
                 edit::DeletePage, edit::SetActivePage, edit::ReorderPages, edit::SetOutputDevice>;

/// True when `name` is one of the edit commands.
bool isEditCommandName(std::string_view name);

/// The edit named `name` with the arguments of `body`, or nothing when the name is not an
/// edit, or the body is not an object, lacks a required key or has a value of the wrong type.
std::optional<EditCommand> parseEditCommand(std::string_view name, const nlohmann::json& body);

/// What applying an edit did.
struct EditOutcome {
    bool changed = false;
    std::vector<Uuid> clearedHotkeyStingIDs;  // setHotkey: stings that gave the key up
    std::vector<Uuid> removedStingIDs;        // removeSting, deletePage
    std::optional<Uuid> createdPageID;        // createPage
};

EditOutcome applyEditCommand(ShowDocument& document, const EditCommand& command);

}  // namespace brellow
