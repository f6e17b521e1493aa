// Import speed and memory: a 10-minute stereo 48 kHz file in FLAC, MP3 and AAC, converted and
// its waveform rendered on one core, against ffmpeg converting the same file to float CAF on
// one thread. Peak memory is measured in a child process, above a child that does nothing.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "base/log.h"
#include "media/sting_importer.h"
#include "media/waveform_renderer.h"

namespace fs = std::filesystem;
using namespace brellow;

namespace {

double seconds(const std::chrono::steady_clock::time_point& since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// Runs `work` in a child process; returns its peak resident size in KiB.
long childPeakKiB(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    return usage.ru_maxrss;
}

}  // namespace

int main() {
    logging::setSinks({});
    const fs::path dir = fs::temp_directory_path() / "brellow-import-bench";
    fs::remove_all(dir);
    fs::create_directories(dir / "Media");
    const double minutes =
        std::getenv("BRELLOW_BENCH_MINUTES") ? std::atof(std::getenv("BRELLOW_BENCH_MINUTES")) : 10;
    const double audioSeconds = minutes * 60;
    const std::string source = "-f lavfi -i \"sine=frequency=330:sample_rate=48000:duration=" +
                               std::to_string(audioSeconds) +
                               "\" -f lavfi -i \"anoisesrc=color=pink:sample_rate=48000:duration=" +
                               std::to_string(audioSeconds) +
                               ":amplitude=0.2\" -filter_complex amerge -ac 2";
    struct Format {
        const char* name;
        const char* file;
        const char* encoder;
    };
    const Format formats[] = {{"FLAC", "long.flac", ""},
                              {"MP3", "long.mp3", "-c:a libmp3lame -b:a 256k"},
                              {"AAC", "long.m4a", "-c:a aac -b:a 256k"}};
    std::printf(
        "import of %.0f minutes of stereo 48 kHz audio, conversion and waveform, one core\n",
        minutes);
    const long baseline = childPeakKiB([] {});
    for (const Format& format : formats) {
        const fs::path input = dir / format.file;
        const std::string make =
            "ffmpeg -v error -y " + source + " " + format.encoder + " '" + input.string() + "'";
        if (std::system(make.c_str()) != 0) return 1;  // NOLINT

        // Both write 230 MB, so the page cache and write-back add noise: alternate three runs
        // of each and keep the best of each.
        double ours = 1e9, theirs = 1e9;
        for (int round = 0; round < 3; ++round) {
            auto start = std::chrono::steady_clock::now();
            auto sting = media::importSting(input, dir / "Media");
            if (!sting) return 1;
            (void)media::renderWaveform(dir / "Media" / sting->mediaFilename, sting->id, dir, 500);
            ours = std::min(ours, seconds(start));
            fs::remove(dir / "Media" / sting->mediaFilename);

            start = std::chrono::steady_clock::now();
            const std::string reference = "ffmpeg -v error -y -threads 1 -i '" + input.string() +
                                          "' -c:a pcm_f32le '" + (dir / "reference.caf").string() +
                                          "'";
            if (std::system(reference.c_str()) != 0) return 1;  // NOLINT
            theirs = std::min(theirs, seconds(start));
            fs::remove(dir / "reference.caf");
        }

        const long peak = childPeakKiB([&] {
            auto again = media::importSting(input, dir / "Media");
            if (again)
                (void)media::renderWaveform(dir / "Media" / again->mediaFilename, again->id, dir,
                                            500);
        });
        std::printf(
            "%-5s %6.2f s = %5.0fx real time; ffmpeg -threads 1 %6.2f s (ratio %.2f); "
            "peak memory %.1f MiB above baseline\n",
            format.name, ours, audioSeconds / ours, theirs, ours / theirs,
            static_cast<double>(peak - baseline) / 1024.0);
    }
    fs::remove_all(dir);
    return 0;
}
