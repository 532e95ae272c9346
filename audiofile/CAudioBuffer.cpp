#include "audiofile/CAudioBuffer.h"

#include "audiofile/vkInt24Frames.h"

#include "core/contract/vkResult.h"
#include "core/primitives/ipps.h"

#include <QMutexLocker>

#include <algorithm>
#include <cstring>
#include <new>

// ---- index queue ----

bool CIndexQueue::push(int index)
{
    if (mCount == capacity)
        return false;
    mItems[std::size_t((mHead + mCount) % capacity)] = index;
    ++mCount;
    return true;
}

int CIndexQueue::takeFirst()
{
    if (mCount == 0)
        return -1;
    const int index = mItems[std::size_t(mHead)];
    mHead = (mHead + 1) % capacity;
    --mCount;
    return index;
}

bool CIndexQueue::contains(int index) const
{
    for (int i = 0; i < mCount; ++i)
        if (mItems[std::size_t((mHead + i) % capacity)] == index)
            return true;
    return false;
}

// ---- set-up ----

CAudioBuffer::CAudioBuffer() = default;

CAudioBuffer::~CAudioBuffer()
{
    ippsFree(mFloatBlock);
    ippsFree(mByteBlock);
}

int CAudioBuffer::setFrames(int frames)
{
    mFrames = std::max(frames, 0);
    return resizeRing();
}

int CAudioBuffer::setFileFormat(int sampleType, int bytesPerSample, int sampleRate, int channels)
{
    mSampleType = sampleType;
    mBytesPerSample = bytesPerSample;
    mSampleRate = sampleRate;
    mChannels = std::max(channels, 0);
    return resizeRing();
}

void CAudioBuffer::setScale(float scale)
{
    mScale = scale;
    mInverseScale = scale != 0.0f ? 1.0f / scale : 0.0f;
}

void CAudioBuffer::setPeakBlockSize(int frames)
{
    mPeakBlockSize = std::max(frames, 0);
    mPeakMax = 0.0f;
    mPeakMin = 0.0f;
    mPeakIndex = 0;
    mPeakCount = mPeakBlockSize;
    mPeakData = mPeakBlockSize ? QByteArray(peakDataBytes, '\0') : QByteArray();
}

bool CAudioBuffer::allocateScratch(int floats, int bytes)
{
    if (floats != mFloatCount) {
        ippsFree(mFloatBlock);
        mFloatBlock = floats > 0 ? ippsMalloc_32f(floats) : nullptr;
        mFloatCount = mFloatBlock ? floats : 0;
    }
    if (bytes != mByteCount) {
        ippsFree(mByteBlock);
        mByteBlock = bytes > 0 ? ippsMalloc_8u(bytes) : nullptr;
        mByteCount = mByteBlock ? bytes : 0;
    }
    // Zeroed, so that a sample size that no conversion takes plays as silence.
    if (mFloatBlock)
        ippsZero_32f(mFloatBlock, mFloatCount);
    return mFloatCount == floats && mByteCount == bytes;
}

int CAudioBuffer::resizeRing()
{
    QMutexLocker lock(&mStateLock);
    qint64 floats = 0, bytes = 0, bufferBytes = 0;
    if (mFrames > 0) {
        floats = qint64(mChannels) * mFrames;
        bytes = qint64(std::max(mBytesPerSample, 0)) * floats;
        const qint64 blocksPerSecond = qint64(double(mSampleRate) / mFrames);
        bufferBytes = blocksPerSecond * bytes * 5;
    }
    int result = vkOk;
    const qint64 limit = qint64(INT32_MAX) / 2;
    if (bufferBytes > limit || bytes > limit || !allocateScratch(int(floats), int(bytes)))
        result = vkErrOutOfMemory;
    else if (mBuffers.empty() || mBuffers.front().size() != bufferBytes)
        result = allocateBuffers(bufferBytes);
    if (result != vkOk) {
        // Whatever failed, an empty ring is left behind: it takes no block.
        mBuffers.clear();
        allocateScratch(0, 0);
    }
    resetCursorLocked();
    return result;
}

