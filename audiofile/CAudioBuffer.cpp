#include "audiofile/CAudioBuffer.h"

#include "audiofile/vkInt24Frames.h"

#include "core/contract/vkResult.h"
#include "core/primitives/ipps.h"

#include <algorithm>
#include <cstring>
#include <new>

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
    qint64 floats = 0, bytes = 0, bufferBytes = 0, flushBytes = 0;
    if (mFrames > 0) {
        floats = qint64(mChannels) * mFrames;
        bytes = qint64(std::max(mBytesPerSample, 0)) * floats;
        const double blocksPerSecond = double(mSampleRate) / mFrames;
        bufferBytes = qint64(blocksPerSecond) * bytes * 5;
        flushBytes = std::max<qint64>(qint64(blocksPerSecond * flushSeconds), 1) * bytes;
    }
    int result = vkOk;
    const qint64 limit = qint64(INT32_MAX) / 2;
    if (bufferBytes > limit || bytes > limit || !allocateScratch(int(floats), int(bytes)))
        result = vkErrOutOfMemory;
    else if (mRing.size() != bufferBytes * ringSize)
        result = allocateRing(bufferBytes * ringSize);
    if (result != vkOk) {
        // Whatever failed, an empty ring is left behind: it takes no block.
        mRing = QByteArray();
        allocateScratch(0, 0);
        bufferBytes = 0;
    }
    mBufferBytes = bufferBytes;
    mBlockBytes = bytes;
    mFlushBytes = std::min(flushBytes, bufferBytes);
    resetIndices(mReading);
    return result;
}

int CAudioBuffer::allocateRing(qint64 bytes)
{
    mRing = QByteArray();
    try {
        mRing = QByteArray(bytes, '\0');
    } catch (const std::bad_alloc&) {
        return vkErrOutOfMemory;
    }
    return vkOk;
}

void CAudioBuffer::resetIndices(bool reading)
{
    mReading = reading;
    mBlockCount.store(0, std::memory_order_relaxed);
    mOverrun.store(false, std::memory_order_relaxed);
    mBlockIndex.store(0, std::memory_order_relaxed);
    mDiskIndex.store(0, std::memory_order_release);
}

void CAudioBuffer::resetCursor()
{
    resetIndices(false);
}

void CAudioBuffer::primeAll()
{
    resetIndices(true);
}

// ---- disk side ----

CAudioBuffer::Span CAudioBuffer::diskSpan(bool partial)
{
    if (mBufferBytes == 0)
        return {};
    const std::uint64_t disk = mDiskIndex.load(std::memory_order_relaxed);
    const std::uint64_t block = mBlockIndex.load(std::memory_order_acquire);
    const std::uint64_t buffer = std::uint64_t(mBufferBytes);
    const std::uint64_t bufferEnd = (disk / buffer + 1) * buffer;
    std::uint64_t end;
    if (mReading)
        // A buffer is filled whole, once the block side has left its last round.
        end = bufferEnd <= block / buffer * buffer + ringSize * buffer ? bufferEnd : disk;
    else
        end = std::min(partial ? block : block / buffer * buffer, bufferEnd);
    if (end <= disk)
        return {};
    return {at(disk), qint64(end - disk)};
}

void CAudioBuffer::diskDone(qint64 bytes)
{
    mDiskIndex.store(mDiskIndex.load(std::memory_order_relaxed) + std::uint64_t(bytes), std::memory_order_release);
}

int CAudioBuffer::queuedBuffers() const
{
    if (mBufferBytes == 0)
        return 0;
    const std::uint64_t buffer = std::uint64_t(mBufferBytes);
    const std::uint64_t block = mBlockIndex.load(std::memory_order_acquire) / buffer;
    const std::uint64_t disk = mDiskIndex.load(std::memory_order_acquire) / buffer;
    // Playing hands every buffer it has used up back to the disk side, and the ring's
    // four at the start.
    return mReading ? int(block + ringSize - disk) : int(block - disk);
}

// ---- block side ----

