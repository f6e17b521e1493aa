// Cost of saving and opening a show whose media are large, on the same and on another file
// system, and of the JSON codec.
// BRELLOW_BENCH_MEDIA_MB sets the media size (default 1024 MiB).
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <thread>

#include "base/log.h"
#include "document/show_document.h"
#include "model/show_codec.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

std::size_t mediaMegabytes() {
    const char* value = std::getenv("BRELLOW_BENCH_MEDIA_MB");  // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? std::strtoul(value, nullptr, 10) : 1024;
}

Sting benchSting(int index) {
    Sting sting;
    sting.id = Uuid::generate();
    sting.name = "Sting " + std::to_string(index);
    sting.mediaFilename = sting.id.toString() + ".caf";
    sting.waveformFilename = sting.id.toString() + ".bin";
    sting.durationSec = 12.5 + index;
    sting.volumeDB = -0.5 * index;
    sting.fadeOutSec = 0.25;
    sting.hotkey = std::to_string(1 + index % 9);
    return sting;
}

Show showWithStings(int count) {
    Show show = makeNewShow();
    for (int i = 0; i < count; ++i)
        show.pages[0].stings.push_back(benchSting(i));
    return show;
}

// A package with 64 stings whose media add up to the configured size, made once per place:
// below the temporary folder (the disk, where the working folders are too) or below /dev/shm
// (a tmpfs: another file system, as a USB stick or a network share would be).
struct BigPackage {
    fs::path root;
    fs::path package;
    fs::path scratch;

    explicit BigPackage(const fs::path& base) {
        logging::setSinks({});
        std::string pattern = (base / "brellow-bench-XXXXXX").string();
        root = mkdtemp(pattern.data());
        package = root / "Big.stingshow";
        scratch = fs::temp_directory_path() / "brellow-bench-scratch";
        const Show show = showWithStings(64);
        fs::create_directories(package / "Media");
        fs::create_directories(package / "Waveforms");
        std::ofstream(package / "show.json") << encodeShow(show, JsonStyle::file).value();
        const std::size_t bytesPerFile = mediaMegabytes() * 1024 * 1024 / 64;
        std::vector<char> block(1 << 20);
        std::mt19937 random(7);
        for (char& c : block)
            c = static_cast<char>(random());
        for (const Sting& sting : allStings(show)) {
            std::ofstream media(package / "Media" / sting.mediaFilename, std::ios::binary);
            for (std::size_t written = 0; written < bytesPerFile; written += block.size()) {
                media.write(block.data(), static_cast<std::streamsize>(
                                              std::min(block.size(), bytesPerFile - written)));
            }
            std::ofstream(package / "Waveforms" / *sting.waveformFilename) << "peaks";
        }
        ::sync();
    }
    ~BigPackage() {
        fs::remove_all(root);
        fs::remove_all(scratch);
    }
    BigPackage(const BigPackage&) = delete;
    BigPackage& operator=(const BigPackage&) = delete;
};

BigPackage& bigPackage() {
    static BigPackage package(fs::temp_directory_path());
    return package;
}

BigPackage& bigPackageElsewhere() {
    static BigPackage package("/dev/shm");
    return package;
}

// Saves in place after one rename, as autosave does; each save keeps the replaced package as
// a version and, past 20 versions, removes the oldest.
void saveAfterSmallEdit(benchmark::State& state, BigPackage& big) {
    ShowDocument document(big.scratch);
    if (!document.read(big.package)) state.SkipWithError("open failed");
    const Uuid first = document.show().pages[0].stings[0].id;
    int n = 0;
    std::size_t copied = 0;
    for (auto _ : state) {
        document.rename(first, "Renamed " + std::to_string(++n));
        if (!document.save(big.package)) state.SkipWithError("save failed");
        copied += document.lastSaveReport().copied;
        if (!document.lastSaveReport().versionKept) state.SkipWithError("no version kept");
    }
    state.counters["media_MiB"] = static_cast<double>(mediaMegabytes());
    state.counters["files_copied"] = static_cast<double>(copied);
}

void SaveAfterSmallEdit(benchmark::State& state) {
    saveAfterSmallEdit(state, bigPackage());
}
BENCHMARK(SaveAfterSmallEdit)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2);

void SaveAfterSmallEditOtherFileSystem(benchmark::State& state) {
    saveAfterSmallEdit(state, bigPackageElsewhere());
}
BENCHMARK(SaveAfterSmallEditOtherFileSystem)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MinTime(2);

