#include "bridge/command.h"

#include <algorithm>

namespace brellow::bridge {

std::string_view commandName(Command command) {
    return kCommandNames[static_cast<std::size_t>(command)];
}

std::optional<Command> parseCommand(std::string_view name) {
    const auto it = std::find(kCommandNames.begin(), kCommandNames.end(), name);
    if (it == kCommandNames.end()) return std::nullopt;
    return static_cast<Command>(it - kCommandNames.begin());
}

}  // namespace brellow::bridge
