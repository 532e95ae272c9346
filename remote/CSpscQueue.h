#pragma once
// A bounded queue for one producer thread and one consumer thread, without locks: the
// producer owns the tail, the consumer the head; each publishes its index with release and
// reads the other's with acquire. A full queue refuses (the producer counts it) rather than
// waiting. Capacity is a power of two so that indices wrap by a mask.
// push and pop: no allocation, no lock, no waiting.

#include <array>
#include <atomic>
#include <cstddef>

template <typename T, std::size_t Capacity>
class CSpscQueue {
    static_assert(Capacity >= 2 && (Capacity & (Capacity - 1)) == 0, "capacity must be a power of two");

public:
    // Producer thread. False when the queue is full (nothing is stored).
    bool push(const T& value)
    {
        const std::size_t tail = mTail.load(std::memory_order_relaxed);
        if (tail - mHead.load(std::memory_order_acquire) == Capacity)
            return false;
        mItems[tail & kMask] = value;
        mTail.store(tail + 1, std::memory_order_release);
        return true;
    }

    // Consumer thread. False when the queue is empty.
    bool pop(T& value)
    {
        const std::size_t head = mHead.load(std::memory_order_relaxed);
        if (head == mTail.load(std::memory_order_acquire))
            return false;
        value = mItems[head & kMask];
        mHead.store(head + 1, std::memory_order_release);
        return true;
    }

    static constexpr std::size_t capacity() { return Capacity; }

private:
    static constexpr std::size_t kMask = Capacity - 1;
    std::array<T, Capacity> mItems{};
    alignas(64) std::atomic<std::size_t> mHead{0};
    alignas(64) std::atomic<std::size_t> mTail{0};
};
