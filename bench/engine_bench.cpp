// The engine's own costs: how soon an observer hears playbackStarted after play, and how much
// of a core the executor spends on 64 stings with fades. Prints its figures.
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include <sndfile.h>

#include "audio/drivers/null_driver.h"
#include "audio/engine/audio_engine_service.h"
#include "audio/engine/sting_node.h"
#include "audio/graph/rt_guard.h"
#include "base/log.h"

using namespace brellow;
using namespace brellow::audio;
using namespace std::chrono_literals;

namespace {

std::filesystem::path writeTone(const std::filesystem::path& path, int frames, int rate = 48000) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 2;
    info.format = SF_FORMAT_CAF | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> samples(static_cast<std::size_t>(frames) * 2, 0.1f);
    sf_writef_float(file, samples.data(), frames);
    sf_close(file);
    return path;
}

// Resident memory of this process in bytes.
double residentBytes() {
    long pages = 0, resident = 0;
    if (std::FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(statm);
    }
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double threadCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

struct Rig {
    ThreadExecutor executor;
    ThreadExecutor delivery;
    std::shared_ptr<AudioEngineService> engine;
    explicit Rig(unsigned loadThreads = 0, std::uint64_t memoryBudget = 0) {
        AudioEngineService::Options options;
        options.driver = std::make_unique<NullDriver>(48000, 256);
        options.loadThreads = loadThreads;
        options.memoryBudgetBytes = memoryBudget;
        options.executor = &executor;
        options.delivery = &delivery;
        engine = AudioEngineService::create(std::move(options));
    }
    // Runs `job` on the executor and waits for it.
    template <class T>
    T onExecutor(std::function<T()> job) {
        std::promise<T> result;
        executor.post([&] { result.set_value(job()); });
        return result.get_future().get();
    }
};

}  // namespace

