#include "serve/access_guard.h"

#include <glib.h>

#include <array>
#include <cstdio>
#include <fstream>

namespace brellow::serve {

std::string makeAccessToken() {
    std::array<unsigned char, 32> bytes{};
    std::ifstream random("/dev/urandom", std::ios::binary);
    random.read(reinterpret_cast<char*>(bytes.data()), bytes.size());
    if (!random) {
        // Without /dev/urandom, GLib's generator still gives unguessable values per run.
        for (auto& byte : bytes)
            byte = static_cast<unsigned char>(g_random_int_range(0, 256));
    }
    std::string token;
    token.reserve(bytes.size() * 2);
    for (const unsigned char byte : bytes) {
        std::array<char, 3> hex{};
        std::snprintf(hex.data(), hex.size(), "%02x", byte);
        token += hex.data();
    }
    return token;
}

bool sameToken(std::string_view presented, std::string_view expected) {
    if (presented.size() != expected.size() || expected.empty()) return false;
    unsigned char difference = 0;
    for (std::size_t i = 0; i < expected.size(); ++i)
        difference |= static_cast<unsigned char>(presented[i] ^ expected[i]);
    return difference == 0;
}

std::optional<std::string> cookieValue(std::string_view header, std::string_view name) {
    while (!header.empty()) {
        const auto end = header.find(';');
        std::string_view pair = header.substr(0, end);
        header = end == std::string_view::npos ? std::string_view{} : header.substr(end + 1);
        while (!pair.empty() && pair.front() == ' ')
            pair.remove_prefix(1);
        const auto equals = pair.find('=');
        if (equals != std::string_view::npos && pair.substr(0, equals) == name)
            return std::string(pair.substr(equals + 1));
    }
    return std::nullopt;
}

bool originMatchesHost(std::string_view origin, std::string_view host) {
    constexpr std::string_view kScheme = "http://";
    return !host.empty() && origin.size() == kScheme.size() + host.size() &&
           origin.substr(0, kScheme.size()) == kScheme && origin.substr(kScheme.size()) == host;
}

std::optional<std::filesystem::path> fileUnderRoot(const std::filesystem::path& root,
                                                   std::string_view requestPath) {
    if (requestPath.empty() || requestPath.front() != '/') return std::nullopt;
    std::filesystem::path relative;
    std::string_view rest = requestPath.substr(1);
    while (!rest.empty()) {
        const auto slash = rest.find('/');
        const std::string_view part = rest.substr(0, slash);
        rest = slash == std::string_view::npos ? std::string_view{} : rest.substr(slash + 1);
        if (part.empty()) continue;
        if (part == "." || part == ".." || part.find('\\') != std::string_view::npos ||
            part.find('\0') != std::string_view::npos)
            return std::nullopt;
        relative /= std::string(part);
    }
    if (relative.empty()) relative = "index.html";
    std::error_code error;
    const auto base = std::filesystem::canonical(root, error);
    if (error) return std::nullopt;
    const auto file = std::filesystem::canonical(base / relative, error);
    if (error || !std::filesystem::is_regular_file(file, error)) return std::nullopt;
    // A symbolic link inside the folder must not lead out of it.
    const auto [rootEnd, fileIt] =
        std::mismatch(base.begin(), base.end(), file.begin(), file.end());
    if (rootEnd != base.end()) return std::nullopt;
    return file;
}

std::optional<std::string> safeUploadName(std::string_view name) {
    const auto slash = name.find_last_of("/\\");
    if (slash != std::string_view::npos) name = name.substr(slash + 1);
    std::string safe;
    for (const char c : name) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) continue;
        safe += c;
    }
    while (!safe.empty() && (safe.front() == '.' || safe.front() == ' '))
        safe.erase(safe.begin());
    if (safe.empty() || safe.size() > 200) return std::nullopt;
    return safe;
}

}  // namespace brellow::serve
