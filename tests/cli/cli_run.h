#pragma once
// Runs brellow-cli as a user would, in a process of its own, with its cache in `dir`.
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace brellow::test {

struct CliRun {
    int exitCode;
    std::string out;
    std::string err;
};

inline std::string shellQuote(const std::string& arg) {
    std::string quoted = "'";
    for (const char c : arg) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

/// `input`, when given, is fed to the program's stdin.
inline CliRun cli(const std::vector<std::string>& args, const std::filesystem::path& dir,
                  const std::string& input = {}) {
    std::string command =
        std::string("XDG_CACHE_HOME=") + shellQuote((dir / "cache").string()) + " " + BRELLOW_CLI;
    for (const auto& arg : args)
        command += " " + shellQuote(arg);
    const std::filesystem::path errFile = dir / "stderr.txt";
    const std::filesystem::path inFile = dir / "stdin.txt";
    writeFile(inFile, input);
    command += " <" + shellQuote(inFile.string()) + " 2>" + shellQuote(errFile.string());
    FILE* pipe = popen(command.c_str(), "r");
    std::string out;
    std::array<char, 4096> buffer{};
    while (const std::size_t got = fread(buffer.data(), 1, buffer.size(), pipe))
        out.append(buffer.data(), got);
    const int status = pclose(pipe);
    return {WEXITSTATUS(status), out, readFile(errFile)};
}

}  // namespace brellow::test