int main() {
    logging::setSinks({});
    const auto dir = std::filesystem::temp_directory_path() / "brellow-engine-bench";
    std::filesystem::create_directories(dir);

    for (const int rate : {48000, 44100}) {  // play to playbackStarted at an observer
        Rig rig;
        std::mutex mutex;
        std::condition_variable heard;
        std::uint64_t heardAt = 0;
        rig.engine->addObserver([&](const Event& event) {
            if (!std::holds_alternative<event::PlaybackStarted>(event)) return;
            const std::lock_guard lock(mutex);
            heardAt = MonotonicClock::shared().now();
            heard.notify_all();
        });
        const Uuid id = Uuid::generate();
        rig.engine->loadSting(id, writeTone(dir / "tone.caf", rate * 5, rate), 0);
        std::vector<double> latencies;
        for (int trial = 0; trial < 501; ++trial) {
            std::unique_lock lock(mutex);
            heardAt = 0;
            lock.unlock();
            const std::uint64_t command = MonotonicClock::shared().now();
            rig.engine->play(id, std::nullopt, std::nullopt, false, 0.1, 0.1);
            lock.lock();
            heard.wait_for(lock, 1s, [&] { return heardAt != 0; });
            if (trial > 0 && heardAt != 0)
                latencies.push_back(static_cast<double>(heardAt - command) / 1e6);
            lock.unlock();
            std::this_thread::sleep_for(2ms);
        }
        std::sort(latencies.begin(), latencies.end());
        std::printf(
            "play to playbackStarted at an observer, %d Hz sting on 48 kHz (%zu trials): min "
            "%.3f ms, median %.3f ms, p99 %.3f ms, max %.3f ms\n",
            rate, latencies.size(), latencies.front(), latencies[latencies.size() / 2],
            latencies[latencies.size() * 99 / 100], latencies.back());
    }

    {  // a show of 2000 one-second 44.1 kHz stereo stings: load time and resident memory
        constexpr int kStings = 2000;
        const auto showDir = dir / "show";
        std::filesystem::create_directories(showDir);
        std::vector<std::filesystem::path> files;
        for (int i = 0; i < kStings; ++i)
            files.push_back(writeTone(showDir / (std::to_string(i) + ".caf"), 44100, 44100));
        // On a load thread per core, then in order on the executor (the reference); the first run
        // gives the clean memory figure, since the second reuses memory the first freed.
        const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
        for (const unsigned threads : {cores, 0u}) {
            const double before = residentBytes();
            double seconds = 0;
            double resident = 0;
            {
                Rig rig(threads);
                std::mutex mutex;
                std::condition_variable done;
                int loaded = 0;
                const auto start = std::chrono::steady_clock::now();
                for (const auto& file : files) {
                    rig.engine->loadSting(Uuid::generate(), file, 0,
                                          [&](std::optional<EngineFailure>) {
                                              const std::lock_guard lock(mutex);
                                              ++loaded;
                                              done.notify_all();
                                          });
                }
                std::unique_lock lock(mutex);
                done.wait_for(lock, 120s, [&] { return loaded == kStings; });
                lock.unlock();
                seconds =
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
                std::this_thread::sleep_for(200ms);  // a few periods of the idle show
                resident = residentBytes() - before;
            }
            const double media = kStings * 44100.0 * 2 * 4;
            std::printf(
                "open 2000 one-second 44.1 kHz stereo stings, %u load threads: all playable in "
                "%.2f s; resident growth %.0f MiB for %.0f MiB of decoded media (%.2fx, %.0f KiB "
                "per sting beyond its media)\n",
                threads, seconds, resident / 1048576, media / 1048576, resident / media,
                (resident - media) / kStings / 1024);
        }
    }

    {  // a 2 GiB show under a 1 GiB budget: what streams, memory, and starts
        constexpr int kStings = 92;  // a minute of 48 kHz stereo each: 23 MB, 2.1 GB in all
        const auto showDir = dir / "big";
        std::filesystem::create_directories(showDir);
        std::vector<std::filesystem::path> files;
        for (int i = 0; i < kStings; ++i)
            files.push_back(writeTone(showDir / (std::to_string(i) + ".caf"), 48000 * 60));
        const double before = residentBytes();
        const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
        Rig rig(cores, std::uint64_t{1} << 30);
        std::mutex mutex;
        std::condition_variable heard;
        int loaded = 0;
        std::uint64_t heardAt = 0;
        rig.engine->addObserver([&](const Event& event) {
            if (!std::holds_alternative<event::PlaybackStarted>(event)) return;
            const std::lock_guard lock(mutex);
            heardAt = MonotonicClock::shared().now();
            heard.notify_all();
        });
        std::vector<Uuid> ids;
        const auto start = std::chrono::steady_clock::now();
        for (const auto& file : files) {
            ids.push_back(Uuid::generate());
            rig.engine->loadSting(ids.back(), file, 0, [&](std::optional<EngineFailure>) {
                const std::lock_guard lock(mutex);
                ++loaded;
                heard.notify_all();
            });
        }
        {
            std::unique_lock lock(mutex);
            heard.wait_for(lock, 300s, [&] { return loaded == kStings; });
        }
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const int streamed = rig.onExecutor<int>([&] {
            int count = 0;
            for (const Uuid& id : ids) {
                const StingNode* node = rig.engine->nodeForTesting(id);
                count += node != nullptr && node->storage == StingNode::Storage::file ? 1 : 0;
            }
            return count;
        });
        const double resident = residentBytes() - before;
        // Start each streamed sting in turn, mid-show, and time play to playbackStarted.
        std::vector<double> latencies;
        for (const Uuid& id : ids) {
            const bool isFile = rig.onExecutor<bool>([&] {
                return rig.engine->nodeForTesting(id)->storage == StingNode::Storage::file;
            });
            if (!isFile) continue;
            std::unique_lock lock(mutex);
            heardAt = 0;
            lock.unlock();
            const std::uint64_t command = MonotonicClock::shared().now();
            rig.engine->play(id, std::nullopt, std::nullopt, false, 0, 0);
            lock.lock();
            heard.wait_for(lock, 1s, [&] { return heardAt != 0; });
            if (heardAt != 0) latencies.push_back(static_cast<double>(heardAt - command) / 1e6);
            lock.unlock();
            std::this_thread::sleep_for(20ms);
        }
        std::sort(latencies.begin(), latencies.end());
        std::printf(
            "2.1 GB show under a 1 GiB budget: loaded in %.2f s, %d of %d stings stream; resident "
            "growth %.0f MiB; play to playbackStarted of each streamed sting: median %.3f ms, "
            "max %.3f ms\n",
            seconds, streamed, kStings, resident / 1048576,
            latencies.empty() ? 0.0 : latencies[latencies.size() / 2],
            latencies.empty() ? 0.0 : latencies.back());
        std::filesystem::remove_all(showDir);
    }

    {  // 64 stings with fades: executor work per second
        Rig rig;
        std::vector<Uuid> ids;
        const auto tone = writeTone(dir / "long.caf", 48000 * 12);
        for (int i = 0; i < 64; ++i) {
            ids.push_back(Uuid::generate());
            rig.engine->loadSting(ids.back(), tone, -12);
        }
        for (const Uuid& id : ids)
            rig.engine->play(id, 0.0, 10.0, false, 2.0, 2.0);
        std::this_thread::sleep_for(100ms);
        RenderThreadViolations::allocations = 0;
        RenderThreadViolations::locks = 0;
        const double before = rig.onExecutor<double>(threadCpuSeconds);
        const auto start = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(5s);
        const double after = rig.onExecutor<double>(threadCpuSeconds);
        const double wall =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::printf(
            "64 stings fading in and out: executor busy %.2f ms per second (%.2f%% of a core); "
            "render thread allocations %llu, locks %llu\n",
            (after - before) / wall * 1000, (after - before) / wall * 100,
            static_cast<unsigned long long>(RenderThreadViolations::allocations.load()),
            static_cast<unsigned long long>(RenderThreadViolations::locks.load()));
    }
    std::filesystem::remove_all(dir);
    return 0;
}
