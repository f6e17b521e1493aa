#pragma once
// The command line of the headless mode: brellow --serve [PKG] [--listen ADDR:PORT]
// [--upload-limit-mb N] [--device ID].
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/result.h"

namespace brellow::serve {

inline constexpr unsigned kDefaultPort = 8731;

struct ListenAddress {
    std::string host = "127.0.0.1";
    unsigned port = kDefaultPort;
    friend bool operator==(const ListenAddress&, const ListenAddress&) = default;
};

struct ServeOptions {
    std::optional<std::filesystem::path> package;
    ListenAddress listen;
    std::uint64_t uploadLimitBytes = 512ULL * 1024 * 1024;
    /// The output for this run, in place of the show's own (brellow-cli devices lists them).
    std::optional<std::string> outputDevice;
};

/// "127.0.0.1:8731", "0.0.0.0:80", "[::1]:9000"; the port may be 0 (any free port).
Result<ListenAddress, std::string> parseListenAddress(const std::string& text);

/// The arguments after --serve.
Result<ServeOptions, std::string> parseServeArguments(const std::vector<std::string>& args);

}  // namespace brellow::serve
