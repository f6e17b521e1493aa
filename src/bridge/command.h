#pragma once
// The page's commands. Each name is also the name of the message handler the page posts to.
#include <array>
#include <optional>
#include <string_view>

namespace brellow::bridge {

enum class Command {
    play,
    stop,
    stopAll,
    setVolume,
    setTrim,
    setLoop,
    setFade,
    setHotkey,
    setMasterVolume,
    importFiles,
    removeSting,
    reorder,
    rename,
    setOutputDevice,
    setSoloMode,
    createPage,
    renamePage,
    deletePage,
    setActivePage,
    reorderPages,
    requestState,
    requestWaveform,
    undo,
    redo,
    ready,
};

inline constexpr std::array<std::string_view, 25> kCommandNames = {
    "play",
    "stop",
    "stopAll",
    "setVolume",
    "setTrim",
    "setLoop",
    "setFade",
    "setHotkey",
    "setMasterVolume",
    "importFiles",
    "removeSting",
    "reorder",
    "rename",
    "setOutputDevice",
    "setSoloMode",
    "createPage",
    "renamePage",
    "deletePage",
    "setActivePage",
    "reorderPages",
    "requestState",
    "requestWaveform",
    "undo",
    "redo",
    "ready",
};

inline constexpr std::string_view kTourHandlerName = "brwTour";

std::string_view commandName(Command command);
/// Exact, case-sensitive.
std::optional<Command> parseCommand(std::string_view name);

}  // namespace brellow::bridge
