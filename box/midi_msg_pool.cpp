#include "box/midi_msg_pool.h"

#include "box/midi_result.h"

#include <mutex>
#include <vector>

struct midi_msg_pool_record_t : boost::noncopyable {
    midi_msg_pool_record_t(int count, int messageSize);

    // Storage for the control block of a message's shared pointer.
    template <class T>
    static T* control_block(midi_msg_t* msg)
    {
        static_assert(sizeof(T) <= midi_msg_t::kControlBlockSize, "control block does not fit");
        static_assert(alignof(T) <= alignof(std::max_align_t));
        return reinterpret_cast<T*>(msg->mControlBlock);
    }
    // Gives a message back; called when its last shared pointer has let go.
    static void release(midi_msg_t* msg) noexcept;

    const int mTotal;
    int mInUse = 0;
    int mFreeCount = 0;
    std::vector<midi_msg_t*> mFree;
    const int mMessageSize;
    std::mutex mLock;
    std::vector<std::unique_ptr<midi_msg_t>> mMessages;
};

namespace {
// A message's shared pointer keeps its control block inside the message. boost destroys
// the control block after the deleter has run and hands its storage back through the
// allocator as the very last step; so the message goes back on the free stack there, and
// is never handed out again while its old control block is still in use.
template <class T>
struct in_message_allocator {
    using value_type = T;
    template <class U>
    struct rebind {
        using other = in_message_allocator<U>;
    };

    explicit in_message_allocator(midi_msg_t* msg) noexcept : mMsg(msg) {}
    template <class U>
    in_message_allocator(const in_message_allocator<U>& other) noexcept : mMsg(other.mMsg) {}

    T* allocate(std::size_t) { return midi_msg_pool_record_t::control_block<T>(mMsg); }
    void deallocate(T*, std::size_t) noexcept { midi_msg_pool_record_t::release(mMsg); }

    midi_msg_t* mMsg;
};

struct clear_message {
    void operator()(midi_msg_t* msg) const noexcept { msg->clear(); }
};
} // namespace

midi_msg_pool_record_t::midi_msg_pool_record_t(int count, int messageSize)
    : mTotal(count > 0 ? count : 0)
    , mFree(static_cast<std::size_t>(mTotal))
    , mMessageSize(messageSize > midi_msg_t::kMinCapacity ? messageSize : midi_msg_t::kMinCapacity)
{
    mMessages.reserve(mFree.size());
    for (int i = 0; i < mTotal; ++i) {
        mMessages.push_back(std::make_unique<midi_msg_t>(mMessageSize));
        mFree[static_cast<std::size_t>(mFreeCount++)] = mMessages.back().get();
    }
}

void midi_msg_pool_record_t::release(midi_msg_t* msg) noexcept
{
    // Held until the message is on the stack: the last message back may end the pool.
    boost::shared_ptr<midi_msg_pool_record_t> pool;
    pool.swap(msg->mPool);
    std::lock_guard<std::mutex> lock(pool->mLock);
    pool->mFree[static_cast<std::size_t>(pool->mFreeCount++)] = msg;
    --pool->mInUse;
}

midi_msg_pool_t::midi_msg_pool_t(int count, int messageSize)
    : mRecord(new midi_msg_pool_record_t(count, messageSize))
{
}

int midi_msg_pool_t::get(boost::shared_ptr<midi_msg_t>& out)
{
    midi_msg_t* msg = nullptr;
    {
        std::lock_guard<std::mutex> lock(mRecord->mLock);
        if (mRecord->mFreeCount == 0)
            return midi_pool_empty;
        msg = mRecord->mFree[static_cast<std::size_t>(--mRecord->mFreeCount)];
        ++mRecord->mInUse;
    }
    msg->mPool = mRecord;
    out = boost::shared_ptr<midi_msg_t>(msg, clear_message(), in_message_allocator<midi_msg_t>(msg));
    return midi_ok;
}

int midi_msg_pool_t::count() const { return mRecord->mTotal; }
int midi_msg_pool_t::message_size() const { return mRecord->mMessageSize; }

int midi_msg_pool_t::in_use() const
{
    std::lock_guard<std::mutex> lock(mRecord->mLock);
    return mRecord->mInUse;
}
