#include "audio/graph/player_state.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "audio/graph/pcm_buffer.h"
#include "audio/graph/stream_ring.h"

namespace brellow::audio {

void PlayerState::configure(const AudioFormat& newFormat, double newDeviceRate) {
    format = newFormat;
    deviceRate = newDeviceRate;
    const std::uint32_t channels = std::min(std::max(format.channelCount, 1u), kMaxSourceChannels);
    channelMap_ = ChannelMap::forChannels(channels);
    // A converter comes with the first item scheduled for the new rate.
    resampler_.reset();
    stopTailFrames_ = stopTailRead_ = 0;
    inputFed_ = outputTaken_ = 0;
}

void PlayerState::complete(const ScheduledItem& item, SpscQueue<Notification>& notifications) {
    if (item.stream != nullptr) item.stream->cancel();
    if (item.completionID == 0) return;
    Notification done;
    done.kind = Notification::Kind::completion;
    done.completionID = item.completionID;
    done.callbackType = item.callbackType;
    if (!notifications.push(done)) droppedItems.fetch_add(1, std::memory_order_relaxed);
}

void PlayerState::adopt(Resampler* fresh, SpscQueue<Notification>& notifications) {
    if (!resampler_ && fresh == nullptr) return;
    Notification released;
    released.kind = Notification::Kind::resamplerReleased;
    released.resampler = resampler_.release();
    resampler_.reset(fresh);
    inputFed_ = outputTaken_ = 0;
    if (released.resampler != nullptr && !notifications.push(released)) {
        droppedItems.fetch_add(1, std::memory_order_relaxed);  // leaks rather than frees here
    }
}

void PlayerState::flush(Resampler* fresh, SpscQueue<Notification>& notifications) {
    for (; count_ > 0; --count_) {
        complete(items_[head_], notifications);
        head_ = (head_ + 1) % kMaxItems;
    }
    for (; pendingCount_ > 0; --pendingCount_) {
        complete(pending_[pendingHead_].item, notifications);
        pendingHead_ = (pendingHead_ + 1) % kMaxItems;
    }
    itemPosition_ = 0;
    adopt(fresh, notifications);
}

void PlayerState::schedule(const ScheduledItem& item, Resampler* fresh,
                           SpscQueue<Notification>& notifications) {
    if ((item.options & kPlayerOptionInterrupts) != 0) {
        flush(fresh, notifications);
    } else if (fresh != nullptr) {
        adopt(fresh, notifications);  // the first item since the converter was let go
    }
    if (count_ == kMaxItems) {
        complete(item, notifications);  // no room: report it as done so nothing waits on it
        droppedItems.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    items_[(head_ + count_) % kMaxItems] = item;
    ++count_;
}

void PlayerState::play(std::uint64_t hostTime) {
    if (playing_) return;
    playing_ = true;
    startPending_ = true;
    startHostTime_ = hostTime;
}

void PlayerState::stop(Resampler* fresh, SpscQueue<Notification>& notifications, bool ramp) {
    if (ramp) {
        renderStopRamp(notifications);
    } else {
        stopTailFrames_ = stopTailRead_ = 0;
    }
    flush(fresh, notifications);
    playing_ = false;
    startPending_ = false;
    epochSampleTime.store(kNotStarted, std::memory_order_release);
}

void PlayerState::renderStopRamp(SpscQueue<Notification>& notifications) {
    // A player still waiting for its start has made no sound to ramp; one already ramping
    // keeps the rest of its ramp.
    if (!playing_ || startPending_ || deviceRate <= 0 || stopTailRead_ < stopTailFrames_) return;
    const auto frames = std::min<std::uint32_t>(
        kMaxStopRampFrames, static_cast<std::uint32_t>(std::lround(deviceRate * 0.005)));
    float* left = stopTail_.data();
    float* right = stopTail_.data() + kMaxStopRampFrames;
    std::fill_n(left, frames, 0.0f);
    std::fill_n(right, frames, 0.0f);
    produce(left, right, frames, notifications);
    for (std::uint32_t i = 0; i < frames; ++i) {
        const float gain = static_cast<float>(frames - i) / static_cast<float>(frames + 1);
        left[i] *= gain;
        right[i] *= gain;
    }
    stopTailFrames_ = frames;
    stopTailRead_ = 0;
}

void PlayerState::reset(Resampler* fresh, SpscQueue<Notification>& notifications) {
    flush(fresh, notifications);
    // Time restarts at zero from the next frame rendered.
    if (playing_ && !startPending_) {
        startPending_ = true;
        startHostTime_ = 0;
    }
    epochSampleTime.store(kNotStarted, std::memory_order_release);
}

void PlayerState::mixChannels(const float* const* channels, std::int64_t from, std::uint32_t count,
                              float* left, float* right) const {
    const std::uint32_t channelCount =
        std::min(std::max(format.channelCount, 1u), kMaxSourceChannels);
    for (std::uint32_t c = 0; c < channelCount; ++c) {
        const float toLeft = channelMap_.toLeft[c];
        const float toRight = channelMap_.toRight[c];
        const float* in = channels[c] + from;
        if (toLeft != 0) {
            for (std::uint32_t i = 0; i < count; ++i)
                left[i] += toLeft * in[i];
        }
        if (toRight != 0) {
            for (std::uint32_t i = 0; i < count; ++i)
                right[i] += toRight * in[i];
        }
    }
}

void PlayerState::pull(float* left, float* right, std::uint32_t frames,
                       SpscQueue<Notification>& notifications) {
    const std::uint32_t channels = std::min(std::max(format.channelCount, 1u), kMaxSourceChannels);
    std::uint32_t filled = 0;
    while (filled < frames && count_ > 0) {
        ScheduledItem& item = items_[head_];
        const std::int64_t remaining = item.frameCount - itemPosition_;
        const auto take =
            static_cast<std::uint32_t>(std::min<std::int64_t>(remaining, frames - filled));
        if (item.buffer != nullptr) {
            const std::int64_t from = item.startFrame + itemPosition_;
            if (const float* const* source = item.buffer->floatChannelData()) {
                mixChannels(source, from, take, left + filled, right + filled);
            } else if (const std::int16_t* const* ints = item.buffer->int16ChannelData()) {
                for (std::uint32_t c = 0; c < channels; ++c) {
                    for (std::uint32_t i = 0; i < take; ++i) {
                        scratch->channels[c][i] = static_cast<float>(ints[c][from + i]) / 32768.0f;
                    }
                }
                mixChannels(scratch->channels.data(), 0, take, left + filled, right + filled);
            }
            itemPosition_ += take;
        } else if (item.stream != nullptr) {
            const std::int64_t got = item.stream->read(scratch->channels.data(), channels, 0, take);
            // When the disk fell behind, the rest of this block is silence rather than a skip.
            if (got < take) item.stream->countUnderrun();
            mixChannels(scratch->channels.data(), 0, static_cast<std::uint32_t>(got), left + filled,
                        right + filled);
            itemPosition_ += got;
        }
        filled += take;
        if (itemPosition_ >= item.frameCount) {
            if ((item.options & kPlayerOptionLoops) != 0 && item.frameCount > 0) {
                itemPosition_ = 0;
                continue;
            }
            const ScheduledItem finished = item;
            head_ = (head_ + 1) % kMaxItems;
            --count_;
            itemPosition_ = 0;
            finish(finished, pullBase_ + filled, notifications);
        }
    }
}

void PlayerState::finish(const ScheduledItem& item, std::int64_t endInputFrame,
                         SpscQueue<Notification>& notifications) {
    if (!resampler_ || pendingCount_ == kMaxItems) {
        complete(item, notifications);
        return;
    }
    // The converter's output frame k is its input at k / ratio: the item's last frame is out
    // once the output reaches its end on that scale.
    const double end = static_cast<double>(endInputFrame) * resampler_->ratio();
    pending_[(pendingHead_ + pendingCount_) % kMaxItems] = {
        item, static_cast<std::int64_t>(std::ceil(end - 1e-6))};
    ++pendingCount_;
}

void PlayerState::completeHeard(SpscQueue<Notification>& notifications) {
    while (pendingCount_ > 0 && pending_[pendingHead_].heardAtOutputFrame <= outputTaken_) {
        complete(pending_[pendingHead_].item, notifications);
        pendingHead_ = (pendingHead_ + 1) % kMaxItems;
        --pendingCount_;
    }
}

void PlayerState::produceConverted(float* left, float* right, std::uint32_t count,
                                   SpscQueue<Notification>& notifications) {
    const std::size_t step = resampler_->stepFrames();
    float* const* input = scratch->step.data();
    // Bounded so a converter that stops giving output leaves silence instead of hanging.
    for (int steps = 0; resampler_->ready() < count && steps < 4096; ++steps) {
        std::fill_n(input[0], step, 0.0f);
        std::fill_n(input[1], step, 0.0f);
        pullBase_ = inputFed_;
        pull(input[0], input[1], static_cast<std::uint32_t>(step), notifications);
        inputFed_ += static_cast<std::int64_t>(step);
        resampler_->step(input);
    }
    const std::size_t take = std::min<std::size_t>(count, resampler_->ready());
    const float* convertedLeft = resampler_->readyChannel(0);
    const float* convertedRight = resampler_->readyChannel(1);
    for (std::size_t i = 0; i < take; ++i) {
        left[i] += convertedLeft[i];
        right[i] += convertedRight[i];
    }
    resampler_->take(take);
    outputTaken_ += static_cast<std::int64_t>(take);
    completeHeard(notifications);
}

void PlayerState::produce(float* left, float* right, std::uint32_t count,
                          SpscQueue<Notification>& notifications) {
    if (resampler_) {
        produceConverted(left, right, count, notifications);
    } else if (!converts()) {
        pull(left, right, count, notifications);
    }
}

void PlayerState::render(float* left, float* right, std::uint32_t frames, const CycleTime& cycle,
                         SpscQueue<Notification>& notifications) {
    if (stopTailRead_ < stopTailFrames_) {
        const std::uint32_t n = std::min(frames, stopTailFrames_ - stopTailRead_);
        for (std::uint32_t i = 0; i < n; ++i) {
            left[i] += stopTail_[stopTailRead_ + i];
            right[i] += stopTail_[kMaxStopRampFrames + stopTailRead_ + i];
        }
        stopTailRead_ += n;
    }
    if (!playing_) return;
    std::uint32_t offset = 0;
    if (startPending_) {
        if (startHostTime_ > cycle.hostTime) {
            const double ahead = static_cast<double>(startHostTime_ - cycle.hostTime) * 1e-9;
            const auto frame = static_cast<std::int64_t>(std::llround(ahead * cycle.sampleRate));
            if (frame >= frames) return;
            offset = static_cast<std::uint32_t>(frame);
        }
        startPending_ = false;
        epochSampleTime.store(cycle.sampleTime + offset, std::memory_order_release);
    }
    produce(left + offset, right + offset, frames - offset, notifications);
}

}  // namespace brellow::audio