// Opening from another file system as the desktop does: the main loop runs while the media
// are copied in. Reports the longest the main loop was kept from running (the read itself
// included) and the time until every media file was in the working folder.
void OpenFromOtherFileSystem(benchmark::State& state) {
    BigPackage& big = bigPackageElsewhere();
    double longestStallMs = 0;
    double allArrivedMs = 0;
    for (auto _ : state) {
        auto document = std::make_unique<ShowDocument>(big.scratch);
        bool done = false;
        document->copyMediaInBackground(
            [&done](const CopyProgress& progress) { done = progress.finished(); });
        const auto start = std::chrono::steady_clock::now();
        if (!document->read(big.package)) state.SkipWithError("open failed");
        auto last = std::chrono::steady_clock::now();
        double longest = std::chrono::duration<double, std::milli>(last - start).count();
        while (!done) {
            g_main_context_iteration(nullptr, FALSE);
            const auto now = std::chrono::steady_clock::now();
            longest =
                std::max(longest, std::chrono::duration<double, std::milli>(now - last).count());
            last = now;
            if (!done) std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        longestStallMs = std::max(longestStallMs, longest);
        allArrivedMs = std::chrono::duration<double, std::milli>(last - start).count();
        state.PauseTiming();
        document.reset();
        ::sync();
        state.ResumeTiming();
    }
    state.counters["longest_stall_ms"] = longestStallMs;
    state.counters["all_media_in_ms"] = allArrivedMs;
    state.counters["media_MiB"] = static_cast<double>(mediaMegabytes());
}
BENCHMARK(OpenFromOtherFileSystem)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void OpenShowFillingWorkingFolder(benchmark::State& state) {
    BigPackage& big = bigPackage();
    for (auto _ : state) {
        auto document = std::make_unique<ShowDocument>(big.scratch);
        if (!document->read(big.package)) state.SkipWithError("open failed");
        state.PauseTiming();
        document.reset();  // removing the working folder is not part of opening
        state.ResumeTiming();
    }
    state.counters["media_MiB"] = static_cast<double>(mediaMegabytes());
}
BENCHMARK(OpenShowFillingWorkingFolder)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2);

// What copying the same package costs, for comparison with opening it.
void CopyPackageWithCp(benchmark::State& state) {
    BigPackage& big = bigPackage();
    const fs::path copy = big.root / "copy.stingshow";
    const std::string command = "cp -r '" + big.package.string() + "' '" + copy.string() + "'";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) state.SkipWithError("cp failed");  // NOLINT
        state.PauseTiming();
        fs::remove_all(copy);
        ::sync();
        state.ResumeTiming();
    }
}
BENCHMARK(CopyPackageWithCp)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// A hand-made or generated show of 100,000 stings on one page, without media: how long the
// open takes, and the peak memory of the process against the size of show.json.
void Open100000Stings(benchmark::State& state) {
    const fs::path root = fs::temp_directory_path() / "brellow-bench-100k";
    const fs::path package = root / "Many.stingshow";
    fs::create_directories(package / "Media");
    const std::string json = encodeShow(showWithStings(100'000), JsonStyle::file).value();
    std::ofstream(package / "show.json") << json;
    for (auto _ : state) {
        ShowDocument document(root / "scratch");
        if (!document.read(package)) state.SkipWithError("open failed");
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["show_json_MB"] = static_cast<double>(json.size()) / 1e6;
    state.counters["peak_rss_MB"] = static_cast<double>(usage.ru_maxrss) / 1e3;
    fs::remove_all(root);
}
BENCHMARK(Open100000Stings)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void EncodeShow1000Stings(benchmark::State& state) {
    const Show show = showWithStings(1000);
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto encoded = encodeShow(show, JsonStyle::file);
        bytes = encoded->size();
        benchmark::DoNotOptimize(encoded);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}
BENCHMARK(EncodeShow1000Stings)->Unit(benchmark::kMillisecond);

void DecodeShow1000Stings(benchmark::State& state) {
    const std::string text = encodeShow(showWithStings(1000), JsonStyle::file).value();
    for (auto _ : state) {
        auto decoded = decodeShow(text);
        benchmark::DoNotOptimize(decoded);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}
BENCHMARK(DecodeShow1000Stings)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace brellow

BENCHMARK_MAIN();
