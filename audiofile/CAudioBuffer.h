#pragma once
// The ring of four large buffers between the audio thread and the disk side of a
// streaming file. The block side converts one block at a time between float channels
// and interleaved file samples; the disk side moves the bytes to or from the file.
//
// The ring is a single-producer/single-consumer queue of bytes with two atomic indices,
// each counting bytes since the cursor's reset: the block side's (taken by a recording,
// used by playing) and the disk side's (written to the file, filled from it). A side
// publishes its index with release after touching the bytes, the other reads it with
// acquire. A recording's block side enters a buffer only when the disk side has written
// all of its last round, so a disk a whole ring behind drops the take's blocks from
// there on (an overrun); playing uses a buffer once the disk side has filled it, and
// plays silence until then. The block side wakes the disk side through a semaphore:
// a recording every flush span and at each buffer's end, playing at each buffer's end.
//
// Audio thread (writeBlock, readBlock): no allocation, no lock, no waiting, no I/O.
// Control side (setters, resetCursor, primeAll): only while the block side is out of
// the ring (its owner sees to that).

#include "audiofile/CSemaphore.h"

#include <QByteArray>

#include <atomic>
#include <cstdint>

class CAudioBuffer {
public:
    enum tSampleType { sampleInteger = 0, sampleFloat = 1 };
    static constexpr int ringSize = 4;
    static constexpr int peakDataBytes = 0x800000;
    // A recording's disk side is woken after about this much audio, so that a power cut
    // loses at most that span of a take (plus the write in flight). Half a second costs
    // two small header writes and two fdatasync a second, nothing to any disk, while a
    // shorter span only multiplies the syncs for little gain.
    static constexpr double flushSeconds = 0.5;

    // A stretch of the ring for the disk side, within one buffer.
    struct Span {
        char* data = nullptr;
        qint64 size = 0;
    };

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
    // Empties the ring for a recording.
    void resetCursor();
    // Empties the ring for playing: every buffer waits for the disk side to fill it.
    void primeAll();
    // Any thread; a stopped block side takes no block and plays silence.
    void setStopped(bool stopped) { mStopped.store(stopped, std::memory_order_seq_cst); }

    // Audio thread.
    void writeBlock(float* const* channels);
    // Fills `channels` (the file's channel count of them); zeros while stopped or
    // while the disk side hasn't delivered the current buffer yet.
    void readBlock(float* const* channels);

    // Disk side, one thread at a time. The next stretch to write (a recording: the bytes
    // taken and not written, whole buffers only unless `partial`) or to fill (playing:
    // the next buffer the block side has used up); empty when there is none.
    Span diskSpan(bool partial);
    // The disk side is done with `bytes` of the stretch it was given.
    void diskDone(qint64 bytes);
    // Sleeps until the block side (or wakeDiskSide) posts.
    void waitForWork() { mWake.wait(); }
    void wakeDiskSide() { mWake.post(); }

    // Any thread. Buffers waiting for the disk side or in its hands.
    int queuedBuffers() const;
    // A recording's block side found the disk side a whole ring behind and drops its
    // blocks since.
    bool overrun() const { return mOverrun.load(std::memory_order_acquire); }
    std::uint64_t blockCount() const { return mBlockCount.load(std::memory_order_relaxed); }

    // Control side, with the block side stopped.
    // The taken part of a recording's current buffer, written or not; shares the ring's
    // bytes: use before the next block.
    QByteArray unfinishedPart() const;
    // Peak bytes of the blocks taken so far, a last partial peak frame included: two
    // bytes (maximum, minus minimum, times 256) per peak frame.
    QByteArray peakBytes();

    int frames() const { return mFrames; }
    float scale() const { return mScale; }
    float inverseScale() const { return mInverseScale; }

private:
    int resizeRing();
    bool allocateScratch(int floats, int bytes);
    int allocateRing(qint64 bytes);
    void resetIndices(bool reading);
    char* at(std::uint64_t index) { return mRing.data() + index % std::uint64_t(mRing.size()); }
    void prefetch(const char* cursor) const;
    void toFileBytes(float* const* channels);
    void fromFileBytes(float* const* channels);
    void interleave(char* cursor);
    void deinterleave(const char* cursor);
    void trackPeaks(float* const* channels);
    void storePeak();

    int mSampleType = sampleInteger;
    int mBytesPerSample = 3;
    int mFrames = 0;
    int mChannels = 0;
    int mSampleRate = 0;
    float mScale = 1.0f;
    float mInverseScale = 1.0f;
    QByteArray mRing;              // ringSize buffers, one after the other
    qint64 mBufferBytes = 0;       // whole blocks
    qint64 mBlockBytes = 0;
    qint64 mFlushBytes = 0;        // whole blocks, at most one buffer
    bool mReading = false;
    std::atomic<bool> mStopped{true};
    std::atomic<bool> mOverrun{false};
    std::atomic<std::uint64_t> mBlockIndex{0}; // the block side's bytes
    std::atomic<std::uint64_t> mDiskIndex{0};  // the disk side's bytes
    std::atomic<std::uint64_t> mBlockCount{0};
    CSemaphore mWake;
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
