#pragma once
// A bounded queue of block pointers between two threads of the render pipeline. Blocks
// come from a fixed pool and go round through the queues, so the queue never allocates
// after construction and, holding as many slots as the pool has blocks, never refuses a
// push. pop() waits for a block; close() lets the queue run dry and then ends the waits
// (the producer is done), abort() ends them at once (another stage failed).
//
// A consumer that found the queue empty sleeps until `wakeAt` blocks have gathered: a
// stage that is faster than the one feeding it then works in bursts instead of being
// woken for every block, which would cost the feeding thread a system call per block.
//
// Offline only: pop() waits on a mutex and a condition variable, which suits a render
// running as fast as it can and no real-time thread.

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

template <typename Block>
class CBlockQueue {
public:
    // `wakeAt` is at most `capacity`, and at least 1.
    CBlockQueue(std::size_t capacity, std::size_t wakeAt)
        : mSlots(capacity, nullptr), mWakeAt(std::clamp<std::size_t>(wakeAt, 1, std::max<std::size_t>(capacity, 1)))
    {
    }
    CBlockQueue(const CBlockQueue&) = delete;
    CBlockQueue& operator=(const CBlockQueue&) = delete;

    // Empty and open again; no thread may wait on the queue meanwhile.
    void reset()
    {
        const std::lock_guard lock(mMutex);
        mHead = mCount = 0;
        mClosed = mAborted = false;
    }

    // Ignored once aborted: the block is no longer wanted.
    void push(Block* block)
    {
        bool wake = false;
        {
            const std::lock_guard lock(mMutex);
            if (mAborted || mCount == mSlots.size())
                return;
            mSlots[(mHead + mCount) % mSlots.size()] = block;
            ++mCount;
            wake = mWaiting && mCount >= mWakeAt;
        }
        if (wake)
            mChanged.notify_one();
    }

    // The oldest block; null once aborted, or once closed and empty.
    Block* pop()
    {
        std::unique_lock lock(mMutex);
        if (mCount == 0) {
            mWaiting = true;
            mChanged.wait(lock, [this] { return mCount >= mWakeAt || mClosed || mAborted; });
            mWaiting = false;
        }
        if (mAborted || mCount == 0)
            return nullptr;
        Block* block = mSlots[mHead];
        mHead = (mHead + 1) % mSlots.size();
        --mCount;
        return block;
    }

    void close() { finish(mClosed); }
    void abort() { finish(mAborted); }

private:
    void finish(bool& flag)
    {
        {
            const std::lock_guard lock(mMutex);
            flag = true;
        }
        mChanged.notify_all();
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<Block*> mSlots;
    const std::size_t mWakeAt;
    std::size_t mHead = 0;
    std::size_t mCount = 0;
    bool mClosed = false;
    bool mAborted = false;
    bool mWaiting = false;
};