int CAudioBuffer::allocateBuffers(qint64 bytes)
{
    mBuffers.clear();
    try {
        mBuffers.assign(ringSize, QByteArray());
        for (QByteArray& buffer : mBuffers)
            buffer = QByteArray(bytes, '\0');
    } catch (const std::bad_alloc&) {
        return vkErrOutOfMemory;
    }
    return vkOk;
}

void CAudioBuffer::resetCursor()
{
    QMutexLocker lock(&mStateLock);
    resetCursorLocked();
}

void CAudioBuffer::resetCursorLocked()
{
    mBlockCount.store(0, std::memory_order_relaxed);
    mCurrent = 0;
    mOffset = 0;
    mNumBuffers = int(mBuffers.size());
    mCursor = mBuffers.empty() || mBuffers.front().isEmpty() ? nullptr : mBuffers.front().data();
}

void CAudioBuffer::setStopped(bool stopped)
{
    QMutexLocker lock(&mStateLock);
    mStopped = stopped;
}

// ---- queues ----

int CAudioBuffer::takeReady()
{
    QMutexLocker lock(&mQueueLock);
    const int index = mReadyQueue.takeFirst();
    if (index >= 0)
        mBusyQueue.push(index);
    return index;
}

void CAudioBuffer::finishJob()
{
    QMutexLocker lock(&mQueueLock);
    mBusyQueue.takeFirst();
}

void CAudioBuffer::clearQueues()
{
    QMutexLocker lock(&mQueueLock);
    mReadyQueue.clear();
    mBusyQueue.clear();
}

void CAudioBuffer::primeAll()
{
    QMutexLocker state(&mStateLock);
    {
        QMutexLocker lock(&mQueueLock);
        mReadyQueue.clear();
        mBusyQueue.clear();
        for (int index = 0; index < mNumBuffers; ++index)
            mReadyQueue.push(index);
    }
    mCursor = nullptr;
}

int CAudioBuffer::queuedBuffers() const
{
    QMutexLocker lock(&mQueueLock);
    return mReadyQueue.size() + mBusyQueue.size();
}

// ---- block side ----

void CAudioBuffer::writeBlock(float* const* channels)
{
    if (mStopped || !mCursor)
        return; // the block is lost and not counted
    mBlockCount.fetch_add(1, std::memory_order_relaxed);
    trackPeaks(channels);
    toFileBytes(channels);
    interleave();
    advance();
}

void CAudioBuffer::readBlock(float* const* channels)
{
    if (mStopped || (!mCursor && !claimCurrent())) {
        for (int channel = 0; channel < mChannels; ++channel)
            ippsZero_32f(channels[channel], mFrames);
        return;
    }
    mBlockCount.fetch_add(1, std::memory_order_relaxed);
    if (mSampleType == sampleInteger && mBytesPerSample == 3) {
        readInt24(channels);
    } else {
        deinterleave();
        fromFileBytes(channels);
    }
    advance();
    prefetchBlock();
}

// The start of the next block is asked for as soon as this one is done: it comes from
// memory (the ring is far larger than the caches) while the rest of the graph runs; the
// decoder itself asks for the bytes further on while it works.
void CAudioBuffer::prefetchBlock() const
{
    if (!mCursor)
        return;
    constexpr int cacheLine = 64;
    constexpr qint64 leadBytes = 8192;
    const qint64 end = std::min({mOffset + qint64(mBytesPerSample) * mFrames * mChannels, mOffset + leadBytes,
                                 qint64(mBuffers[std::size_t(mCurrent)].size())});
    for (qint64 b = mOffset; b < end; b += cacheLine)
        __builtin_prefetch(mCursor + b);
}

