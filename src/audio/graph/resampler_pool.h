#pragma once
// Warmed converters kept ready for the rate pairs of the loaded stings, so a sting that starts
// takes one at once instead of spending a millisecond or two warming one up. A background
// thread tops the stock up after each take; without it, converters are made when taken.
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "audio/graph/resampler.h"

namespace brellow::audio {

class ResamplerPool {
  public:
    /// Keeps `stockPerPair` converters ready for every pair registered; `background` runs the
    /// thread that makes them.
    ResamplerPool(std::size_t stockPerPair, bool background);
    ~ResamplerPool();
    ResamplerPool(const ResamplerPool&) = delete;
    ResamplerPool& operator=(const ResamplerPool&) = delete;

    /// Keeps converters ready from `inputRate` to `outputRate` from now on.
    void registerPair(double inputRate, double outputRate);
    /// A ready converter for the pair, or one made now when none is ready.
    std::unique_ptr<Resampler> take(double inputRate, double outputRate);
    /// Converters ready for the pair (for tests and benchmarks).
    std::size_t ready(double inputRate, double outputRate) const;

  private:
    using Pair = std::pair<double, double>;
    void run();
    /// A pair whose stock is short, if any; with the lock held.
    const Pair* shortPair() const;

    const std::size_t stockPerPair_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::map<Pair, std::vector<std::unique_ptr<Resampler>>> stock_;
    std::map<Pair, std::size_t> inMaking_;
    bool stopping_ = false;
    std::thread filler_;
};

}  // namespace brellow::audio
