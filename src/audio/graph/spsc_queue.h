#pragma once
// A bounded lock-free queue for one producer thread and one consumer thread. All memory is
// allocated at construction, so pushing and popping never allocate, lock or block: this is
// how control threads and the render thread talk.
#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <type_traits>

namespace brellow::audio {

template <class T>
class SpscQueue {
    static_assert(std::is_trivially_copyable_v<T>, "render-thread messages are plain values");

  public:
    explicit SpscQueue(std::size_t capacity)
        : capacity_(capacity + 1), slots_(std::make_unique<T[]>(capacity + 1)) {}

    /// False when full; the element is then not queued.
    bool push(const T& value) {
        const std::size_t tail = tail_.load(std::memory_order_relaxed);
        const std::size_t next = (tail + 1) % capacity_;
        if (next == head_.load(std::memory_order_acquire)) return false;
        slots_[tail] = value;
        tail_.store(next, std::memory_order_release);
        return true;
    }

    std::optional<T> pop() {
        const std::size_t head = head_.load(std::memory_order_relaxed);
        if (head == tail_.load(std::memory_order_acquire)) return std::nullopt;
        T value = slots_[head];
        head_.store((head + 1) % capacity_, std::memory_order_release);
        return value;
    }

    bool empty() const {
        return head_.load(std::memory_order_acquire) == tail_.load(std::memory_order_acquire);
    }

  private:
    const std::size_t capacity_;
    std::unique_ptr<T[]> slots_;
    alignas(64) std::atomic<std::size_t> head_{0};
    alignas(64) std::atomic<std::size_t> tail_{0};
};

}  // namespace brellow::audio
