#include "serve/serve_options.h"

#include <charconv>

namespace brellow::serve {

namespace {

std::optional<unsigned> parseNumber(const std::string& text, unsigned limit) {
    unsigned value = 0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end || value > limit) return std::nullopt;
    return value;
}

Failure<std::string> problem(std::string text) {
    return fail(std::move(text));
}

}  // namespace

Result<ListenAddress, std::string> parseListenAddress(const std::string& text) {
    const auto colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0)
        return problem("--listen wants ADDRESS:PORT, such as 0.0.0.0:8731");
    std::string host = text.substr(0, colon);
    if (host.front() == '[') {
        if (host.back() != ']' || host.size() < 3)
            return problem("--listen: unclosed [ in " + text);
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string::npos) {
        return problem("--listen: write IPv6 addresses in brackets, such as [::1]:8731");
    }
    const auto port = parseNumber(text.substr(colon + 1), 65535);
    if (!port) return problem("--listen: not a port: " + text.substr(colon + 1));
    return ListenAddress{host, *port};
}

Result<ServeOptions, std::string> parseServeArguments(const std::vector<std::string>& args) {
    ServeOptions options;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--device") {
            if (i + 1 == args.size()) return problem(arg + " needs a value");
            options.outputDevice = args[++i];
        } else if (arg == "--listen" || arg == "--upload-limit-mb") {
            if (i + 1 == args.size()) return problem(arg + " needs a value");
            const std::string& value = args[++i];
            if (arg == "--listen") {
                auto address = parseListenAddress(value);
                if (!address) return problem(address.error());
                options.listen = *address;
            } else {
                const auto megabytes = parseNumber(value, 1U << 20);
                if (!megabytes || *megabytes == 0)
                    return problem("--upload-limit-mb: not a size: " + value);
                options.uploadLimitBytes = std::uint64_t{*megabytes} * 1024 * 1024;
            }
        } else if (arg.starts_with("--")) {
            return problem("unknown option " + arg);
        } else if (options.package) {
            return problem("one show at a time: " + arg);
        } else {
            options.package = arg;
        }
    }
    return options;
}

}  // namespace brellow::serve