// A reading block side that has caught up with the disk side enters the current buffer
// as soon as the disk side has filled it.
bool CAudioBuffer::claimCurrent()
{
    if (mNumBuffers == 0 || mBuffers[std::size_t(mCurrent)].isEmpty())
        return false;
    QMutexLocker lock(&mQueueLock);
    if (mReadyQueue.contains(mCurrent) || mBusyQueue.contains(mCurrent))
        return false;
    mCursor = mBuffers[std::size_t(mCurrent)].data();
    mOffset = 0;
    return true;
}

void CAudioBuffer::advance()
{
    if (mOffset < mBuffers[std::size_t(mCurrent)].size())
        return;
    QMutexLocker lock(&mQueueLock);
    mReadyQueue.push(mCurrent);
    // The next buffer is still queued: the disk side is a whole ring behind. A recording
    // drops every block from here on; playing waits in claimCurrent().
    mCurrent = (mCurrent + 1) % mNumBuffers;
    mOffset = 0;
    const bool queued = mReadyQueue.contains(mCurrent) || mBusyQueue.contains(mCurrent);
    mCursor = queued ? nullptr : mBuffers[std::size_t(mCurrent)].data();
}

void CAudioBuffer::toFileBytes(float* const* channels)
{
    if (mSampleType == sampleFloat) {
        for (int channel = 0; channel < mChannels; ++channel)
            ippsCopy_32f(channels[channel], reinterpret_cast<float*>(mByteBlock) + channel * mFrames, mFrames);
        return;
    }
    for (int channel = 0; channel < mChannels; ++channel)
        ippsMulC_32f(channels[channel], mScale, mFloatBlock + channel * mFrames, mFrames);
    const int count = mFrames * mChannels;
    switch (mBytesPerSample) {
    case 1:
        ippsConvert_32f8u_Sfs(mFloatBlock, mByteBlock, count, ippRndNear, 0);
        break;
    case 2:
        ippsConvert_32f16s_Sfs(mFloatBlock, reinterpret_cast<Ipp16s*>(mByteBlock), count, ippRndNear, 0);
        break;
    case 3:
        ippsConvert_32f24s_Sfs(mFloatBlock, mByteBlock, count, 0);
        break;
    case 4:
        ippsConvert_32f32s_Sfs(mFloatBlock, reinterpret_cast<Ipp32s*>(mByteBlock), count, ippRndNear, 0);
        break;
    default:
        break;
    }
}

void CAudioBuffer::fromFileBytes(float* const* channels)
{
    if (mSampleType == sampleFloat) {
        for (int channel = 0; channel < mChannels; ++channel)
            ippsCopy_32f(reinterpret_cast<const float*>(mByteBlock) + channel * mFrames, channels[channel], mFrames);
        return;
    }
    const int count = mFrames * mChannels;
    switch (mBytesPerSample) {
    case 1:
        ippsConvert_8u32f(mByteBlock, mFloatBlock, count);
        break;
    case 2:
        ippsConvert_16s32f(reinterpret_cast<const Ipp16s*>(mByteBlock), mFloatBlock, count);
        break;
    case 4:
        ippsConvert_32s32f(reinterpret_cast<const Ipp32s*>(mByteBlock), mFloatBlock, count);
        break;
    default:
        break;
    }
    for (int channel = 0; channel < mChannels; ++channel)
        ippsMulC_32f(mFloatBlock + channel * mFrames, mInverseScale, channels[channel], mFrames);
}

