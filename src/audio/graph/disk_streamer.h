#pragma once
// Reads file segments ahead of the render thread, so that it never touches a file. One thread
// per engine; it keeps every queued segment's ring filled and drops segments that are done
// or cut short.
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "audio/graph/stream_ring.h"

namespace brellow::audio {

class DiskStreamer {
  public:
    DiskStreamer();
    ~DiskStreamer();
    DiskStreamer(const DiskStreamer&) = delete;
    DiskStreamer& operator=(const DiskStreamer&) = delete;

    /// Starts filling `ring` at once; called from a control thread.
    void add(std::shared_ptr<StreamRing> ring);

    /// Fills every ring as far as it goes, on the calling thread (offline rendering).
    void fillNow();

    /// Ring size: two seconds at 48 kHz, enough to ride out a slow disk.
    static constexpr std::uint32_t kRingFrames = 96000;

  private:
    struct Active;
    void run();
    bool fill(Active& active);

    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<std::unique_ptr<Active>> pending_;  // added, not yet taken by the thread
    std::vector<std::unique_ptr<Active>> active_;   // owned by whoever fills
    std::mutex fillMutex_;                          // one filler at a time
    bool stopping_ = false;
    std::atomic<bool> busy_{false};
    std::thread thread_;
};

}  // namespace brellow::audio
