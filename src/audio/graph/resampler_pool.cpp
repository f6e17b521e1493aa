#include "audio/graph/resampler_pool.h"

namespace brellow::audio {

ResamplerPool::ResamplerPool(std::size_t stockPerPair, bool background)
    : stockPerPair_(stockPerPair) {
    if (background) filler_ = std::thread([this] { run(); });
}

ResamplerPool::~ResamplerPool() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (filler_.joinable()) filler_.join();
}

void ResamplerPool::registerPair(double inputRate, double outputRate) {
    if (inputRate <= 0 || outputRate <= 0 || inputRate == outputRate) return;
    {
        const std::lock_guard lock(mutex_);
        stock_.try_emplace({inputRate, outputRate});
    }
    wake_.notify_all();
}

std::unique_ptr<Resampler> ResamplerPool::take(double inputRate, double outputRate) {
    {
        const std::lock_guard lock(mutex_);
        const auto it = stock_.find({inputRate, outputRate});
        if (it != stock_.end() && !it->second.empty()) {
            auto ready = std::move(it->second.back());
            it->second.pop_back();
            wake_.notify_all();
            return ready;
        }
    }
    wake_.notify_all();
    return std::make_unique<Resampler>(inputRate, outputRate);
}

std::size_t ResamplerPool::ready(double inputRate, double outputRate) const {
    const std::lock_guard lock(mutex_);
    const auto it = stock_.find({inputRate, outputRate});
    return it == stock_.end() ? 0 : it->second.size();
}

const ResamplerPool::Pair* ResamplerPool::shortPair() const {
    for (const auto& [pair, ready] : stock_) {
        const auto making = inMaking_.find(pair);
        const std::size_t coming = making == inMaking_.end() ? 0 : making->second;
        if (ready.size() + coming < stockPerPair_) return &pair;
    }
    return nullptr;
}

void ResamplerPool::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || shortPair() != nullptr; });
        if (stopping_) return;
        const Pair pair = *shortPair();
        ++inMaking_[pair];
        lock.unlock();
        auto made = std::make_unique<Resampler>(pair.first, pair.second);  // the slow part
        lock.lock();
        --inMaking_[pair];
        stock_[pair].push_back(std::move(made));
    }
}

}  // namespace brellow::audio