namespace {

// Planar (channel after channel) to interleaved (frame after frame), and back, for
// samples of B bytes.
template <int B>
void interleaveSamples(const std::uint8_t* planar, char* interleaved, int frames, int channels)
{
    for (int frame = 0; frame < frames; ++frame)
        for (int channel = 0; channel < channels; ++channel, interleaved += B)
            std::memcpy(interleaved, planar + (std::size_t(channel) * frames + frame) * B, B);
}

template <int B>
void deinterleaveSamples(const char* interleaved, std::uint8_t* planar, int frames, int channels)
{
    for (int frame = 0; frame < frames; ++frame)
        for (int channel = 0; channel < channels; ++channel, interleaved += B)
            std::memcpy(planar + (std::size_t(channel) * frames + frame) * B, interleaved, B);
}

template <typename F>
void bySampleSize(int bytes, F&& run)
{
    switch (bytes) {
    case 1: run(std::integral_constant<int, 1>()); break;
    case 2: run(std::integral_constant<int, 2>()); break;
    case 3: run(std::integral_constant<int, 3>()); break;
    case 4: run(std::integral_constant<int, 4>()); break;
    default: break;
    }
}

} // namespace

// The common file format: the interleaved 24-bit integers go to the channels decoded
// and scaled in one vectorised pass over the block's bytes, with no scratch between.
void CAudioBuffer::readInt24(float* const* channels)
{
    vkInt24FramesToChannels(reinterpret_cast<const std::uint8_t*>(mCursor + mOffset), channels, mFrames, mChannels,
                            mInverseScale);
    mOffset += 3 * mFrames * mChannels;
}

void CAudioBuffer::interleave()
{
    bySampleSize(mBytesPerSample, [this](auto size) {
        interleaveSamples<decltype(size)::value>(mByteBlock, mCursor + mOffset, mFrames, mChannels);
    });
    mOffset += mBytesPerSample * mFrames * mChannels;
}

void CAudioBuffer::deinterleave()
{
    bySampleSize(mBytesPerSample, [this](auto size) {
        deinterleaveSamples<decltype(size)::value>(mCursor + mOffset, mByteBlock, mFrames, mChannels);
    });
    mOffset += mBytesPerSample * mFrames * mChannels;
}

// ---- peak envelope ----

void CAudioBuffer::trackPeaks(float* const* channels)
{
    if (mPeakBlockSize == 0)
        return;
    for (int done = 0; done < mFrames;) {
        const int count = std::min(mFrames - done, mPeakCount);
        for (int channel = 0; channel < mChannels; ++channel) {
            const float* samples = channels[channel] + done;
            for (int i = 0; i < count; ++i) {
                mPeakMax = std::max(mPeakMax, samples[i]);
                mPeakMin = std::min(mPeakMin, samples[i]);
            }
        }
        done += count;
        mPeakCount -= count;
        if (mPeakCount == 0)
            storePeak();
    }
}

void CAudioBuffer::storePeak()
{
    if (mPeakIndex + 2 <= mPeakData.size()) {
        // One byte a point: the level times 256, truncated and held at full scale.
        mPeakData[mPeakIndex] = char(std::uint8_t(std::min(mPeakMax * 256.0f, 255.0f)));
        mPeakData[mPeakIndex + 1] = char(std::uint8_t(std::min(-mPeakMin * 256.0f, 255.0f)));
        mPeakIndex += 2;
    }
    mPeakMax = 0.0f;
    mPeakMin = 0.0f;
    mPeakCount = mPeakBlockSize;
}

QByteArray CAudioBuffer::peakBytes()
{
    if (mPeakBlockSize == 0)
        return QByteArray();
    if (mPeakCount < mPeakBlockSize)
        storePeak();
    const std::uint64_t frames = std::uint64_t(mFrames) * blockCount();
    const std::uint64_t peakFrames = (frames + std::uint64_t(mPeakBlockSize) - 1) / std::uint64_t(mPeakBlockSize);
    const qint64 bytes = qint64(std::min<std::uint64_t>(2 * peakFrames, INT32_MAX));
    QByteArray peaks = mPeakData.left(bytes);
    peaks.append(bytes - peaks.size(), '\0');
    return peaks;
}

QByteArray CAudioBuffer::unfinishedPart() const
{
    return mCursor && mOffset > 0 ? QByteArray::fromRawData(mCursor, mOffset) : QByteArray();
}
