#include "audio/graph/disk_streamer.h"

#include <sndfile.h>

#include <chrono>

namespace brellow::audio {

namespace {
constexpr std::int64_t kChunkFrames = 8192;
}

struct DiskStreamer::Active {
    std::shared_ptr<StreamRing> ring;
    SNDFILE* file = nullptr;
    std::vector<float> chunk;
    ~Active() {
        if (file != nullptr) sf_close(file);
    }
};

DiskStreamer::DiskStreamer() : thread_([this] { run(); }) {}

DiskStreamer::~DiskStreamer() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void DiskStreamer::add(std::shared_ptr<StreamRing> ring) {
    auto active = std::make_unique<Active>();
    active->ring = std::move(ring);
    {
        const std::lock_guard lock(mutex_);
        pending_.push_back(std::move(active));
    }
    wake_.notify_all();
}

// Returns false when the ring needs nothing more (done, cancelled or failed).
bool DiskStreamer::fill(Active& active) {
    StreamRing& ring = *active.ring;
    if (ring.cancelled() || ring.framesStillToWrite() <= 0) return false;
    if (active.file == nullptr) {
        SF_INFO info{};
        active.file = sf_open(ring.path().c_str(), SFM_READ, &info);
        if (active.file == nullptr ||
            static_cast<std::uint32_t>(info.channels) != ring.channels() ||
            sf_seek(active.file, ring.nextFileFrame(), SEEK_SET) < 0) {
            ring.failRemaining();
            return false;
        }
        active.chunk.resize(static_cast<std::size_t>(kChunkFrames) * ring.channels());
    }
    while (!ring.cancelled()) {
        const std::int64_t want = std::min(ring.writable(), kChunkFrames);
        if (want <= 0) break;
        const sf_count_t got = sf_readf_float(active.file, active.chunk.data(), want);
        if (got <= 0) {
            ring.failRemaining();  // the file ended early or cannot be read: silence
            return false;
        }
        ring.write(active.chunk.data(), got);
    }
    return ring.framesStillToWrite() > 0 && !ring.cancelled();
}

void DiskStreamer::fillNow() {
    const std::lock_guard fillLock(fillMutex_);
    {
        const std::lock_guard lock(mutex_);
        for (auto& active : pending_)
            active_.push_back(std::move(active));
        pending_.clear();
    }
    std::erase_if(active_, [this](const std::unique_ptr<Active>& a) { return !fill(*a); });
    busy_.store(!active_.empty(), std::memory_order_relaxed);
}

void DiskStreamer::run() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        // Rings drain as the render thread reads them, so poll while any is being filled.
        if (busy_.load(std::memory_order_relaxed)) {
            wake_.wait_for(lock, std::chrono::milliseconds(5));
        } else {
            wake_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
        }
        if (stopping_) break;
        lock.unlock();
        fillNow();
        lock.lock();
    }
}

}  // namespace brellow::audio
