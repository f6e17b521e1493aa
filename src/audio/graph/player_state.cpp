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
    const bool convert = format.sampleRate > 0 && format.sampleRate != deviceRate;
    // Input frames needed for one block, with room for the converter's appetite.
    const double ratio = convert ? format.sampleRate / deviceRate : 1.0;
    scratchFrames_ = static_cast<std::size_t>(std::ceil(kMaxBlockFrames * ratio)) + 64;
    channelScratch_.assign(scratchFrames_ * channels, 0.0f);
    for (std::uint32_t c = 0; c < channels; ++c) {
        channelPointers_[c] = channelScratch_.data() + c * scratchFrames_;
    }
    resampler_.reset();
    fifoFrames_ = 0;
    if (convert) {
        resampler_ = std::make_unique<Resampler>(format.sampleRate, deviceRate, scratchFrames_,
                                                 kMaxBlockFrames);
        discardFrames_ = resampler_->primeFrames();
        fifo_.assign(scratchFrames_ * 2, 0.0f);
        fifoPointers_ = {fifo_.data(), fifo_.data() + scratchFrames_};
        resampled_.assign(std::size_t{kMaxBlockFrames} * 2, 0.0f);
        resampledPointers_ = {resampled_.data(), resampled_.data() + kMaxBlockFrames};
    }
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

void PlayerState::flush(Resampler* fresh, SpscQueue<Notification>& notifications) {
    for (; count_ > 0; --count_) {
        complete(items_[head_], notifications);
        head_ = (head_ + 1) % kMaxItems;
    }
    itemPosition_ = 0;
    fifoFrames_ = 0;
    if (fresh != nullptr) {
        Notification released;
        released.kind = Notification::Kind::resamplerReleased;
        released.resampler = resampler_.release();
        resampler_.reset(fresh);
        discardFrames_ = fresh->primeFrames();
        if (released.resampler != nullptr && !notifications.push(released)) {
            droppedItems.fetch_add(1, std::memory_order_relaxed);  // leaks rather than frees here
        }
    }
}

void PlayerState::schedule(const ScheduledItem& item, Resampler* fresh,
                           SpscQueue<Notification>& notifications) {
    if ((item.options & kPlayerOptionInterrupts) != 0) flush(fresh, notifications);
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

void PlayerState::stop(Resampler* fresh, SpscQueue<Notification>& notifications) {
    flush(fresh, notifications);
    playing_ = false;
    startPending_ = false;
    epochSampleTime.store(kNotStarted, std::memory_order_release);
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
                        channelPointers_[c][i] = static_cast<float>(ints[c][from + i]) / 32768.0f;
                    }
                }
                mixChannels(channelPointers_.data(), 0, take, left + filled, right + filled);
            }
            itemPosition_ += take;
        } else if (item.stream != nullptr) {
            const std::int64_t got = item.stream->read(channelPointers_.data(), 0, take);
            // When the disk fell behind, the rest of this block is silence rather than a skip.
            if (got < take) item.stream->countUnderrun();
            mixChannels(channelPointers_.data(), 0, static_cast<std::uint32_t>(got), left + filled,
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
            complete(finished, notifications);
        }
    }
}

void PlayerState::render(float* left, float* right, std::uint32_t frames, const CycleTime& cycle,
                         SpscQueue<Notification>& notifications) {
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
    const std::uint32_t count = frames - offset;
    if (!resampler_) {
        pull(left + offset, right + offset, count, notifications);
        return;
    }
    // Convert through the FIFO: top it up with just enough input for what is still needed.
    std::size_t produced = 0;
    while (produced < count) {
        const std::size_t needed = count - produced + discardFrames_;
        const auto wanted =
            static_cast<std::size_t>(std::ceil(static_cast<double>(needed) / resampler_->ratio())) +
            8;
        const std::size_t room = scratchFrames_ - fifoFrames_;
        const auto topUp = static_cast<std::uint32_t>(
            std::min(room, wanted > fifoFrames_ ? wanted - fifoFrames_ : 0));
        if (topUp > 0) {
            std::fill_n(fifoPointers_[0] + fifoFrames_, topUp, 0.0f);
            std::fill_n(fifoPointers_[1] + fifoFrames_, topUp, 0.0f);
            pull(fifoPointers_[0] + fifoFrames_, fifoPointers_[1] + fifoFrames_, topUp,
                 notifications);
            fifoFrames_ += topUp;
        }
        std::size_t used = 0;
        float* out[2] = {resampledPointers_[0] + produced, resampledPointers_[1] + produced};
        std::size_t got =
            resampler_->process(fifoPointers_.data(), fifoFrames_, &used, out, count - produced);
        if (discardFrames_ > 0 && got > 0) {
            const std::size_t dropped = std::min(discardFrames_, got);
            for (float* channel : out)
                std::memmove(channel, channel + dropped, (got - dropped) * sizeof(float));
            got -= dropped;
            discardFrames_ -= dropped;
        }
        for (std::size_t c = 0; c < 2; ++c) {
            std::memmove(fifoPointers_[c], fifoPointers_[c] + used,
                         (fifoFrames_ - used) * sizeof(float));
        }
        fifoFrames_ -= used;
        produced += got;
        if (got == 0 && used == 0 && topUp == 0) break;  // cannot progress: leave silence
    }
    for (std::size_t i = 0; i < produced; ++i) {
        left[offset + i] += resampledPointers_[0][i];
        right[offset + i] += resampledPointers_[1][i];
    }
}

}  // namespace brellow::audio
