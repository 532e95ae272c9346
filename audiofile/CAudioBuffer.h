#pragma once
// The ring of four large buffers between the audio thread and the disk side of a
// streaming file. The block side converts one block at a time between float channels
// and interleaved file samples at a cursor into the current buffer; the disk side moves
// whole buffers to or from the file. Two queues of buffer indices say who may touch
// which buffer: a buffer in the ready queue waits for the disk side, one in the busy
// queue is being transferred, any other belongs to the block side.
//
// Audio thread (writeBlock, readBlock, under stateLock()): no allocation, no I/O; the
// only locks are the state lock and, once a buffer, the queue lock.

#include <QByteArray>
#include <QMutex>

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

// A fixed queue of buffer indices; never allocates.
class CIndexQueue {
public:
    static constexpr int capacity = 8;

    bool push(int index);
    // The first index, removed; -1 when empty.
    int takeFirst();
    bool contains(int index) const;
    void clear() { mCount = 0; }
    int size() const { return mCount; }

private:
    std::array<int, capacity> mItems{};
    int mHead = 0;
    int mCount = 0;
};

class CAudioBuffer {
public:
    enum tSampleType { sampleInteger = 0, sampleFloat = 1 };
    static constexpr int ringSize = 4;
    static constexpr int peakDataBytes = 0x800000;

    CAudioBuffer();
    ~CAudioBuffer();
    CAudioBuffer(const CAudioBuffer&) = delete;
    CAudioBuffer& operator=(const CAudioBuffer&) = delete;

    // Control side. Each resizes the ring to five seconds of blocks a buffer and resets
    // the cursor; 0, or 7 when memory is short.
    int setFrames(int frames);
    int setFileFormat(int sampleType, int bytesPerSample, int sampleRate, int channels);
    // File units per full scale; the inverse is kept beside it (0 for a scale of 0).
    void setScale(float scale);
    // Frames per peak value of the envelope; 0 keeps none.
    void setPeakBlockSize(int frames);
    void resetCursor();
    void setStopped(bool stopped);

    // Audio thread, with stateLock() held for the whole call.
    void writeBlock(float* const* channels);
    // Fills `channels` (the file's channel count of them); zeros while stopped or
    // while the disk side hasn't delivered the current buffer yet.
    void readBlock(float* const* channels);
    QMutex& stateLock() { return mStateLock; }

    // Disk side hand-over, any thread.
    // Moves the first ready buffer to the busy queue; -1 when none waits.
    int takeReady();
    // The disk side is done with the first busy buffer.
    void finishJob();
    void clearQueues();
    // Queues every buffer for reading, in ring order; the block side waits for the first.
    void primeAll();
    int queuedBuffers() const;
    QByteArray& buffer(int index) { return mBuffers[std::size_t(index)]; }

    // The used part of the current buffer when the block side holds one, else empty.
    // Shares the ring's bytes: use before the next block.
    QByteArray unfinishedPart() const;
    // Peak bytes of the blocks taken so far, a last partial peak frame included: two
    // bytes (maximum, minus minimum, times 256) per peak frame.
    QByteArray peakBytes();

    std::uint64_t blockCount() const { return mBlockCount.load(std::memory_order_relaxed); }
    int frames() const { return mFrames; }
    float scale() const { return mScale; }
    float inverseScale() const { return mInverseScale; }

private:
    int resizeRing();
    bool allocateScratch(int floats, int bytes);
    int allocateBuffers(qint64 bytes);
    void resetCursorLocked();
    bool claimCurrent();
    void advance();
    void prefetchBlock() const;
    void toFileBytes(float* const* channels);
    void fromFileBytes(float* const* channels);
    void interleave();
    void deinterleave();
    void readInt24(float* const* channels);
    void trackPeaks(float* const* channels);
    void storePeak();

    int mSampleType = sampleInteger;
    int mBytesPerSample = 3;
    int mFrames = 0;
    int mChannels = 0;
    int mSampleRate = 0;
    bool mStopped = true;
    float mScale = 1.0f;
    float mInverseScale = 1.0f;
    mutable QMutex mQueueLock;
    QMutex mStateLock;
    CIndexQueue mReadyQueue;
    CIndexQueue mBusyQueue;
    std::vector<QByteArray> mBuffers;
    char* mCursor = nullptr;
    int mOffset = 0;
    int mCurrent = 0;
    int mNumBuffers = 0;
    std::atomic<std::uint64_t> mBlockCount{0};
    int mFloatCount = 0;
    float* mFloatBlock = nullptr;
    int mByteCount = 0;
    std::uint8_t* mByteBlock = nullptr;
    int mPeakBlockSize = 0;
    int mPeakIndex = 0;
    int mPeakCount = 0;
    float mPeakMax = 0.0f;
    float mPeakMin = 0.0f;
    QByteArray mPeakData;
};
