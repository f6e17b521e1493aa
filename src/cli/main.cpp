#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

#include "base/log.h"
#include "cli/cli.h"

namespace {

constexpr const char* kUsage =
    "usage: brellow-cli [--verbose] COMMAND ...\n       brellow-cli --help | --version\n"
    "\n"
    "  new DEST.stingshow [--name NAME] [--demo]\n"
    "                                     write a new show package (--demo: with the\n"
    "                                     demonstration stings)\n"
    "  show PKG                           open a package and print its show.json\n"
    "  resave PKG DEST                    open PKG and save it as the package DEST\n"
    "  edit PKG COMMAND JSON              apply one edit (setTrim, rename, createPage, ...)\n"
    "                                     with its JSON arguments and save in place\n"
    "  versions PKG                       list the earlier versions the package keeps,\n"
    "                                     newest first: position, id, time, sting count\n"
    "  restore PKG VERSION                bring back a version (by id or position) and save;\n"
    "                                     the state it replaces becomes a version in turn\n"
    "  tone [--freq HZ] [--seconds SEC] [--level DB] [--device ID] [--low-latency]\n"
    "                                     play a sine through the system output\n"
    "  devices                            list the audio outputs by the identifiers --device\n"
    "                                     and a show's output device take (* the default)\n"
    "  latency [--device ID] [--runs N] [--low-latency]\n"
    "                                     measure command to first sample at a PulseAudio or\n"
    "                                     PipeWire sink by recording its monitor\n"
    "  play [--device ID] PKG STING...    play stings (by name or identifier) through the\n"
    "                                     show's output; Ctrl+C stops them with their fade-outs\n"
    "  render PKG OUT.wav --duration SEC [--rate HZ] [--memory-limit BYTES] [ACTION...]\n"
    "                                     render offline into a stereo float WAV; an ACTION is\n"
    "                                     SEC:play:STING, SEC:stop:STING[:FADE], SEC:stopall,\n"
    "                                     SEC:volume:STING:DB, SEC:master:DB,\n"
    "                                     SEC:trim:STING:IN:OUT (empty for none),\n"
    "                                     SEC:loop:STING:on|off, SEC:configchange or SEC:wake\n"
    "  import PKG FILE|FOLDER...          import audio files (a folder: the files in it) into\n"
    "                                     the active page and save\n"
    "  peaks FILE.bin                     print a waveform file's peaks per second and count\n"
    "  bridge PKG                         the page protocol on stdin: \"HANDLER JSON\",\n"
    "                                     \"wait MS\" or \"save\"; prints every script sent\n"
    "                                     to the page\n"
    "  bootstrap                          print the script injected into the page before its\n"
    "                                     own scripts\n"
    "  check-updates [--feed URL] [--version V] [--channel C] [--timeout SEC]\n"
    "                                     check the update feed once and say what it offers\n"
    "\n"
    "  --verbose   write log lines to stderr\n"
    "  --help      print this help\n"
    "  --version   print the version\n"
    "\n"
    "Exit status: 0 done, 1 failed (the reason is on stderr), 2 wrong command line.\n";

}  // namespace

int main(int argc, char** argv) {
    using namespace brellow;
    // A write past a file-size limit fails with an error we report, instead of ending us.
    std::signal(SIGXFSZ, SIG_IGN);
    std::vector<std::string> args(argv + 1, argv + argc);
    bool verbose = false;
    while (!args.empty() && args.front().starts_with("--")) {
        if (args.front() == "--verbose") {
            verbose = true;
        } else if (args.front() == "--version") {
            std::printf("brellow-cli %s\n", BRELLOW_VERSION);
            return cli::kExitOk;
        } else if (args.front() == "--help") {
            std::fputs(kUsage, stdout);
            return cli::kExitOk;
        } else {
            return cli::complain(cli::kExitUsage, "unknown option " + args.front());
        }
        args.erase(args.begin());
    }
    if (verbose) {
        logging::setSinks({std::make_shared<StderrLogSink>()});
    } else if (JournalLogSink::journalAvailable()) {
        logging::setSinks({std::make_shared<JournalLogSink>()});
    }
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        return cli::kExitUsage;
    }

    const std::map<std::string, int (*)(const cli::Arguments&)> commands = {
        {"new", cli::runNew},
        {"show", cli::runShow},
        {"resave", cli::runResave},
        {"edit", cli::runEdit},
        {"versions", cli::runVersions},
        {"restore", cli::runRestore},
        {"tone", cli::runTone},
        {"devices", cli::runDevices},
        {"latency", cli::runLatency},
        {"play", cli::runPlay},
        {"render", cli::runRender},
        {"import", cli::runImport},
        {"peaks", cli::runPeaks},
        {"bridge", cli::runBridge},
        {"bootstrap", cli::runBootstrap},
        {"check-updates", cli::runCheckUpdates},
    };
    const auto command = commands.find(args.front());
    if (command == commands.end()) {
        std::fputs(kUsage, stderr);
        return cli::complain(cli::kExitUsage, "unknown command " + args.front());
    }
    args.erase(args.begin());
    return command->second(args);
}