void CAudioBuffer::writeBlock(float* const* channels)
{
    if (mStopped.load(std::memory_order_seq_cst) || mBufferBytes == 0 || mOverrun.load(std::memory_order_relaxed))
        return; // the block is lost and not counted
    const std::uint64_t taken = mBlockIndex.load(std::memory_order_relaxed);
    const std::uint64_t buffer = std::uint64_t(mBufferBytes);
    const std::uint64_t inBuffer = taken % buffer;
    if (inBuffer == 0 && taken + buffer > mDiskIndex.load(std::memory_order_acquire) + ringSize * buffer) {
        // The disk side is a whole ring behind: the take ends here, so that the file
        // stays continuous; every later block is dropped.
        mOverrun.store(true, std::memory_order_release);
        return;
    }
    mBlockCount.fetch_add(1, std::memory_order_relaxed);
    trackPeaks(channels);
    toFileBytes(channels);
    interleave(at(taken));
    const std::uint64_t filled = inBuffer + std::uint64_t(mBlockBytes);
    mBlockIndex.store(taken + std::uint64_t(mBlockBytes), std::memory_order_release);
    if (filled % std::uint64_t(mFlushBytes) == 0 || filled == buffer)
        mWake.post();
}

void CAudioBuffer::readBlock(float* const* channels)
{
    const std::uint64_t used = mBlockIndex.load(std::memory_order_relaxed);
    if (mStopped.load(std::memory_order_seq_cst) || mBufferBytes == 0 ||
        mDiskIndex.load(std::memory_order_acquire) < used + std::uint64_t(mBlockBytes)) {
        for (int channel = 0; channel < mChannels; ++channel)
            ippsZero_32f(channels[channel], mFrames);
        return;
    }
    mBlockCount.fetch_add(1, std::memory_order_relaxed);
    const char* cursor = at(used);
    if (mSampleType == sampleInteger && mBytesPerSample == 3) {
        // The common file format: the interleaved 24-bit integers go to the channels
        // decoded and scaled in one vectorised pass over the block's bytes.
        vkInt24FramesToChannels(reinterpret_cast<const std::uint8_t*>(cursor), channels, mFrames, mChannels,
                                mInverseScale);
    } else {
        deinterleave(cursor);
        fromFileBytes(channels);
    }
    const std::uint64_t next = used + std::uint64_t(mBlockBytes);
    mBlockIndex.store(next, std::memory_order_release);
    if (next % std::uint64_t(mBufferBytes) == 0)
        mWake.post(); // a buffer for the disk side to fill again
    else
        prefetch(at(next));
}

// The start of the next block is asked for as soon as this one is done: it comes from
// memory (the ring is far larger than the caches) while the rest of the graph runs; the
// decoder itself asks for the bytes further on while it works.
void CAudioBuffer::prefetch(const char* cursor) const
{
    constexpr int cacheLine = 64;
    const qint64 end = std::min<qint64>(mBlockBytes, 8192);
    for (qint64 b = 0; b < end; b += cacheLine)
        __builtin_prefetch(cursor + b);
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

void CAudioBuffer::interleave(char* cursor)
{
    bySampleSize(mBytesPerSample, [this, cursor](auto size) {
        interleaveSamples<decltype(size)::value>(mByteBlock, cursor, mFrames, mChannels);
    });
}

void CAudioBuffer::deinterleave(const char* cursor)
{
    bySampleSize(mBytesPerSample, [this, cursor](auto size) {
        deinterleaveSamples<decltype(size)::value>(cursor, mByteBlock, mFrames, mChannels);
    });
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
    if (mReading || mBufferBytes == 0)
        return QByteArray();
    const std::uint64_t taken = mBlockIndex.load(std::memory_order_relaxed);
    const qint64 part = qint64(taken % std::uint64_t(mBufferBytes));
    return part > 0 ? QByteArray::fromRawData(mRing.constData() + (taken - std::uint64_t(part)) % std::uint64_t(mRing.size()), part)
                    : QByteArray();
}
