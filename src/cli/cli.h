#pragma once
// brellow-cli: build, inspect and check shows from a terminal.
#include <filesystem>
#include <string>
#include <vector>

namespace brellow::cli {

using Arguments = std::vector<std::string>;

/// Exit codes: 0 success, 1 the operation failed, 2 the command line was wrong.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

int runNew(const Arguments& args);
int runShow(const Arguments& args);
int runResave(const Arguments& args);
int runEdit(const Arguments& args);
int runVersions(const Arguments& args);
int runRestore(const Arguments& args);
int runTone(const Arguments& args);
int runDevices(const Arguments& args);
int runLatency(const Arguments& args);
int runPlay(const Arguments& args);
int runRender(const Arguments& args);
int runImport(const Arguments& args);
int runPeaks(const Arguments& args);
int runBridge(const Arguments& args);
int runBootstrap(const Arguments& args);
int runCheckUpdates(const Arguments& args);

/// Seeds the package's empty show with the demonstration stings and saves it.
int seedNewShow(const std::filesystem::path& package);
/// Where the demonstration stings are.
std::filesystem::path demoFolder();

/// Prints "brellow-cli: <message>" to stderr and returns `code`.
int complain(int code, const std::string& message);

}  // namespace brellow::cli
